/// Parts: a raster made in parts that know nothing of one another, on one machine or on many.
///
/// planParts() measures the cloud and shares the blocks out; makePart() makes the pixels of one part,
/// wherever its folder and the cloud can be reached; joinParts() makes the files that runRaster() would have
/// made.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <io/runs/RasterRun.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

struct PartsPlanReport {
    /// Of the whole raster, as for a dry run.
    RasterReport raster;
    std::uint64_t parts = 0;
};

/// Plans `parts` parts of about equal cost, or as many as seem right for 0, and writes the plan into the
/// folder `job`. There are never more parts than blocks. Throws as runRaster() does.
///
/// What a folder knows already of files that have not changed since is used again, whatever plan it was for
/// and whether that was finished. Parts that are made stay if the plan turns out the same; if not they are
/// discarded with RasterRequest::overwrite alone, and OutputError is thrown without.
TILEWRIGHT_API PartsPlanReport planParts(const RasterRequest& request, const std::filesystem::path& job,
                                         std::uint64_t parts, const RunProgress& progress = {});

/// Measures a share of the cloud's files for the plan to come, which then needs no pass over them: every
/// `shares`-th one from number `share` on, counted from 1. Shares may be measured at once, by many processes.
/// What is wrong with the request or the files is left for planParts() to say. Throws Interruption.
TILEWRIGHT_API void measureShare(const RasterRequest& request, const std::filesystem::path& job,
                                 std::uint64_t share, std::uint64_t shares, const RunProgress& progress = {});

/// The number of parts of a job.
TILEWRIGHT_API std::uint64_t partCount(const std::filesystem::path& job);

enum class PartOutcome { Made, WasThere };

/// Makes a part; they count from 1. Throws as runRaster() does, and InputError for a cloud that is not the
/// one that was planned for.
TILEWRIGHT_API PartOutcome makePart(const std::filesystem::path& job, std::uint64_t part,
                                    const RunProgress& progress = {});

struct JoinOptions {
    /// The job stays when the files are complete.
    bool keepsJob = false;
    /// Files that were not there yet when the job was planned are replaced too.
    bool overwrite = false;
};

/// Makes the files. Throws InputError if parts are missing or damaged, OutputError for files that are there
/// and that neither the plan nor the options allow to replace, and Error if some point is in no part or in
/// two.
TILEWRIGHT_API RasterReport joinParts(const std::filesystem::path& job, const JoinOptions& options = {},
                                      const RunProgress& progress = {});

/// The same with the pixels left to the parts: each becomes GeoTIFFs in the folder of the job, which stays in
/// any case, and the outputs are VRTs of them. They have the names that were planned, with the extension
/// .vrt. Throws UsageError for what takes the whole raster at once: filled holes and a picture.
TILEWRIGHT_API RasterReport joinPartsAsVrt(const std::filesystem::path& job, const JoinOptions& options = {},
                                           const RunProgress& progress = {});

struct PartStatus {
    enum class State { Missing, Failed, Done };

    State state = State::Missing;
    /// Why it failed.
    std::string failure;
    /// That it took.
    double seconds = 0.0;
    std::uint64_t points = 0;
};

/// Of all parts in their order; what their files hold is not looked at.
TILEWRIGHT_API std::vector<PartStatus> statusOfParts(const std::filesystem::path& job);

} // namespace Tilewright::Io
