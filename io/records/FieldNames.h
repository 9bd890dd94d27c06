/// FieldNames: what attributes are called and which type they get, so that files of all kinds speak of the
/// same things in the same words.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <io/records/PointField.h>
#include <io/system/Numbers.h>

namespace Tilewright::Io {

/// Which of `names` are x, y and z, also as easting, latitude, height and the like, in any letter case. An
/// axis that none of them means is left out.
std::array<std::optional<std::size_t>, 3> findAxes(std::span<const std::string> names);

/// The name under which LAS files have an attribute, if they have it: "gps_time" is GpsTime. Other names stay
/// as they are, but for a "scalar_" in front. Characters that would break a line of output become _.
std::string fieldName(std::string_view name);

/// An attribute of a name that is taken, by another one or by a coordinate, gets a number after it.
void makeNamesUnique(std::vector<PointField>& fields);

/// Collects values, to find the type that holds them all.
class ValueRange {
public:
    void add(const Number& value);
    /// There is a value that only Double can hold.
    void addReal() { isReal = true; }

    /// The type that LAS files have for an attribute of this name if all values fit; else Int, UnsignedInt,
    /// UnsignedLongLong, and Double for what is not whole or fits none of them.
    FieldType typeFor(std::string_view name) const;

private:
    template <class T> bool fits() const;

    bool isReal = false;
    long long low = 0;
    unsigned long long high = 0;
};

/// Stores a value in a record of a RecordStore. False if the type of the field can't hold it.
bool putNumber(std::byte* record, const PointField& field, const Number& value);

} // namespace Tilewright::Io
