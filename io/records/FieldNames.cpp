#include <io/records/FieldNames.h>

#include <algorithm>
#include <set>
#include <utility>

#include <io/records/RecordStore.h>

namespace Tilewright::Io {

namespace {

/// Letters in lower case and digits: what is left of a name however its words are put together.
std::string plainForm(std::string_view name) {
    std::string plain;
    for (const char c : name)
        if (c >= 'A' && c <= 'Z')
            plain += static_cast<char>(c - 'A' + 'a');
        else if (c != '_' && c != '-' && c != ' ')
            plain += c;
    return plain;
}

struct KnownField {
    const char* name;
    FieldType type;
    std::array<const char*, 3> forms; ///< plain, besides that of the name itself
};

using enum FieldType;
constexpr std::array knownFields = {
    KnownField{"Intensity", UnsignedShort, {}},
    KnownField{"ReturnNumber", UnsignedChar, {"returnnum"}},
    KnownField{"NumberOfReturns", UnsignedChar, {"numreturns", "returncount"}},
    KnownField{"ScanDirectionFlag", UnsignedChar, {"scandirection"}},
    KnownField{"EdgeOfFlightLine", UnsignedChar, {}},
    KnownField{"Classification", UnsignedChar, {"class"}},
    KnownField{"Synthetic", UnsignedChar, {}},
    KnownField{"KeyPoint", UnsignedChar, {}},
    KnownField{"Withheld", UnsignedChar, {}},
    KnownField{"Overlap", UnsignedChar, {}},
    KnownField{"ScannerChannel", UnsignedChar, {}},
    KnownField{"ScanAngleRank", Int, {}},
    KnownField{"ScanAngle", Int, {}},
    KnownField{"UserData", UnsignedChar, {}},
    KnownField{"PointSourceId", UnsignedShort, {"pointsource"}},
    KnownField{"GpsTime", Double, {"time"}},
    KnownField{"Red", UnsignedShort, {"r", "diffusered"}},
    KnownField{"Green", UnsignedShort, {"g", "diffusegreen"}},
    KnownField{"Blue", UnsignedShort, {"b", "diffuseblue"}},
    KnownField{"Nir", UnsignedShort, {"infrared", "nearinfrared"}},
};

const KnownField* findKnown(std::string_view name) {
    const std::string plain = plainForm(name);
    const auto found = std::ranges::find_if(knownFields, [&plain](const KnownField& field) {
        return plain == plainForm(field.name) ||
               std::ranges::any_of(field.forms, [&plain](const char* form) { return form && plain == form; });
    });
    return found != knownFields.end() ? &*found : nullptr;
}

} // namespace

std::array<std::optional<std::size_t>, 3> findAxes(std::span<const std::string> names) {
    // The plainest word first: beside a z a height is an attribute.
    static const std::array<std::vector<std::string_view>, 3> words = {
        {{"x", "easting", "east", "longitude", "lon", "long"},
         {"y", "northing", "north", "latitude", "lat"},
         {"z", "elevation", "height", "altitude", "elev", "alt"}}};
    std::array<std::optional<std::size_t>, 3> axes;
    for (std::size_t axis = 0; axis < 3; ++axis)
        for (const std::string_view word : words[axis]) {
            const auto found = std::ranges::find(names, word, plainForm);
            if (found != names.end()) {
                axes[axis] = static_cast<std::size_t>(found - names.begin());
                break;
            }
        }
    return axes;
}

std::string fieldName(std::string_view name) {
    constexpr std::string_view prefix = "scalar_";
    if (name.starts_with(prefix) && name.size() > prefix.size())
        name.remove_prefix(prefix.size());
    if (const KnownField* const known = findKnown(name))
        return known->name;
    std::string own(name);
    for (char& c : own)
        c = static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '_' : c;
    return own;
}

void makeNamesUnique(std::vector<PointField>& fields) {
    // By these coordinates are asked for.
    std::set<std::string> taken = {"X", "Y", "Z", "Height", "Positions"};
    unsigned number = 2;
    for (PointField& field : fields) {
        const std::string name = field.name;
        while (!taken.insert(field.name).second)
            field.name = name + "_" + std::to_string(number++);
    }
}

void ValueRange::add(const Number& value) {
    if (const auto whole = convert<long long>(value)) {
        // Beyond 2^53 a number with a point or an exponent stands for its neighbours too.
        constexpr double exact = 0x1p53;
        const double* const real = std::get_if<double>(&value);
        isReal = isReal || (real && std::abs(*real) > exact);
        low = std::min(low, *whole);
        high = std::max(high, static_cast<unsigned long long>(std::max(*whole, 0LL)));
    } else if (const auto* const large = std::get_if<unsigned long long>(&value)) {
        high = std::max(high, *large);
    } else {
        isReal = true;
    }
}

template <class T> bool ValueRange::fits() const {
    if constexpr (std::is_floating_point_v<T>)
        return true;
    else
        return !isReal && std::in_range<T>(low) && std::in_range<T>(high);
}

FieldType ValueRange::typeFor(std::string_view name) const {
    const KnownField* const known = findKnown(name);
    for (const FieldType type : {known ? known->type : Int, Int, UnsignedInt, UnsignedLongLong})
        if (visitFieldType(type, [this]<class T>() { return fits<T>(); }))
            return type;
    return Double;
}

bool putNumber(std::byte* record, const PointField& field, const Number& value) {
    return visitFieldType(field.type, [&]<class T>() {
        const std::optional<T> converted = convert<T>(value);
        if (converted)
            RecordStore::put(record, field, *converted);
        return converted.has_value();
    });
}

} // namespace Tilewright::Io
