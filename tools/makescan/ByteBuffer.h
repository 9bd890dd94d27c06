/// ByteBuffer: bytes of a binary file, collected before they are written.
#pragma once

#include <bit>
#include <cstddef>
#include <cstring>
#include <ostream>
#include <string_view>
#include <vector>

namespace Tilewright::MakeScan {

class ByteBuffer {
public:
    template <class T> void number(T value) {
        static_assert(std::endian::native == std::endian::little, "LAS files are little-endian");
        const std::size_t end = bytes_.size();
        bytes_.resize(end + sizeof(T));
        std::memcpy(bytes_.data() + end, &value, sizeof(T));
    }

    /// A text in a field of fixed length, padded with zeros. The text has to fit.
    void text(std::string_view text, std::size_t length) {
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        bytes_.resize(bytes_.size() + length - text.size());
    }

    std::size_t size() const { return bytes_.size(); }

    /// Leaves the buffer empty.
    void writeTo(std::ostream& file) {
        file.write(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
        bytes_.clear();
    }

private:
    std::vector<char> bytes_;
};

} // namespace Tilewright::MakeScan
