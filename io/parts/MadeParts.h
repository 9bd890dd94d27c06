/// MadeParts: all parts of a job, made and of its plan, as whoever joins them sees them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <io/blocks/BlockSink.h>
#include <io/blocks/RasterJob.h>
#include <io/parts/JobFolder.h>
#include <io/runs/RunPlan.h>
#include <io/system/StepReport.h>

namespace Tilewright::Io {

class MadeParts {
public:
    /// Throws InputError if some are missing, and Error if some point is in none of them or in two. The
    /// arguments must outlive the object.
    MadeParts(const JobFolder& folder, const RunPlan& plan);

    /// Hands all pixels to the sink, as pixels of these files, in the order of the raster's blocks. Throws
    /// Interruption when `report` answers false; it counts blocks. Throws InputError for a damaged part.
    JobResult copy(const std::vector<RasterDescription>& files, BlockSink& sink,
                   const StepReport& report) const;

    std::size_t count() const { return Receipts.size(); }
    /// What copy() gives, before anything is known of the clashes of pixels.
    JobResult result(std::size_t files) const;
    /// The same for one part, counted from 0, whose clashes come to those of `result`.
    void copyPart(std::size_t part, const std::vector<RasterDescription>& files, BlockSink& sink,
                  JobResult& result) const;

private:
    bool isSound(const PartReceipt& receipt, const BlockRectangle& blocks) const;
    void addUp();
    PixelFileReader read(std::size_t part) const;
    PixelVisitor visitorOf(std::size_t part, const std::vector<RasterDescription>& files, BlockSink& sink,
                           JobResult& result) const;

    const JobFolder& Folder;
    const RunPlan& Plan;
    std::vector<PartReceipt> Receipts;
    JobResult Sums;
};

} // namespace Tilewright::Io
