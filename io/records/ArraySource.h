/// ArraySource: points in the memory of the caller as a point source. The memory must stay as it is as long
/// as the source lives.
///
/// Names are taken as they are, but for a name that is taken already, by another attribute or by a
/// coordinate: it gets a number after it.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <io/records/PointSource.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// Numbers in the byte order of the machine, one for each point, aligned or not.
struct TILEWRIGHT_API ArrayColumn {
    /// Name and type, and scale and offset if there are any. Its place in a record is ignored.
    PointField field;
    const std::byte* first = nullptr;
    std::size_t count = 0;
    /// Bytes from one number to the next. May be negative.
    std::ptrdiff_t stride = 0;

    /// Numbers that lie one after the other.
    template <class T> static ArrayColumn of(std::string name, std::span<const T> values) {
        return {plainField(std::move(name), storageFor<T>()),
                reinterpret_cast<const std::byte*>(values.data()), values.size(), sizeof(T)};
    }

    template <class T> static constexpr PointField::Storage storageFor() {
        static_assert(std::is_arithmetic_v<T> && sizeof(T) <= 8, "not a plain number");
        using Storage = PointField::Storage;
        if constexpr (std::is_floating_point_v<T>)
            return sizeof(T) == 4 ? Storage::Float : Storage::Double;
        else if constexpr (std::is_signed_v<T>)
            return std::array{Storage::Int8, Storage::Int16, Storage::Int32, Storage::Int64}[widthOf<T>()];
        else
            return std::array{Storage::Bits, Storage::UInt16, Storage::UInt32, Storage::UInt64}[widthOf<T>()];
    }

private:
    /// 0 for one byte to 3 for eight.
    template <class T> static constexpr std::size_t widthOf() { return sizeof(T) == 8 ? 3 : sizeof(T) / 2; }
};

/// Columns of numbers, put together into records a batch at a time as they are visited.
class TILEWRIGHT_API ArraySource final : public PointSource {
public:
    /// `coordinates` are x, y and z; their names are ignored. `name` is what messages call the source, and
    /// `coordinateSystem` is as PointSource::coordinateSystem() gives it. Throws std::invalid_argument for
    /// columns of different length, and InputError for a coordinate that is not finite.
    ArraySource(std::string name, const std::array<ArrayColumn, 3>& coordinates,
                std::vector<ArrayColumn> attributes, std::string coordinateSystem = {});

    const std::string& name() const noexcept override { return label; }
    const RecordFormat& format() const noexcept override { return records; }
    std::uint64_t pointCount() const noexcept override { return columns.front().count; }
    std::string coordinateSystem() const override { return wkt; }
    /// As they were measured when the source was made.
    std::optional<PointBounds> statedBounds() const override { return box; }

private:
    void visitRecords(std::uint64_t first, std::uint64_t n, const RecordVisitor& visitor) const override;
    void visitWanted(std::uint64_t first, std::uint64_t n, const ByteSelection& wanted,
                     const RecordVisitor& visitor) const override;
    void measure();

    std::string label;
    RecordFormat records;
    std::string wkt;
    std::vector<ArrayColumn> columns; ///< each with its place in the record
    PointBounds box;
};

/// Records as they lie, such as an array of structures: nothing is copied.
class TILEWRIGHT_API RecordSpan final : public PointSource {
public:
    /// Throws std::invalid_argument for a field that does not lie in the record and for bytes that are not a
    /// whole number of records, and InputError for a coordinate that is not finite.
    RecordSpan(std::string name, RecordFormat format, std::span<const std::byte> bytes,
               std::string coordinateSystem = {});

    const std::string& name() const noexcept override { return label; }
    const RecordFormat& format() const noexcept override { return records; }
    std::uint64_t pointCount() const noexcept override { return bytes.size() / records.recordLength; }
    std::string coordinateSystem() const override { return wkt; }

private:
    void visitRecords(std::uint64_t first, std::uint64_t n, const RecordVisitor& visitor) const override;

    std::string label;
    RecordFormat records;
    std::span<const std::byte> bytes;
    std::string wkt;
};

} // namespace Tilewright::Io
