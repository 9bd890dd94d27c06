#include <io/runs/BandFilters.h>

#include <algorithm>
#include <array>

#include <tilewright/filters/vocabulary.h>

namespace Tilewright::Io {

namespace {

using Result = BandFilter::Result;
using Dimension = BandFilter::Dimension;
using Extreme = BandFilter::Extreme;

constexpr std::array<BandFilter, 6> filters = {{
    {.word = "Mean",
     .number = filterMean,
     .result = Result::Widened,
     .dimension = Dimension::Value,
     .addsUp = true},
    {.word = "Min",
     .number = filterMin,
     .result = Result::OneOfThem,
     .dimension = Dimension::Value,
     .extreme = Extreme::Least},
    {.word = "Max",
     .number = filterMax,
     .result = Result::OneOfThem,
     .dimension = Dimension::Value,
     .extreme = Extreme::Greatest},
    {.word = "Median", .number = filterMedian, .result = Result::OneOfThem, .dimension = Dimension::Value},
    {.word = "MaxOccurrence",
     .number = filterMaxOccurrence,
     .result = Result::OneOfThem,
     .dimension = Dimension::Value},
    {.word = "Regression",
     .number = filterRegression,
     .result = Result::Single,
     .dimension = Dimension::Value,
     .isPlane = true},
}};

bool fitsFloat(FieldType type) {
    return type == FieldType::Float || type == FieldType::UnsignedChar || type == FieldType::UnsignedShort;
}

} // namespace

std::span<const BandFilter> bandFilters() { return filters; }

const BandFilter* findBandFilter(std::string_view word) {
    const auto found = std::ranges::find(filters, word, &BandFilter::word);
    return found == filters.end() ? nullptr : found;
}

std::string wordOfFilter(std::uint32_t number) {
    const auto found = std::ranges::find(filters, number, &BandFilter::number);
    return found == filters.end() ? "" : found->word;
}

std::uint32_t numberOfFilter(std::string_view word) {
    const BandFilter* const filter = findBandFilter(word);
    return filter ? filter->number : std::uint32_t(filterSkip);
}

bool suits(const BandFilter& filter, std::string_view field) { return !filter.isPlane || field == "Height"; }

PixelType pixelTypeOfResult(const BandFilter& filter, FieldType values) {
    switch (filter.result) {
    case Result::OneOfThem:
        return visitFieldType(values, []<class T>() { return pixelTypeOf<T>; });
    case Result::Widened:
        return fitsFloat(values) ? PixelType::Float32 : PixelType::Float64;
    case Result::Single:
        break;
    }
    return PixelType::Float32;
}

std::string unitOfResult(const BandFilter& filter, const std::string& unit) {
    switch (filter.dimension) {
    case Dimension::Value:
    case Dimension::Difference:
        return unit;
    case Dimension::Square:
        return unit.empty() ? "" : "square " + unit;
    case Dimension::Number:
        break;
    }
    return "";
}

double scaleOfResult(const BandFilter& filter, double scale) {
    switch (filter.dimension) {
    case Dimension::Value:
    case Dimension::Difference:
        return 1.0 / scale;
    case Dimension::Square:
        return 1.0 / (scale * scale);
    case Dimension::Number:
        break;
    }
    return 1.0;
}

} // namespace Tilewright::Io
