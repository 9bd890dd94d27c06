/// JobFolder: a run that is shared out in parts, as files that many processes and machines work on.
///
/// - `plan.json`: the plan (io/runs/PlanFile.h), with the blocks of each part;
/// - `request.json`: what was asked for, where a caller keeps that to know its job again;
/// - `index/`: where the points of each file lie (io/clouds/IndexFolder.h);
/// - `parts/7`: the pixels of part 7 (io/parts/PixelFile.h);
/// - `parts/7.json`: its receipt, which is written last;
/// - `parts/7.failed`: why it failed the last time;
/// - `parts/7-1.tif`: its pixels in the first output, where the outputs are put together from the parts;
/// - `ground-....tif`: the ground that points of some classes lie on, named by a digest of its heights.
///
/// Every file appears complete or not at all, so that a process may end at any moment, and the same part may
/// be made twice at once: both make the same bytes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <io/clouds/IndexFolder.h>
#include <io/parts/PixelFile.h>
#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

/// What a file of the raster is like in a part: each part finds a nodata value that none of its cells with
/// data has.
struct PartFile {
    PixelType type = PixelType::Float32;
    /// None in a file without a nodata value.
    std::optional<NoData> nodata;
    /// Some cell with data has the nodata value all the same, as it is the user's own.
    bool isShared = false;
};

struct PartReceipt {
    /// Digest of the plan that it belongs to.
    std::uint64_t plan = 0;
    BlockRectangle blocks;
    std::uint64_t points = 0;
    std::uint64_t filledCells = 0;
    std::vector<std::uint64_t> cutCells;
    std::vector<PartFile> files;
    FileSeal pixels;
    double seconds = 0.0;
};

class JobFolder {
public:
    explicit JobFolder(std::filesystem::path folder) : Folder(std::move(folder)) {}

    const std::filesystem::path& path() const { return Folder; }
    std::filesystem::path plan() const { return Folder / "plan.json"; }
    IndexFolder indices() const { return IndexFolder(index()); }
    std::filesystem::path ground(std::uint64_t digest) const;
    std::filesystem::path pixels(std::size_t part) const { return parts() / std::to_string(part); }

    /// The pixels of a part in an output, as a raster of its own: `parts/7-1.tif` of the first.
    std::filesystem::path raster(std::size_t part, std::size_t output) const;

    /// Makes the folders. Throws OutputError if that fails.
    void create() const;
    /// Removes the folders if nothing is in them.
    void removeIfEmpty() const noexcept;
    /// Nothing changes if the same plan is there already. Throws OutputError if another one is, parts of it
    /// are made, and `discardsParts` is not set.
    void writePlan(const RunPlan& plan, bool discardsParts) const;
    /// Throws InputError for a folder without a plan, and for a plan without parts.
    RunPlan readPlan() const;
    std::uint64_t planDigest() const;

    void writeReceipt(std::size_t part, const PartReceipt& receipt) const;
    /// None if the part is not made, or of another plan.
    std::optional<PartReceipt> readReceipt(std::size_t part, std::uint64_t planDigest) const;

    /// Keeps the last line of a failure for others to see.
    void noteFailure(std::size_t part, const std::string& what) const noexcept;
    void forgetFailure(std::size_t part) const noexcept;
    /// Empty for none.
    std::string failure(std::size_t part) const;

    /// Removes the files of the job and what was left of unfinished ones, and the folder if nothing else is
    /// in it.
    void remove(std::size_t parts) const;

private:
    std::filesystem::path index() const { return Folder / "index"; }
    std::filesystem::path parts() const { return Folder / "parts"; }
    bool hasReceipts() const;
    void discardParts() const;
    std::filesystem::path receipt(std::size_t part) const;
    std::filesystem::path failed(std::size_t part) const;

    std::filesystem::path Folder;
};

} // namespace Tilewright::Io
