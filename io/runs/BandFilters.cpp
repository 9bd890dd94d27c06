#include <io/runs/BandFilters.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <vector>

#include <io/system/Errors.h>
#include <io/system/NumberText.h>

namespace Tilewright::Io {

namespace {

using Result = BandFilter::Result;
using Dimension = BandFilter::Dimension;
using Extreme = BandFilter::Extreme;

using Form = BandFilter::Form;
using Sort = Statistic::Kind;

constexpr BandFilter mean = {.word = "Mean",
                             .result = Result::Widened,
                             .dimension = Dimension::Value,
                             .number = filterMean,
                             .meaning = "mean",
                             .formula = "sum of v / n, in double precision",
                             .addsUp = true};
constexpr BandFilter least = {.word = "Min",
                              .result = Result::OneOfThem,
                              .dimension = Dimension::Value,
                              .number = filterMin,
                              .meaning = "least value",
                              .extreme = Extreme::Least};
constexpr BandFilter greatest = {.word = "Max",
                                 .result = Result::OneOfThem,
                                 .dimension = Dimension::Value,
                                 .number = filterMax,
                                 .meaning = "greatest value",
                                 .extreme = Extreme::Greatest};
constexpr BandFilter plane = {.word = "Regression",
                              .result = Result::Single,
                              .dimension = Dimension::Value,
                              .number = filterRegression,
                              .meaning = "plane through the points, read at the centre of the cell",
                              .formula = "least squares; heights alone",
                              .isPlane = true};

constexpr std::array<BandFilter, 6> ofRequests = {{
    mean,
    least,
    greatest,
    {.word = "Median", .result = Result::OneOfThem, .dimension = Dimension::Value, .number = filterMedian},
    {.word = "MaxOccurrence",
     .result = Result::OneOfThem,
     .dimension = Dimension::Value,
     .number = filterMaxOccurrence},
    plane,
}};

constexpr BandFilter statistic(const char* word, Sort sort, Result result, Dimension dimension,
                               const char* meaning, const char* formula = "") {
    return {.word = word,
            .result = result,
            .dimension = dimension,
            .statistic = sort,
            .meaning = meaning,
            .formula = formula};
}

constexpr BandFilter written(BandFilter filter, Form form, const char* text) {
    filter.form = form;
    filter.written = text;
    return filter;
}

constexpr auto ofBands = std::to_array<BandFilter>({
    mean,
    least,
    greatest,
    statistic("Range", Sort::Range, Result::Widened, Dimension::Difference, "greatest minus least"),
    statistic("Sum", Sort::Sum, Result::Wide, Dimension::Total, "sum",
              "in double precision, compensated (Neumaier 1974)"),
    statistic("StdDev", Sort::StdDev, Result::Single, Dimension::Difference, "standard deviation",
              "square root of Variance"),
    statistic("Variance", Sort::Variance, Result::Single, Dimension::Square, "mean of the squared deviations",
              "sum of (v - mean)^2 / n, point by point (Welford 1962)"),
    statistic("SampleStdDev", Sort::SampleStdDev, Result::Single, Dimension::Difference,
              "standard deviation of a sample; no data for a single point", "square root of SampleVariance"),
    statistic("SampleVariance", Sort::SampleVariance, Result::Single, Dimension::Square,
              "variance of a sample; no data for a single point", "sum of (v - mean)^2 / (n - 1)"),
    statistic("Skewness", Sort::Skewness, Result::Single, Dimension::Number,
              "how lopsided the values are; no data where all are equal",
              "m3 / m2^1.5, mk = sum of (v - mean)^k / n, point by point (Pebay 2008)"),
    statistic("Kurtosis", Sort::Kurtosis, Result::Single, Dimension::Number,
              "how heavy the tails are; no data where all are equal",
              "m4 / m2^2, which is 3 for a normal distribution (Pebay 2008)"),
    statistic("Median", Sort::Median, Result::Widened, Dimension::Value,
              "middle value, or the mean of the two in the middle"),
    statistic("MedianHigh", Sort::MedianHigh, Result::OneOfThem, Dimension::Value,
              "middle value, or the upper of the two"),
    statistic("MedianLow", Sort::MedianLow, Result::OneOfThem, Dimension::Value,
              "middle value, or the lower of the two"),
    written(statistic("P", Sort::Percentile, Result::Widened, Dimension::Value,
                      "percentile, such as P95 or P99.5",
                      "between the values around rank (n - 1) p / 100, from 0 (type 7 of Hyndman and Fan "
                      "1996)"),
            Form::Percent, "P0 ... P100"),
    statistic("Mode", Sort::Mode, Result::OneOfThem, Dimension::Value,
              "most frequent value, the smallest of several"),
    statistic("Distinct", Sort::Distinct, Result::Count, Dimension::Number, "number of different values"),
    statistic("First", Sort::First, Result::OneOfThem, Dimension::Value,
              "value of the first point, in the order of the cloud"),
    statistic("Last", Sort::Last, Result::OneOfThem, Dimension::Value, "value of the last point"),
    statistic("AtHighest", Sort::AtHighest, Result::OneOfThem, Dimension::Value,
              "value of the highest point, the first of several"),
    statistic("AtLowest", Sort::AtLowest, Result::OneOfThem, Dimension::Value,
              "value of the lowest point, the first of several"),
    written(statistic("Above", Sort::Above, Result::Single, Dimension::Number,
                      "share of the points whose value is greater than X", "0 to 1"),
            Form::Limit, "Above(X)"),
    statistic("Above(Mean)", Sort::AboveMean, Result::Single, Dimension::Number,
              "share of the points whose value is greater than the mean", "0 to 1"),
    written(
        statistic("IDW", Sort::InverseDistance, Result::Single, Dimension::Value,
                  "mean of the points within R of the centre of the cell, also those of other cells; "
                  "IDW(R) has the power P = 2",
                  "sum of v / d^P over sum of 1 / d^P; a point at the centre gives its value (Shepard 1968)"),
        Form::Radius, "IDW(R,P)"),
    plane,
});

/// Of a distance: beyond it the nearest point alone counts, up to rounding.
constexpr double mostPower = 20.0;

bool fitsFloat(FieldType type) {
    return type == FieldType::Float || type == FieldType::UnsignedChar || type == FieldType::UnsignedShort;
}

using Words = std::vector<std::string_view>;

/// The numbers that follow the word of a filter, as texts; none if what follows makes it another word.
std::optional<Words> wordsAfter(std::string_view rest, Form form) {
    constexpr std::string_view numeric = "+-.0123456789";
    if (form == Form::Percent)
        return numeric.find(rest.front()) == std::string_view::npos ? std::nullopt
                                                                    : std::optional<Words>({rest});
    if (!rest.starts_with('(') || !rest.ends_with(')'))
        return std::nullopt;
    rest = rest.substr(1, rest.size() - 2);
    const std::size_t comma = rest.find(',');
    if (comma == std::string_view::npos)
        return Words{rest};
    return Words{rest.substr(0, comma), rest.substr(comma + 1)};
}

std::string nameOf(std::string_view word) {
    std::string name;
    for (const char c : word)
        if (c != '(' && c != ')' && c != '+')
            name += c == ',' ? '-' : c;
    return name;
}

bool isWithin(const std::optional<double>& number, double low, double high) {
    return number && *number >= low && *number <= high;
}

/// Throws UsageError for numbers that the filter can't have.
ChosenFilter withNumbers(const BandFilter& filter, const Words& words, std::string_view text) {
    constexpr double most = std::numeric_limits<double>::max();
    const std::optional<double> first = parseDouble(words.front());
    const std::optional<double> second = words.size() > 1 ? parseDouble(words[1]) : 2.0;
    const auto expect = [text](bool isFine, const char* wanted) {
        if (!isFine)
            throw UsageError(std::string(wanted).append(", not '").append(text).append("'"));
    };
    ChosenFilter chosen{&filter, {filter.statistic}};
    switch (filter.form) {
    case Form::Percent:
        expect(isWithin(first, 0.0, 100.0), "a percentile has a number from 0 to 100, as in P95 or P99.5");
        break;
    case Form::Limit:
        expect(words.size() == 1 && isWithin(first, -most, most),
               "Above takes a number or Mean, as in Above(5)");
        break;
    case Form::Radius:
        expect(isWithin(first, std::numeric_limits<double>::min(), most) && isWithin(second, 0.0, mostPower),
               "IDW takes a radius above 0 and a power from 0 to 20, as in IDW(2) or IDW(2,1)");
        break;
    case Form::Word:
        break;
    }
    // Without the sign of a zero.
    chosen.statistic.number = *first + 0.0;
    chosen.statistic.power = *second;
    chosen.name = filter.word;
    chosen.name += nameOf(exactNumber(chosen.statistic.number));
    if (filter.form == Form::Radius && chosen.statistic.power != 2.0)
        chosen.name.append("-").append(nameOf(exactNumber(chosen.statistic.power)));
    return chosen;
}

} // namespace

std::span<const BandFilter> bandFilters() { return ofBands; }
std::span<const BandFilter> requestFilters() { return ofRequests; }

std::optional<ChosenFilter> chooseFilter(std::string_view text) {
    for (const BandFilter& filter : ofBands)
        if (filter.form == Form::Word && text == filter.word)
            return ChosenFilter{&filter, {filter.statistic}, nameOf(text)};
    for (const BandFilter& filter : ofBands)
        if (filter.form != Form::Word && text.starts_with(filter.word) && text != filter.word)
            if (const auto words = wordsAfter(text.substr(std::strlen(filter.word)), filter.form))
                return withNumbers(filter, *words, text);
    return std::nullopt;
}

const BandFilter* findRequestFilter(std::string_view word) {
    const auto found = std::ranges::find(ofRequests, word, &BandFilter::word);
    return found == ofRequests.end() ? nullptr : found;
}

std::string wordOfFilter(std::uint32_t number) {
    const auto found = std::ranges::find(ofRequests, number, &BandFilter::number);
    return found == ofRequests.end() ? "" : found->word;
}

std::uint32_t numberOfFilter(std::string_view word) {
    const BandFilter* const filter = findRequestFilter(word);
    return filter ? filter->number : std::uint32_t(filterSkip);
}

bool suits(const BandFilter& filter, std::string_view field) { return !filter.isPlane || field == "Height"; }

PixelType pixelTypeOfResult(const BandFilter& filter, FieldType values) {
    switch (filter.result) {
    case Result::OneOfThem:
        return visitFieldType(values, []<class T>() { return pixelTypeOf<T>; });
    case Result::Widened:
        return fitsFloat(values) ? PixelType::Float32 : PixelType::Float64;
    case Result::Wide:
        return PixelType::Float64;
    case Result::Count:
        return PixelType::UInt32;
    case Result::Single:
        break;
    }
    return PixelType::Float32;
}

std::string unitOfResult(const BandFilter& filter, const std::string& unit) {
    switch (filter.dimension) {
    case Dimension::Value:
    case Dimension::Difference:
    case Dimension::Total:
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
    case Dimension::Total:
        return 1.0 / scale;
    case Dimension::Square:
        return 1.0 / (scale * scale);
    case Dimension::Number:
        break;
    }
    return 1.0;
}

} // namespace Tilewright::Io
