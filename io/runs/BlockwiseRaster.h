/// BlockwiseRaster: a raster in memory whose blocks are made when they are asked for.
#pragma once

#include <cstdint>
#include <memory>
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
/// The pixels are the same as those of rasterInMemory(), except for cells without data: their value has to be
/// chosen before any pixel is known, so it is always the first one that rasterInMemory() would try.
class TILEWRIGHT_API BlockwiseRaster {
public:
    /// The cloud may be null for the inputs of the request. Each call of make() works on one thread; the
    /// memory of the request is for as many of them as its threads. Throws as rasterInMemory() does, and
    /// UsageError for holes to be filled, as they reach into other blocks.
    BlockwiseRaster(const std::shared_ptr<const PointCloud>& cloud, RasterRequest request,
                    const RunProgress& progress = {});

    const PointCloud& cloud() const { return *Run.cloud; }
    std::uint64_t blocksAcross() const;
    std::uint64_t blocksDown() const;
    /// Whether each call of make() reads the whole cloud, as its points lie in no order; all blocks of some
    /// rows are best made in one call then.
    bool readsAllPoints() const { return Run.plan.reading.isSorted; }

    /// The report and the outputs, without pixels. Counts the points of the raster.
    MemoryRaster describe(const RunProgress& progress = {}) const;

    /// Makes these blocks of all outputs. Throws OutputError if a cell with data has the value that stands
    /// for no data, unless that was the user's choice, and InputError if a file has changed.
    std::vector<MemoryOutput> make(const BlockRectangle& blocks, const RunProgress& progress = {}) const;

private:
    PlannedRun Run;
    std::vector<RasterDescription> Files;
};

} // namespace Tilewright::Io
