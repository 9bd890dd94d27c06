#pragma once

#include <memory>

#include <tilewright/arrays/MultiIndex.h>

namespace Quill {

/// An extent whose rank is known only at run time.
class TILEWRIGHT_API DynamicSize {
public:
    /// Takes over `extents`, a block of `rank` numbers made by array new.
    DynamicSize(int rank, unsigned long long* extents) : Rank(rank), Extents(extents) {}

    template <int N>
    explicit DynamicSize(const MultiIndex<N>& size) : DynamicSize(N, new unsigned long long[N]) {
        for (std::size_t c = 0; c < N; ++c)
            Extents[c] = size[c];
    }

    DynamicSize(const DynamicSize& other);
    /// Leaves `other` with a rank of 0.
    DynamicSize(DynamicSize&& other) noexcept;
    DynamicSize& operator=(DynamicSize other) noexcept;

    int rank() const { return Rank; }

    unsigned long long& operator[](std::size_t c) { return Extents[c]; }
    const unsigned long long& operator[](std::size_t c) const { return Extents[c]; }

    /// The first N components; only for a rank of N.
    template <int N> MultiIndex<N> toMultiIndex() const {
        MultiIndex<N> index;
        for (std::size_t c = 0; c < N; ++c)
            index[c] = Extents[c];
        return index;
    }

private:
    int Rank;
    std::unique_ptr<unsigned long long[]> Extents;
};

} // namespace Quill
