#include <io/runs/SelectionText.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
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

/// Neither the decimal separator nor an exponent depends on the language of the user.
std::string plainText(double number) {
    // Room for the smallest double.
    std::array<char, 1100> text;
    return {text.data(),
            std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed).ptr};
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// Reads the items of a list one after the other.
class RangeReader {
public:
    RangeReader(const std::string& text, Domain domain) : Text(text), Values(std::move(domain)) {}

    /// The list as the library shall have it.
    std::string read(const std::string& list) const {
        std::string ranges;
        for (std::size_t begin = 0; begin <= list.size();) {
            const std::size_t end = std::min(list.find_first_of(",;", begin), list.size());
            if (!ranges.empty())
                ranges += ',';
            ranges += readItem(list.substr(begin, end - begin));
            begin = end + 1;
        }
        return ranges;
    }

private:
    std::string readItem(const std::string& item) const {
        const std::size_t colon = item.find(':');
        const double a = readNumber(item.substr(0, colon));
        const double b = colon == std::string::npos ? a : readNumber(item.substr(colon + 1));
        const double low = std::max(std::min(a, b), Values.least);
        const double high = std::min(std::max(a, b), Values.greatest);
        if (low > high)
            throw UsageError("the selection '" + Text + "' asks for " + trimmed(item) + ", but " +
                             Values.field + " can only be " + exactNumber(Values.least) + " to " +
                             exactNumber(Values.greatest));
        return plainText(low) + ":" + plainText(high);
    }

    double readNumber(const std::string& word) const {
        const std::string digits = trimmed(word);
        const bool hasPlus = digits.size() > 1 && digits[0] == '+' && digits[1] != '-';
        const char* const first = digits.data() + (hasPlus ? 1 : 0);
        const char* const end = digits.data() + digits.size();
        double number = 0.0;
        const auto [rest, error] = std::from_chars(first, end, number);
        if (error != std::errc() || rest != end || !std::isfinite(number))
            throw UsageError("the selection '" + Text + "' can't be read: '" + digits +
                             "' is no number; it names no range of values such as 2,9 or 3:5");
        if (Values.isWhole && number != std::floor(number))
            throw UsageError("the selection '" + Text + "' asks for " + digits + ", but " + Values.field +
                             " has whole numbers only");
        return number;
    }

    const std::string& Text;
    Domain Values;
};

} // namespace

std::optional<CloudSelection> readSelection(const std::string& text, const PointCloud& cloud) {
    if (text.empty())
        return std::nullopt;
    const std::size_t at = text.find('@');
    if (at == std::string::npos || at == 0 || at + 1 == text.size())
        throw UsageError("the selection '" + text +
                         "' is not of the form RANGES@FIELD, for example 2,9@Classification");
    const std::string list = text.substr(0, at);
    const std::string name = text.substr(at + 1);
    constexpr std::array<std::pair<const char*, std::size_t>, 4> axes = {
        {{"X", 0}, {"Y", 1}, {"Z", 2}, {"Height", 2}}};
    CloudSelection selection;
    Domain domain;
    const auto axis = std::ranges::find(axes, name, [](const auto& known) { return known.first; });
    if (axis != axes.end()) {
        selection.axis = axis->second;
        domain.field = name;
    } else {
        selection.field = requireField(cloud, name);
        domain = domainOf(selection.field);
    }
    selection.ranges = RangeReader(text, domain).read(list);
    return selection;
}

} // namespace Tilewright::Io
