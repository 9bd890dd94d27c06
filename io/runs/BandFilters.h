/// BandFilters: the filters of bands, and all that follows from the choice of one.
///
/// A filter is known by its word here and nowhere else. A new one is a row of the table, and a row for what
/// no column can say yet is a new column.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include <io/rasters/RasterDescription.h>
#include <io/records/PointField.h>

namespace Tilewright::Io {

struct BandFilter {
    /// The pixels of an attribute.
    enum class Result {
        /// One of the values, in their type: classes stay classes, and whole numbers keep all their digits.
        OneOfThem,
        /// A number between them, in single precision where that holds all of them, else in double.
        Widened,
        /// A number in single precision.
        Single
    };

    /// What multiplying all values by a factor and moving them by an offset does to the result, and its unit.
    enum class Dimension {
        /// Is multiplied and moved as they are, and has their unit.
        Value,
        /// Is multiplied as they are, not moved, and has their unit.
        Difference,
        /// Is multiplied by the square of the factor and not moved; has the square of their unit.
        Square,
        /// Stays; has no unit.
        Number
    };

    /// The extremes are those that the library looks for between bounds.
    enum class Extreme { None, Least, Greatest };

    const char* word;
    /// The library's.
    std::uint32_t number;
    Result result;
    Dimension dimension;
    Extreme extreme = Extreme::None;
    /// Whether sums of all values of a cell occur, which may be too large for a double.
    bool addsUp = false;
    /// Whether a plane is fitted through whole points: of heights alone.
    bool isPlane = false;
};

/// In the order in which users read them.
std::span<const BandFilter> bandFilters();

/// Null for a word that no filter has.
const BandFilter* findBandFilter(std::string_view word);

/// The word of a number and the number of a word; an empty text and filterSkip where there is none.
std::string wordOfFilter(std::uint32_t number);
std::uint32_t numberOfFilter(std::string_view word);

/// Whether bands of a field can have a filter.
bool suits(const BandFilter& filter, std::string_view field);

PixelType pixelTypeOfResult(const BandFilter& filter, FieldType values);

/// Of results for values with that unit; empty for none.
std::string unitOfResult(const BandFilter& filter, const std::string& unit);

/// What results are multiplied by if the values were multiplied by `scale`.
double scaleOfResult(const BandFilter& filter, double scale);

} // namespace Tilewright::Io
