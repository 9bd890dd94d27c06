/// LasFile: an uncompressed LAS file, versions 1.0 to 1.4 and point formats 0 to 10, read straight from its
/// map.
///
/// Nothing is loaded when a file is opened: its records are handed out where they lie, so that files far
/// larger than memory can be worked through.
///
/// 1. An open file has been checked: no read of points that it has leaves its bytes.
/// Where another program shortens it later, a read throws InputError.
/// 2. The pages that a read has been through are given back as it goes; memory use does not grow with the
/// file.
///
/// All const operations may run on several threads at once.
#pragma once

#include <filesystem>
#include <string>

#include <io/formats/las/LasHeader.h>
#include <io/records/PointSource.h>
#include <io/system/MappedFile.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

class TILEWRIGHT_API LasFile : public PointSource {
public:
    /// Throws InputError, with one line for the user, for whatever is not such a file from its first byte to
    /// its last point.
    explicit LasFile(const std::filesystem::path& path);
    /// `name` is what messages call the file.
    LasFile(const std::filesystem::path& path, std::string name);

    const LasHeader& header() const noexcept { return head; }

    /// From now on what is read stays in the memory of the process: quicker where a file is read again and
    /// there is room for all of it.
    void keepPages() noexcept { releasesPages = false; }

    const std::string& name() const noexcept override { return label; }
    const RecordFormat& format() const noexcept override { return records; }
    std::uint64_t pointCount() const noexcept override { return head.pointCount; }
    std::string coordinateSystem() const override;
    std::optional<PointBounds> statedBounds() const override { return statedBoundsOf(head); }
    void release(std::uint64_t first, std::uint64_t count) const override;

private:
    void visitRecords(std::uint64_t first, std::uint64_t count, const RecordVisitor& visitor) const override;

    std::string label;
    MappedFile file;
    LasHeader head;
    RecordFormat records;
    bool releasesPages = true;
};

} // namespace Tilewright::Io
