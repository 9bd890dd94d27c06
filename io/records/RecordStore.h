/// RecordStore: a point source that is filled record by record, for files that can only be read from front to
/// back, such as texts. They are kept in a scratch space.
///
/// First all records are appended, on one thread; after finish() the store is a source like any other.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <io/records/PointSource.h>
#include <io/system/Bytes.h>
#include <io/system/ScratchSpace.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

class TILEWRIGHT_API RecordStore : public PointSource {
public:
    /// Of `format` only the attributes count, and of them names, types and sizes: where all lies is settled
    /// here.
    RecordStore(std::string name, RecordFormat format, std::string coordinateSystem,
                std::shared_ptr<ScratchSpace> scratch);

    /// Adds a point with no attributes set (all bytes zero) and gives its record, valid until the next call.
    /// Throws InputError for a coordinate that is not finite.
    std::byte* append(const std::array<double, 3>& position);

    /// Stores an attribute in a record that append() gave. T is the C++ type of the field.
    template <class T> static void put(std::byte* record, const PointField& field, T value) {
        copyAsLittleEndian<sizeof value>(reinterpret_cast<const std::byte*>(&value), record + field.position);
    }

    void finish();

    const std::string& name() const noexcept override { return label; }
    const RecordFormat& format() const noexcept override { return records; }
    std::uint64_t pointCount() const noexcept override { return count; }
    std::string coordinateSystem() const override { return wkt; }

private:
    void visitRecords(std::uint64_t first, std::uint64_t n, const RecordVisitor& visitor) const override;
    void flush();

    std::string label;
    RecordFormat records;
    std::string wkt;
    std::shared_ptr<ScratchSpace> scratch;
    std::uint64_t count = 0;
    /// Records that are not in a block yet.
    std::vector<std::byte> buffer;
    /// All of the same number of records but the last.
    std::vector<ScratchStretch> blocks;
    std::size_t recordsInBlock = 1;
};

/// A plain attribute of a store, to be appended to its format.
TILEWRIGHT_API PointField storedField(std::string name, FieldType type);

} // namespace Tilewright::Io
