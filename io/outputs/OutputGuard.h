/// OutputGuard: which files that are there already an output may replace.
///
/// A run may replace an older raster and the files that belong to it, and only if it was told to. It never
/// touches an input, a file that belongs to one, a cloud, or a file that it knows nothing about. Files are
/// the same if the file system says so, whatever the texts of their paths.
///
/// An object may be used by several threads at once.
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
    /// Lets older rasters be replaced.
    OutputGuard() = default;
    /// Knows the inputs of the run. One that is not there any more doesn't count.
    OutputGuard(std::vector<std::filesystem::path> inputs, bool mayReplace);

    /// Throws OutputError if a file at `place`, which is `output` or one of the files that come with it, must
    /// not be replaced or removed; `made`, if that exists, is what would replace it, and does not have to if
    /// it is the same. Gives false if there is none.
    bool check(const std::filesystem::path& output, const std::filesystem::path& place,
               const std::filesystem::path& made = {}) const;

    /// The files that are there and would be taken for companions of a new file `output`, which is `made`
    /// now, or one of its kind.
    static std::vector<std::filesystem::path> companionsOf(const std::filesystem::path& output,
                                                           const std::filesystem::path& made);

    /// Whether two paths name one place, be a file there or not.
    static bool isSamePlace(const std::filesystem::path& a, const std::filesystem::path& b);

    /// Whether both files are there and equal.
    static bool haveSameBytes(const std::filesystem::path& a, const std::filesystem::path& b);

private:
    const std::filesystem::path* findOwner(const std::filesystem::path& place) const;

    std::vector<std::filesystem::path> Inputs;
    std::set<std::pair<std::uint64_t, std::uint64_t>> Identities; ///< device and inode of each input
    bool MayReplace = true;
};

} // namespace Tilewright::Io
