/// JsonValues: values to JSON and back, exactly.
///
/// What a structure X is made of is said once, for both ways: by a function
/// `void list(auto& members, Like<X> auto& value)` that calls `members("name", value.name)` for each member.
/// Kinds have their words in KindWords.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include <io/system/Errors.h>

namespace Tilewright::Io {

/// Keeps its members in their order.
using Json = nlohmann::ordered_json;

/// X, to be changed or not.
template <class T, class X>
concept Like = std::same_as<std::remove_const_t<T>, X>;

/// The words of an enumeration, in the order of its values: a specialisation has them as `words`.
template <class Kind> struct KindWords;

/// A text that may not be UTF-8.
Json jsonOfText(const std::string& text);
std::optional<std::string> textOfJson(const Json& json);

/// With words for what is no finite number.
Json jsonOfNumber(double number);
std::optional<double> numberOfJson(const Json& json);

class JsonWriter {
public:
    template <class T> static Json write(const T& value) {
        if constexpr (std::is_same_v<T, bool>)
            return value;
        else if constexpr (std::is_enum_v<T>)
            return KindWords<T>::words.at(static_cast<std::size_t>(value));
        else if constexpr (std::is_integral_v<T>)
            return value;
        else if constexpr (std::is_same_v<T, double>)
            return jsonOfNumber(value);
        else if constexpr (std::is_same_v<T, std::string>)
            return jsonOfText(value);
        else if constexpr (std::is_same_v<T, std::filesystem::path>)
            return jsonOfText(value.string());
        else
            return writeMembers(value);
    }
    template <class T> static Json write(const std::optional<T>& value) {
        return value ? write(*value) : Json();
    }
    template <class T> static Json write(const std::vector<T>& values) { return writeAll(values); }
    template <class T, std::size_t N> static Json write(const std::array<T, N>& values) {
        return writeAll(values);
    }
    template <class A, class B> static Json write(const std::pair<A, B>& pair) {
        return Json::array({write(pair.first), write(pair.second)});
    }

    template <class T> void operator()(const char* name, const T& value) { Object[name] = write(value); }

private:
    template <class T> static Json writeMembers(const T& value) {
        JsonWriter members;
        list(members, value);
        return std::move(members.Object);
    }
    template <class Range> static Json writeAll(const Range& values) {
        Json array = Json::array();
        for (const auto& value : values)
            array.push_back(write(value));
        return array;
    }

    Json Object = Json::object();
};

/// Throws InputError, with the place in the document, for what is not there or not of its kind.
class JsonReader {
public:
    /// `place` is what to call `json` in a message.
    JsonReader(const Json& json, std::string place) : At(json), Place(std::move(place)) {}

    template <class T> void read(T& value) const {
        if constexpr (std::is_same_v<T, bool>)
            value = require(At.is_boolean() ? std::optional(At.get<bool>()) : std::nullopt, "true or false");
        else if constexpr (std::is_enum_v<T>)
            value = static_cast<T>(readWord(KindWords<T>::words));
        else if constexpr (std::is_integral_v<T>)
            value = require(wholeNumber<T>(), "a whole number in its range");
        else if constexpr (std::is_same_v<T, double>)
            value = require(numberOfJson(At), "a number");
        else if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, std::filesystem::path>)
            value = require(textOfJson(At), "a text");
        else {
            expect(At.is_object(), "an object");
            JsonReader members = *this;
            list(members, value);
        }
    }
    template <class T> void read(std::optional<T>& value) const {
        if (At.is_null())
            value.reset();
        else
            read(value.emplace());
    }
    template <class T> void read(std::vector<T>& values) const {
        expect(At.is_array(), "a list");
        values.clear();
        for (std::size_t i = 0; i < At.size(); ++i)
            element(i).read(values.emplace_back());
    }
    template <class T, std::size_t N> void read(std::array<T, N>& values) const {
        expect(At.is_array() && At.size() == N, "a list of " + std::to_string(N));
        for (std::size_t i = 0; i < N; ++i)
            element(i).read(values[i]);
    }
    template <class A, class B> void read(std::pair<A, B>& pair) const {
        expect(At.is_array() && At.size() == 2, "a list of 2");
        element(0).read(pair.first);
        element(1).read(pair.second);
    }

    template <class T> void operator()(const char* name, T& value) const {
        const auto found = At.find(name);
        if (found == At.end())
            throw InputError(Place + " has no " + name);
        JsonReader(*found, Place + "." + name).read(value);
    }

    void expect(bool isThere, const std::string& what) const {
        if (!isThere)
            throw InputError(Place + " is not " + what);
    }

private:
    JsonReader element(std::size_t i) const { return {At[i], Place + "[" + std::to_string(i) + "]"}; }

    template <class T> T require(std::optional<T> value, const char* what) const {
        expect(value.has_value(), what);
        return *std::move(value);
    }

    template <class T> std::optional<T> wholeNumber() const {
        if (At.is_number_unsigned() && std::in_range<T>(At.get<std::uint64_t>()))
            return static_cast<T>(At.get<std::uint64_t>());
        if (At.is_number_integer() && !At.is_number_unsigned() && std::in_range<T>(At.get<std::int64_t>()))
            return static_cast<T>(At.get<std::int64_t>());
        return std::nullopt;
    }

    std::size_t readWord(std::span<const char* const> words) const {
        const auto found =
            At.is_string() ? std::ranges::find(words, At.get_ref<const std::string&>()) : words.end();
        expect(found != words.end(), "one of the words for it");
        return static_cast<std::size_t>(found - words.begin());
    }

    const Json& At;
    std::string Place;
};

} // namespace Tilewright::Io
