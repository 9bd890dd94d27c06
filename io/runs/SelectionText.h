/// SelectionText: which points a user selects, as "RANGES@FIELD".
#pragma once

#include <optional>
#include <string>

#include <io/clouds/CloudSelection.h>

namespace Tilewright::Io {

/// Reads values and ranges "low:high", separated by commas or semicolons, of an attribute or of Height (Z), X
/// or Y; none for an empty text. The library's own language of ranges passes over what it can't read, and
/// takes values modulo the width of their type. So every character is read here first, and the library gets
/// a text that leaves no doubt.
///
/// Throws UsageError for what can't be read or is no value of the field, and InputError, with the fields
/// there are, for a field that the cloud doesn't have.
std::optional<CloudSelection> readSelection(const std::string& text, const PointCloud& cloud);

} // namespace Tilewright::Io
