/// BandFilters: the filters of bands, and all that follows from the choice of one.
///
/// A filter is known by its word here and nowhere else. A new one is a row of the table, and a row for what
/// no column can say yet is a new column. There is a second table, of the filters that a request can name:
/// they are the library's own and mean what the library makes of them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <io/rasters/RasterDescription.h>
#include <io/records/PointField.h>
#include <io/statistics/Statistic.h>
#include <tilewright/filters/vocabulary.h>

namespace Tilewright::Io {

struct BandFilter {
    /// The pixels of an attribute.
    enum class Result {
        /// One of the values, in their type: classes stay classes, and whole numbers keep all their digits.
        OneOfThem,
        /// A number between them, in single precision where that holds all of them, else in double.
        Widened,
        /// A number in single precision.
        Single,
        /// A number in double precision.
        Wide,
        /// A number of points or values.
        Count
    };

    /// How the result changes when all values are scaled by a factor and shifted by an offset, and its unit.
    enum class Dimension {
        /// Scales and shifts with the values, and has their unit.
        Value,
        /// Scales with the values, does not shift, and has their unit.
        Difference,
        /// Scales with the values, shifts by the offset once per value, and has their unit.
        Total,
        /// Scales with the square of the factor, does not shift, and has the square of their unit.
        Square,
        /// Stays; has no unit.
        Number
    };

    /// The extremes are those that the library looks for between bounds.
    enum class Extreme { None, Least, Greatest };

    /// How it is written.
    enum class Form {
        /// A word.
        Word,
        /// P with a number from 0 to 100.
        Percent,
        /// WORD(NUMBER)
        Limit,
        /// IDW(RADIUS) or IDW(RADIUS,POWER)
        Radius
    };

    const char* word;
    Result result;
    Dimension dimension;
    /// One of the two: the library's number or a statistic.
    std::uint32_t number = filterSkip;
    Statistic::Kind statistic = Statistic::Kind::None;
    Form form = Form::Word;
    /// For readers: how it is written, what a cell holds, and by what formula of whom.
    const char* written = nullptr;
    const char* meaning = "";
    const char* formula = "";
    Extreme extreme = Extreme::None;
    /// Whether sums of all values of a cell occur, which may be too large for a double.
    bool addsUp = false;
    /// Whether a plane is fitted through whole points: of heights alone.
    bool isPlane = false;
};

/// In the order in which users read them.
std::span<const BandFilter> bandFilters();
std::span<const BandFilter> requestFilters();

/// A filter as somebody wrote it.
struct ChosenFilter {
    const BandFilter* filter;
    /// With its numbers.
    Statistic statistic = {};
    /// The same as part of a file's name: letters, digits, points and minus signs.
    std::string name = {};
};

/// None for a word that no filter has. Throws UsageError if there is such a filter but not with such numbers.
std::optional<ChosenFilter> chooseFilter(std::string_view text);

/// Null for a word that no filter has.
const BandFilter* findRequestFilter(std::string_view word);

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
