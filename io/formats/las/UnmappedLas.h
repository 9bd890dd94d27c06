/// UnmappedLas: an uncompressed LAS file that is not mapped, as in a virtual file system or among thousands.
/// It is read a stretch at a time.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <io/formats/las/LasHeader.h>
#include <io/records/PointSource.h>
#include <io/system/ByteSource.h>

namespace Tilewright::Io {

class UnmappedLas : public PointSource {
public:
    /// As LasFile.
    explicit UnmappedLas(std::unique_ptr<ByteSource> file);

    const std::string& name() const noexcept override { return file->name(); }
    const RecordFormat& format() const noexcept override { return records; }
    std::uint64_t pointCount() const noexcept override { return head.pointCount; }
    std::string coordinateSystem() const override { return coordinateSystemOf(head, *file); }
    std::optional<PointBounds> statedBounds() const override { return statedBoundsOf(head); }

private:
    void visitRecords(std::uint64_t first, std::uint64_t count, const RecordVisitor& visitor) const override;

    std::unique_ptr<ByteSource> file;
    LasHeader head;
    RecordFormat records;
};

} // namespace Tilewright::Io
