/// Json: results for other programs.
#pragma once

#include <optional>
#include <ostream>

#include <nlohmann/json.hpp>

namespace Tilewright::App {

/// Keeps its members in the order in which they were added.
using Json = nlohmann::ordered_json;

template <class T> Json orNull(const std::optional<T>& content) { return content ? Json(*content) : Json(); }

/// Numbers read back unchanged; those that JSON cannot represent, such as NaN, become null. Texts are written
/// as UTF-8: each byte that is not part of a valid character, as may occur in file names, becomes U+FFFD.
void print(std::ostream& out, Json document);

} // namespace Tilewright::App
