/// OutputGuard: which existing files an output may replace.
///
/// A run may replace an older raster and the files that belong to it, and only if the user allows it. It
/// never touches an input, a file that belongs to one, a cloud, or an unknown file. Files are the same if the
/// file system says so, whatever their paths look like.
///
/// Several threads may use an object at once.
#pragma once

#include <cstdint>
#include <filesystem>
#include <set>
#include <utility>
#include <vector>

#include <tilewright/export.h>

namespace Tilewright::Io {

class TILEWRIGHT_API OutputGuard {
public:
    /// Allows older rasters to be replaced.
    OutputGuard() = default;
    /// Protects the inputs of the run, except those that no longer exist.
    OutputGuard(std::vector<std::filesystem::path> inputs, bool mayReplace);

    /// Throws OutputError if the file at `place`, which is `output` or one of the files that come with it,
    /// must not be replaced or removed. `made`, if it exists, is what would replace it; an equal file need
    /// not be replaced. Returns false if there is no file.
    bool check(const std::filesystem::path& output, const std::filesystem::path& place,
               const std::filesystem::path& made = {}) const;

    /// The existing files that would be taken for companions of a new file `output`. Its contents are now
    /// those of `made`, or of the same kind.
    static std::vector<std::filesystem::path> companionsOf(const std::filesystem::path& output,
                                                           const std::filesystem::path& made);

    /// Whether two paths name the same place, with or without a file.
    static bool isSamePlace(const std::filesystem::path& a, const std::filesystem::path& b);

    /// Whether both files exist and are equal.
    static bool haveSameBytes(const std::filesystem::path& a, const std::filesystem::path& b);

private:
    const std::filesystem::path* findOwner(const std::filesystem::path& place) const;

    std::vector<std::filesystem::path> Inputs;
    std::set<std::pair<std::uint64_t, std::uint64_t>> Identities; ///< device and inode of each input
    bool MayReplace = true;
};

} // namespace Tilewright::Io
