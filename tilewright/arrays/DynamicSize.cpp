#include <tilewright/arrays/DynamicSize.h>

#include <algorithm>
#include <utility>

namespace Quill {

DynamicSize::DynamicSize(const DynamicSize& other)
    : DynamicSize(other.Rank, new unsigned long long[static_cast<std::size_t>(std::max(other.Rank, 0))]) {
    if (other.Rank > 0)
        std::copy_n(other.Extents.get(), other.Rank, Extents.get());
}

DynamicSize::DynamicSize(DynamicSize&& other) noexcept
    : Rank(std::exchange(other.Rank, 0)), Extents(std::move(other.Extents)) {}

DynamicSize& DynamicSize::operator=(DynamicSize other) noexcept {
    std::swap(Rank, other.Rank);
    std::swap(Extents, other.Extents);
    return *this;
}

} // namespace Quill
