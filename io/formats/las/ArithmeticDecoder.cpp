#include <io/formats/las/ArithmeticDecoder.h>

#include <io/formats/las/CodingError.h>

namespace Tilewright::Io {

ArithmeticDecoder::ArithmeticDecoder(std::span<const std::byte> bytes)
    : length(0xFFFFFFFFU), next(bytes.data()), end(bytes.data() + bytes.size()) {
    if (bytes.size() < 4)
        failAtEnd();
    for (int i = 0; i < 4; ++i)
        value = value << 8 | std::to_integer<std::uint32_t>(*next++);
    if (value == length)
        throw CodingError("its coded bytes do not begin as such bytes do");
}

void ArithmeticDecoder::failAtEnd() { throw CodingError("its coded bytes end too early"); }

void ArithmeticDecoder::failAtNumber() {
    throw CodingError("its coded bytes hold a number that is too large");
}

} // namespace Tilewright::Io
