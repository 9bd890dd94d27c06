/// CodedWindow: what a decoder sees of a coded string: all of it, or where the chunk is still in its file, a
/// window that moves along.
///
/// The decoder itself takes the end of the window for the end of the string. So a window is refilled before
/// so many points are decoded that they could reach its end, and the inner loops know nothing of it.
#pragma once

#include <cstddef>
#include <vector>

#include <io/formats/las/ArithmeticDecoder.h>
#include <io/formats/las/ChunkBytes.h>

namespace Tilewright::Io {

/// A stretch of a chunk, to be decoded from its first byte on.
struct CodedString {
    const ChunkBytes* chunk; ///< must stay
    ByteRange range;
    /// No refill is needed while as much as this is left. The window is twice as long.
    std::size_t reserve;
};

class CodedWindow {
public:
    /// Throws CodingError if no coded string begins there.
    ArithmeticDecoder start(const CodedString& newString) {
        string = newString;
        if (string.chunk->isInMemory()) {
            read = string.range.length;
            return ArithmeticDecoder(string.chunk->slice(string.range));
        }
        read = 0;
        bytes.clear();
        return ArithmeticDecoder(load({}));
    }

    /// Makes sure that the decoder sees at least `reserve` bytes, or all that are left.
    void refill(ArithmeticDecoder& coder) {
        if (read != string.range.length && coder.rest().size() < string.reserve) [[unlikely]]
            coder.moveTo(load(coder.rest()));
    }

    bool isAtEnd(const ArithmeticDecoder& coder) const noexcept {
        return position(coder) == string.range.length;
    }

    /// Bytes of the string that the decoder has read.
    std::uint64_t position(const ArithmeticDecoder& coder) const noexcept {
        return read - coder.rest().size();
    }

private:
    /// Puts more of the string after `rest`, a part of the window.
    std::span<const std::byte> load(std::span<const std::byte> rest);

    CodedString string = {};
    std::uint64_t read = 0; ///< of the string, into windows
    std::vector<std::byte> bytes;
};

} // namespace Tilewright::Io
