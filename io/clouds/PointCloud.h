/// PointCloud: any number of files, or other sources of points, as one cloud.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <io/formats/PointFile.h>
#include <io/records/PointSource.h>
#include <io/system/FileState.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// An attribute of a cloud: one that each of its sources has, in the type that holds the values of all.
struct CloudField {
    std::string name;
    FieldType type;

    bool operator==(const CloudField&) const = default;
};

/// What is known of a file of a cloud: in a virtual file system its name and size alone. Throws InputError
/// for one that cannot be found.
FileState stateOfInput(const std::filesystem::path& path);

/// All sources in their order, each file once.
///
/// The const operations may run on several threads at once.
class TILEWRIGHT_API PointCloud {
public:
    /// Throws InputError as openPointFile does, and where files name different coordinate systems and
    /// `ignoreSystems` is not set.
    PointCloud(std::span<const std::filesystem::path> files, const CloudOptions& options, bool ignoreSystems);
    /// The same of sources that are open, such as arrays in memory.
    PointCloud(std::vector<std::unique_ptr<PointSource>> sources, bool ignoreSystems);

    const std::vector<std::unique_ptr<PointSource>>& sources() const noexcept { return Sources; }
    /// Of each source, when it was opened. None of sources that were open already.
    const std::vector<FileState>& files() const noexcept { return Files; }
    std::uint64_t pointCount() const noexcept { return Count; }
    const std::string& coordinateSystem() const noexcept { return System; }

    /// The attributes that all sources have, in the order of the first. Where they differ in type: Double.
    const std::vector<CloudField>& fields() const noexcept { return Fields; }
    /// Null for a name that is none of them. Letter case counts.
    const CloudField* findField(std::string_view name) const noexcept;
    /// What to call the cloud in a message: the name of the one source, or the number of files.
    std::string name() const;

    /// Throws InputError if a file is not the one any more that was opened, or was written to since. To be
    /// called after the last read and before anything is made of the points: files are read more than once,
    /// and what was read before a change does not fit what was read after it.
    void checkUnchanged() const;

    /// Gives back the memory that reading has left behind, on up to `threads` threads. For a large file that
    /// takes as long as a good part of the work on it, and a source that ends does it on a single one.
    void release(unsigned threads) const;

private:
    void add(std::unique_ptr<PointSource> source, bool ignoreSystems);

    std::vector<FileState> Files;
    std::vector<std::unique_ptr<PointSource>> Sources;
    std::vector<CloudField> Fields;
    std::uint64_t Count = 0;
    std::string System;
    /// The first source that has one.
    const PointSource* SystemSource = nullptr;
};

} // namespace Tilewright::Io
