/// PixelTypes: pixel types at run time, and nodata values as pixels. Not installed, because it includes GDAL.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

#include <gdal.h>

#include <io/rasters/RasterDescription.h>

namespace Tilewright::Io {

/// Calls `action` with a zero of the type.
template <class Action> decltype(auto) withPixelType(PixelType type, Action action) {
    switch (type) {
    case PixelType::Float64:
        return action(double());
    case PixelType::Byte:
        return action((unsigned char)(0));
    case PixelType::UInt16:
        return action((unsigned short)(0));
    case PixelType::UInt32:
        return action(0U);
    case PixelType::UInt64:
        return action(0ULL);
    case PixelType::Int32:
        return action(0);
    case PixelType::Float32:
        break;
    }
    return action(float());
}

inline GDALDataType gdalType(PixelType type) {
    switch (type) {
    case PixelType::Float32:
        return GDT_Float32;
    case PixelType::Float64:
        return GDT_Float64;
    case PixelType::Byte:
        return GDT_Byte;
    case PixelType::UInt16:
        return GDT_UInt16;
    case PixelType::UInt32:
        return GDT_UInt32;
    case PixelType::UInt64:
        return GDT_UInt64;
    case PixelType::Int32:
        return GDT_Int32;
    }
    return GDT_Unknown;
}

/// Whether static_cast<T>(value) is defined. 2^digits is exact, while the largest value itself might be
/// rounded.
template <class T> bool isInRange(double value) {
    if constexpr (std::is_integral_v<T>)
        return value >= static_cast<double>(std::numeric_limits<T>::min()) &&
               value < std::ldexp(1.0, std::numeric_limits<T>::digits);
    else
        return !std::isfinite(value) || std::abs(value) <= double(std::numeric_limits<T>::max());
}

/// The pixel nearest to a value.
template <class T> T rounded(double value) {
    if constexpr (std::is_integral_v<T>) {
        const double whole = std::floor(value + 0.5);
        if (!isInRange<T>(whole))
            return whole < 0 ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
        return static_cast<T>(whole);
    } else {
        return static_cast<T>(value);
    }
}

/// The nodata value as a pixel, if there is such a pixel. A double loses digits when it becomes a float, but
/// so did the caller's pixels.
template <class T> std::optional<T> asPixel(const NoData& nodata) {
    if (const auto* whole = std::get_if<unsigned long long>(&nodata)) {
        if constexpr (std::is_integral_v<T>)
            if (!std::in_range<T>(*whole))
                return std::nullopt;
        return static_cast<T>(*whole);
    }
    const double value = std::get<double>(nodata);
    const bool whole = !std::is_integral_v<T> || std::trunc(value) == value;
    return whole && isInRange<T>(value) ? std::optional(static_cast<T>(value)) : std::nullopt;
}

} // namespace Tilewright::Io
