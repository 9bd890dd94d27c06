/// Json: results for other programs.
#pragma once

#include <optional>
#include <ostream>

#include <nlohmann/json.hpp>

namespace Tilewright::App {

/// Keeps its members in the order in which they were added.
using Json = nlohmann::ordered_json;

template <class T> Json orNull(const std::optional<T>& content) { return content ? Json(*content) : Json(); }

/// Numbers read back as they were, and those that JSON has no word for, such as NaN, are null. Texts come out
/// as UTF-8: each byte that is not part of a character, as in the name of a file, becomes U+FFFD.
void print(std::ostream& out, Json document);

} // namespace Tilewright::App
