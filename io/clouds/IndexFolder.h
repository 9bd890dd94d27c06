/// IndexFolder: the indices of files, kept from one run to the next. The index of a file is in a file named
/// by a digest of its path, sixteen hexadecimal digits.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <io/clouds/IndexFile.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// The const operations may run on several threads, and in several processes, at once.
class TILEWRIGHT_API IndexFolder {
public:
    explicit IndexFolder(std::filesystem::path folder) : Folder(std::move(folder)) {}

    /// Of a file by whatever path that leads to it from here.
    std::filesystem::path placeOf(const std::filesystem::path& file) const;

    /// What is known of a file in that state, with the ranges of these attributes in their order. None if
    /// there is no index of it, or one that is of no use: damaged, of another time, without these attributes.
    std::optional<FileIndex> find(const FileState& file, std::uint64_t points,
                                  const std::vector<std::string>& fields) const;

    /// Throws as writeIndex() does.
    void keep(const std::filesystem::path& file, const FileIndex& index) const;

    /// The stretches of a file that pass `wanted`. Throws InputError if there is no index of the file in that
    /// state, or a damaged one.
    std::vector<Stretch> read(const FileState& file, std::uint64_t points, const StretchTest& wanted) const;

private:
    std::filesystem::path Folder;
};

} // namespace Tilewright::Io
