#include <io/runs/GroundOfClasses.h>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include <cpl_string.h>
#include <gdal_alg.h>

#include <io/blocks/OnePass.h>
#include <io/gdal/Gdal.h>
#include <io/runs/RunSteps.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

ReductionPlan meanHeights(const PointConditions& groundPoints) {
    ReductionPlan plan;
    plan.needs.selection = groundPoints;
    plan.columns = {{PointColumn::Kind::Z, 0, FieldType::Double}};
    plan.reductions = {{0, {directionX, filterMean}, {}}};
    return plan;
}

/// Row by row from the north, NaN where there are no points.
std::vector<double> heightsOf(const ReducedCells& cells, const BlockLattice& lattice) {
    const std::size_t across = lattice.x().cells(), down = lattice.y().cells();
    std::vector<double> heights(across * down);
    Quill::visitArray<3>(Quill::PlainValueTypes(), cells.values[0],
                         [&]<class O>(const Quill::MemArray<3, O>& means) {
                             for (std::size_t row = 0; row < down; ++row) {
                                 const std::uint32_t* const counts = cells.counts.data() + row * across;
                                 const O* const from = means.data + row * across;
                                 double* const to = heights.data() + (down - 1 - row) * across;
                                 for (std::size_t i = 0; i < across; ++i)
                                     to[i] = counts[i] != 0 ? static_cast<double>(from[i])
                                                            : std::numeric_limits<double>::quiet_NaN();
                             }
                         });
    return heights;
}

/// GDAL fills in single precision, so that heights go there as differences, and only what was filled returns.
void fillHoles(std::vector<double>& heights, int across, int down) {
    const auto isHole = [](double height) { return std::isnan(height); };
    if (std::ranges::none_of(heights, isHole))
        return;
    const GdalMessages messages;
    const double base = *std::ranges::find_if_not(heights, isHole);
    std::vector<float> pixels(heights.size());
    std::ranges::transform(heights, pixels.begin(),
                           [=](double height) { return static_cast<float>(height - base); });
    // GDAL would put its working files into the current folder.
    CPLStringList options;
    options.SetNameValue("TEMP_FILE_DRIVER", "MEM");
    const GDALDatasetUniquePtr copy(driverFor("MEM").Create("", across, down, 1, GDT_Float32, nullptr));
    if (!copy)
        throw Error("the holes of the ground cannot be filled: " + messages.text());
    GDALRasterBand& band = *copy->GetRasterBand(1);
    band.SetNoDataValue(std::numeric_limits<double>::quiet_NaN());
    const auto transfer = [&](GDALRWFlag direction) {
        return band.RasterIO(direction, 0, 0, across, down, pixels.data(), across, down, GDT_Float32, 0, 0,
                             nullptr) == CE_None;
    };
    if (!transfer(GF_Write) ||
        GDALFillNodata(&band, nullptr, groundReach, 0, 0, options.List(), nullptr, nullptr) != CE_None ||
        !transfer(GF_Read))
        throw Error("the holes of the ground cannot be filled: " + messages.text());
    for (std::size_t i = 0; i < heights.size(); ++i)
        if (isHole(heights[i]))
            heights[i] = base + static_cast<double>(pixels[i]);
}

} // namespace

std::uint64_t bytesOfGround(const BlockLattice& lattice) {
    // Counts, sums and means of the cells; then heights, a copy of them to fill, and the surface.
    constexpr std::uint64_t perCell = 40;
    return perCell * lattice.cells();
}

std::vector<double> groundHeights(const PlannedRun& run, const RunProgress& progress) {
    const RunPlan& plan = run.plan;
    const BlockLattice lattice = plan.makeLattice();
    std::vector<double> heights;
    {
        const ReducedCells cells = reduceInOnePass(
            *run.cloud, run.index, lattice, {meanHeights(plan.groundPoints), {}, plan.job.threads, false},
            reportOf(progress, "finding the ground"));
        if (cells.points == 0)
            throw InputError(plan.cloud + " has no point of the classes of ground in the raster");
        heights = heightsOf(cells, lattice);
    }
    fillHoles(heights, static_cast<int>(lattice.x().cells()), static_cast<int>(lattice.y().cells()));
    return heights;
}

std::shared_ptr<const GroundSurface> findGround(const PlannedRun& run, const RunProgress& progress) {
    return std::make_shared<const GroundSurface>(run.plan.geometry, groundHeights(run, progress));
}

ReductionPlan withGround(const PlannedRun& run, const RunProgress& progress) {
    ReductionPlan plan = run.plan.job.plan;
    if (!run.plan.groundPoints.empty() && !plan.needs.ground)
        plan.needs.ground = findGround(run, progress);
    return plan;
}

} // namespace Tilewright::Io
