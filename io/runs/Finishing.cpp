#include <io/runs/Finishing.h>

#include <algorithm>
#include <atomic>
#include <optional>

#include <io/preview/Preview.h>
#include <io/runs/PixelRange.h>
#include <io/runs/PixelTypeNames.h>
#include <io/runs/RunSteps.h>
#include <io/system/Errors.h>
#include <io/system/NumberText.h>
#include <io/system/Parallel.h>

namespace Tilewright::Io {

namespace {

/// Makes each band `filled` show the filled pixels of the first band of another kind. Gives the file of that
/// one, which has to be closed before the others; none if there are no such bands.
std::optional<std::size_t> markFilled(const RunPlan& plan, std::vector<RasterWriter>& writers) {
    const auto isMark = [](const JobBand& band) { return band.source == JobBand::Source::Filled; };
    const auto first = std::ranges::find_if_not(plan.job.bands, isMark);
    if (first == plan.job.bands.end() || std::ranges::none_of(plan.job.bands, isMark))
        return std::nullopt;
    for (const JobBand& band : plan.job.bands)
        if (isMark(band))
            writers[first->file].markFilled(first->number, writers[band.file], band.number);
    return first->file;
}

bool isFilled(const PlannedOutput& output) { return output.description.fillDistance > 0; }

/// Side by side, because overviews and copies take long. Not so where holes are filled: GDAL does that by way
/// of its cache, and two files at once take longer than one after the other.
void closeFiles(const RunPlan& plan, RasteredFiles& files, const StepReport& report) {
    const std::size_t count = files.writers.size();
    std::atomic<std::size_t> done = 0;
    const auto close = [&](std::size_t f) {
        RasterWriter& writer = files.writers[f];
        writer.addMetadata("RASTERED_POINTS", std::to_string(files.result.points));
        writer.close();
        checkBits(files.descriptions[f], writer);
        if (report && !report(done++, count))
            throw Interruption();
    };
    const std::optional<std::size_t> first = markFilled(plan, files.writers);
    if (first)
        close(*first);
    const unsigned threads = std::ranges::any_of(plan.outputs, isFilled) ? 1 : plan.job.threads;
    forEachPiece(threads, count, [&](std::size_t f) {
        if (f != first)
            close(f);
    });
}

} // namespace

void checkBits(const RasterDescription& file, const RasterWriter& writer) {
    // A driver would cut pixels to their bits without a word.
    const auto bits = rangeOfBits(file.type, nameOf(file.type), file.creationOptions);
    for (std::size_t b = 0; bits && b < file.bands.size(); ++b) {
        const BandStatistics statistics = writer.statistics(b);
        if (statistics.count != 0 && !(bits->holds(statistics.least) && bits->holds(statistics.greatest)))
            throw OutputError(writer.path().string() + ": NBITS can't hold the band " + file.bands[b].name +
                              ", which has values from " + exactNumber(statistics.least) + " to " +
                              exactNumber(statistics.greatest));
    }
}

void finishFiles(const RunPlan& plan, RasteredFiles& files, const OutputGuard& guard,
                 const RunProgress& progress) {
    closeFiles(plan, files, reportOf(progress, "finishing", ""));
    std::optional<PendingPreview> preview;
    if (plan.picture) {
        PreviewOptions options;
        options.relief = plan.picture->relief;
        options.classes = plan.picture->classes;
        preview.emplace(files.writers.front().hiddenPath(), options, plan.picture->path, guard);
    }
    finishAll(files.writers, preview ? preview->folder() : nullptr, plan.job.threads);
}

} // namespace Tilewright::Io
