#include <io/formats/las/CodedWindow.h>

#include <algorithm>
#include <cstring>

namespace Tilewright::Io {

std::span<const std::byte> CodedWindow::load(std::span<const std::byte> rest) {
    const std::uint64_t left = string.range.length - read;
    const auto more =
        static_cast<std::size_t>(std::min<std::uint64_t>(left, 2 * string.reserve - rest.size()));
    if (bytes.size() < rest.size() + more) {
        std::vector<std::byte> larger(rest.size() + more);
        std::ranges::copy(rest, larger.begin());
        bytes.swap(larger);
    } else if (!rest.empty()) {
        std::memmove(bytes.data(), rest.data(), rest.size());
    }
    const std::span window(bytes.data(), rest.size() + more);
    string.chunk->read(string.range.offset + read, window.subspan(rest.size()));
    read += more;
    return window;
}

} // namespace Tilewright::Io
