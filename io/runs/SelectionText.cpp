#include <io/runs/SelectionText.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

#include <io/system/Errors.h>

#include <io/runs/BandReader.h>
#include <io/system/NumberText.h>

namespace Tilewright::Io {

namespace {

/// What the values of a field can be.
struct Domain {
    std::string field;
    bool isWhole = false;
    double least = std::numeric_limits<double>::lowest();
    double greatest = std::numeric_limits<double>::max();
};

Domain domainOf(const CloudField& field) {
    return visitFieldType(field.type, [&]<class T>() {
        using Limits = std::numeric_limits<T>;
        constexpr double exact = 0x1p53;
        Domain domain{field.name, Limits::is_integer, static_cast<double>(Limits::lowest()),
                      static_cast<double>(Limits::max())};
        // Ranges are read as doubles.
        if (domain.isWhole)
            domain.greatest = std::min(domain.greatest, exact);
        return domain;
    });
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// Reads the items of a list one after the other.
class RangeReader {
public:
    /// `place` begins what is said of a list that makes no sense.
    RangeReader(const std::string& place, Domain domain) : Place(place), Values(std::move(domain)) {}

    std::vector<std::array<double, 2>> read(const std::string& list) const {
        std::vector<std::array<double, 2>> ranges;
        for (std::size_t begin = 0; begin <= list.size();) {
            const std::size_t end = std::min(list.find_first_of(",;", begin), list.size());
            ranges.push_back(readItem(list.substr(begin, end - begin)));
            begin = end + 1;
        }
        return ranges;
    }

private:
    /// A value, or two with a colon between them, of which one may be left out.
    std::array<double, 2> readItem(const std::string& item) const {
        constexpr double open = std::numeric_limits<double>::infinity();
        const std::size_t colon = item.find(':');
        const std::string first = trimmed(item.substr(0, colon));
        const std::string second = colon == std::string::npos ? first : trimmed(item.substr(colon + 1));
        const bool hasBoth = !first.empty() && !second.empty();
        const double a = first.empty() && !second.empty() ? -open : readNumber(first);
        const double b = second.empty() ? open : readNumber(second);
        const std::array<double, 2> range = {hasBoth ? std::min(a, b) : a, hasBoth ? std::max(a, b) : b};
        if (range[0] > Values.greatest || range[1] < Values.least)
            throw UsageError(Place + " asks for " + trimmed(item) + ", but " + Values.field +
                             " can only be " + exactNumber(Values.least) + " to " +
                             exactNumber(Values.greatest));
        // What lies beyond all values is cut off, and what is open stays open.
        return {std::isinf(range[0]) ? range[0] : std::max(range[0], Values.least),
                std::isinf(range[1]) ? range[1] : std::min(range[1], Values.greatest)};
    }

    double readNumber(const std::string& digits) const {
        const bool hasPlus = digits.size() > 1 && digits[0] == '+' && digits[1] != '-';
        const char* const first = digits.data() + (hasPlus ? 1 : 0);
        const char* const end = digits.data() + digits.size();
        double number = 0.0;
        const auto [rest, error] = std::from_chars(first, end, number);
        if (error != std::errc() || rest != end || !std::isfinite(number))
            throw UsageError(Place + " can't be read: '" + digits +
                             "' is no number; it names no range of values such as 2,9 or 3:5 or 3:");
        if (Values.isWhole && number != std::floor(number))
            throw UsageError(Place + " asks for " + digits + ", but " + Values.field +
                             " has whole numbers only");
        return number;
    }

    const std::string& Place;
    Domain Values;
};

constexpr std::array<std::pair<const char*, unsigned>, 4> returnWords = {
    {{"first", PointCondition::First},
     {"last", PointCondition::Last},
     {"only", PointCondition::Only},
     {"intermediate", PointCondition::Intermediate}}};

/// Groups of returns, with commas between them; none if that is not what the text is.
std::optional<unsigned> readReturnWords(const std::string& text) {
    unsigned groups = 0;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        const std::string word = trimmed(text.substr(begin, end - begin));
        const auto found =
            std::ranges::find(returnWords, word, [](const auto& known) { return known.first; });
        if (found == returnWords.end())
            return std::nullopt;
        groups |= found->second;
        begin = end + 1;
    }
    return groups;
}

PointCondition conditionOnReturns(unsigned groups, const PointCloud& cloud) {
    for (const char* const field : returnFields)
        requireField(cloud, field);
    PointCondition condition;
    condition.quantity = PointCondition::Quantity::Returns;
    condition.returns = groups;
    return condition;
}

PointCondition readRanges(const std::string& place, const std::string& text, const PointCloud& cloud,
                          bool hasGround) {
    const std::size_t at = text.find('@');
    if (at == std::string::npos || at == 0 || at + 1 == text.size())
        throw UsageError(place + " is not of the form RANGES@FIELD, for example 2,9@Classification, and "
                                 "names no returns: first, last, only, intermediate");
    using Quantity = PointCondition::Quantity;
    constexpr std::array<std::pair<const char*, Quantity>, 4> axes = {
        {{"X", Quantity::X}, {"Y", Quantity::Y}, {"Z", Quantity::Z}, {"Height", Quantity::Z}}};
    const std::string name = text.substr(at + 1);
    PointCondition condition;
    Domain domain;
    const auto axis = std::ranges::find(axes, name, [](const auto& known) { return known.first; });
    if (axis != axes.end()) {
        condition.quantity = axis->second;
        domain.field = name;
    } else if (name == heightAboveGround && hasGround) {
        condition.quantity = Quantity::HeightAboveGround;
        domain.field = name;
    } else {
        if (name == heightAboveGround && !cloud.findField(name))
            throw UsageError(place +
                             " asks for heights above the ground, which --ground or --ground-classes gives");
        condition.field = requireField(cloud, name);
        domain = domainOf(condition.field);
    }
    condition.ranges = RangeReader(place, domain).read(text.substr(0, at));
    return condition;
}

PointCondition readCondition(const std::string& place, const std::string& text, const PointCloud& cloud,
                             bool hasGround) {
    const std::string whole = trimmed(text);
    const bool excludes = whole.starts_with('!');
    const std::string what = excludes ? trimmed(whole.substr(1)) : whole;
    const std::optional<unsigned> groups = readReturnWords(what);
    PointCondition condition =
        groups ? conditionOnReturns(*groups, cloud) : readRanges(place, what, cloud, hasGround);
    condition.excludes = excludes;
    return condition;
}

} // namespace

PointConditions readConditions(const std::string& place, const std::string& text, const PointCloud& cloud,
                               bool hasGround) {
    PointConditions conditions;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('&', begin), text.size());
        conditions.push_back(readCondition(place, text.substr(begin, end - begin), cloud, hasGround));
        begin = end + 1;
    }
    return conditions;
}

PointConditions readSelection(const RasterRequest& request, const PointCloud& cloud) {
    PointConditions all;
    for (const std::string& text : request.selections)
        if (!text.empty())
            std::ranges::copy(readConditions("the selection '" + text + "'", text, cloud, hasGround(request)),
                              std::back_inserter(all));
    if (request.returns.empty())
        return all;
    const std::optional<unsigned> groups = readReturnWords(request.returns);
    if (!groups)
        throw UsageError("the returns '" + request.returns +
                         "' are not some of first, last, only and intermediate, with commas between them");
    all.push_back(conditionOnReturns(*groups, cloud));
    return all;
}

bool hasGround(const RasterRequest& request) {
    return !request.ground.empty() || !request.groundClasses.empty();
}

PointConditions readGroundClasses(const RasterRequest& request, const PointCloud& cloud) {
    if (request.groundClasses.empty())
        return {};
    return {readRanges("the ground class list '" + request.groundClasses + "'",
                       request.groundClasses + "@Classification", cloud, false)};
}

} // namespace Tilewright::Io
