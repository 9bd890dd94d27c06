/// CoordinateStorage: how the coordinates of records are stored. The two ways that almost all sources have
/// are worth loops of their own.
#pragma once

#include <algorithm>
#include <array>

#include <io/records/PointField.h>

namespace Tilewright::Io {

/// The first two lie one after the other, X first, wherever in the record.
enum class CoordinateStorage { ScaledIntegers, Doubles, Other };

inline CoordinateStorage storageOf(const std::array<PointField, 3>& coordinates) {
    const auto& [x, y, z] = coordinates;
    if (y.position != x.position + x.size || z.position != y.position + y.size)
        return CoordinateStorage::Other;
    const auto areAll = [&coordinates](PointField::Storage storage, bool isScaled) {
        return std::ranges::all_of(coordinates, [=](const PointField& field) {
            return field.storage == storage && field.scaled == isScaled;
        });
    };
    if (areAll(PointField::Storage::Int32, true))
        return CoordinateStorage::ScaledIntegers;
    return areAll(PointField::Storage::Double, false) ? CoordinateStorage::Doubles : CoordinateStorage::Other;
}

} // namespace Tilewright::Io
