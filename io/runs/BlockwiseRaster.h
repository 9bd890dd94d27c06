/// BlockwiseRaster: a raster in memory whose blocks are made when they are asked for.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <io/blocks/BlockSink.h>
#include <io/clouds/PointCloud.h>
#include <io/runs/MemoryRun.h>
#include <io/runs/RasterRequest.h>
#include <io/runs/RasterRun.h>
#include <io/runs/RunPlan.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// Measures the cloud once, and then makes any blocks in any order, from several threads at once if need be.
/// The pixels are the same as those of rasterInMemory().
///
/// Nodata values are chosen before any block is made. Where some cell with data may have such a value, as
/// integers may, all blocks are made once to find one that no cell has.
class TILEWRIGHT_API BlockwiseRaster {
public:
    /// The cloud may be null for the inputs of the request. Each call of make() works on one thread; the
    /// memory of the request is for as many of them as its threads. Throws as rasterInMemory() does.
    BlockwiseRaster(const std::shared_ptr<const PointCloud>& cloud, RasterRequest request,
                    const RunProgress& progress = {});
    /// From the state of another of this version, which has measured the same cloud: null for the same files.
    /// Throws InputError if they have changed since.
    BlockwiseRaster(const std::shared_ptr<const PointCloud>& cloud, std::string_view state,
                    const RunProgress& progress = {});

    /// What was measured and chosen.
    std::string state() const;

    const PointCloud& cloud() const { return *Run.cloud; }
    std::uint64_t blocksAcross() const;
    std::uint64_t blocksDown() const;
    /// Whether each call of make() reads the whole cloud, as its points lie in no order; all blocks of some
    /// rows are best made in one call then.
    bool readsAllPoints() const { return Run.plan.reading.isSorted; }

    /// The report and the outputs, without pixels. Counts the points of the raster.
    MemoryRaster describe(const RunProgress& progress = {}) const;

    /// Makes these blocks of all outputs; holes that are to be filled are left to fill(). Throws InputError
    /// if a file has changed.
    std::vector<MemoryOutput> make(const BlockRectangle& blocks, const RunProgress& progress = {}) const;

    /// So many cells around a block decide what its holes are filled with; 0 if none are to be filled.
    std::uint64_t reachOfFilling() const;
    /// Arrays for the pixels of a window of all outputs.
    std::vector<MemoryOutput> room(const PixelWindow& window) const;
    /// Fills the holes of `wanted`, whole blocks, from the pixels of a window that has that many cells around
    /// them or ends with the raster. What is around them comes out as anything.
    void fill(std::vector<MemoryOutput>& outputs, const PixelWindow& window, const PixelWindow& wanted) const;

private:
    PlannedRun Run;
    std::vector<RasterDescription> Files;
    std::vector<std::string> Notes;
};

} // namespace Tilewright::Io
