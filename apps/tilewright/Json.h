/// JsonWriter: results for other programs.
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

namespace Tilewright::App {

/// Writes one JSON document, member by member. The key of a member of an object goes before its value;
/// elements of an array have none.
///
/// Numbers read back as they were, and those that JSON has no word for, such as NaN, are null. Texts come out
/// as UTF-8: bytes that are none, as in a name of a file, become U+FFFD.
class JsonWriter {
public:
    explicit JsonWriter(std::ostream& out) : Out(out) {}

    void beginObject() { begin('{'); }
    void endObject() { end('}'); }
    void beginArray() { begin('['); }
    void endArray() { end(']'); }

    void key(std::string_view name);
    void null();
    void value(std::string_view text);
    void value(const char* text) { value(std::string_view(text)); }
    void value(double number);
    void value(bool truth);
    template <std::unsigned_integral T> void value(T number) { count(number); }
    /// On one line.
    void value(std::span<const double> numbers);

    /// A member of an object.
    template <class T> void member(std::string_view name, const T& content) {
        key(name);
        value(content);
    }
    template <class T> void member(std::string_view name, const std::optional<T>& content) {
        key(name);
        content ? value(*content) : null();
    }

private:
    void begin(char bracket);
    void end(char bracket);
    /// Before everything but the value of a key.
    void separate();
    void startValue();
    void count(std::uint64_t number);

    std::ostream& Out;
    int Depth = 0;
    bool IsFirst = true;
    bool HasKey = false;
};

} // namespace Tilewright::App
