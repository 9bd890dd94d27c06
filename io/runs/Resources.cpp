#include <io/runs/Resources.h>

#include <algorithm>
#include <thread>

#include <unistd.h>

namespace Tilewright::Io {

namespace {

std::uint64_t physicalMemory() {
    return static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) *
           static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

struct ThreadNeeds {
    double perPoint;
    /// However many points there are.
    double base;

    double bytes(std::uint64_t points) const { return base + static_cast<double>(points) * perPoint; }
};

ThreadNeeds needsOfThread(const BandPlan& plan) {
    // Ordinals and numbers of cells.
    double perPoint = 12.0 * static_cast<double>(plan.points.subsets.size() + 1);
    for (const PointColumn& column : plan.points.columns)
        perPoint += static_cast<double>(valueSize(column));
    // An ordering takes the values once more, for one column at a time.
    if (std::ranges::any_of(plan.points.reductions, [](const ReductionPlan::Reduction& reduction) {
            return goesByOrder(reduction.statistic.kind);
        }))
        perPoint += sizeof(double);
    // Coordinates and values of the points around, twice while they are loaded, and the lists of cells.
    if (std::ranges::any_of(plan.points.reductions, [](const ReductionPlan::Reduction& reduction) {
            return reduction.statistic.kind == Statistic::Kind::InverseDistance;
        }))
        perPoint += 6.0 * sizeof(double) + 20.0;
    // The library's arrays, and the tiles of a few blocks that wait to be written.
    const double perCell = 16.0 + 4.0 * sizeof(double) * static_cast<double>(plan.points.reductions.size());
    constexpr auto cells = static_cast<double>(BlockLattice::blockSide * BlockLattice::blockSide);
    return {perPoint, cells * perCell};
}

} // namespace

std::uint64_t memoryToUse(const RasterRequest& options) {
    return options.memory.value_or(physicalMemory() / 2);
}

unsigned threadsWanted(const RasterRequest& options) {
    return options.threads.value_or(std::max(1U, std::thread::hardware_concurrency()));
}

std::uint64_t mostBytesOfStates(const RasterRequest& options, std::uint64_t taken, std::uint64_t points) {
    constexpr std::uint64_t alwaysFine = std::uint64_t(16) << 20;
    constexpr std::uint64_t bytesPerPoint = 64;
    return std::min((memoryToUse(options) - taken) / 2, std::max(alwaysFine, bytesPerPoint * points));
}

Resources shareOut(const RasterRequest& options, const BandPlan& plan, std::uint64_t taken) {
    const std::uint64_t memory = memoryToUse(options) - taken;
    const ThreadNeeds needs = needsOfThread(plan);
    Resources shares;
    // Half of the memory has to do for the threads, or there are fewer of them.
    const double half = static_cast<double>(memory) / 2.0;
    shares.threads = static_cast<unsigned>(
        std::clamp(half / needs.bytes(shares.points), 1.0, static_cast<double>(threadsWanted(options))));
    constexpr double fewestPoints = 1 << 16;
    shares.points = static_cast<std::uint64_t>(
        std::clamp((half - needs.base) / needs.perPoint, fewestPoints, static_cast<double>(shares.points)));
    shares.working = static_cast<std::uint64_t>(needs.bytes(shares.points) * shares.threads);
    shares.sorting = memory - std::min(memory / 4 * 3, shares.working);
    return shares;
}

} // namespace Tilewright::Io
