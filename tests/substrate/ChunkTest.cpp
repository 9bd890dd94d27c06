#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include <tilewright/substrate/Chunk.h>

namespace Larder {
namespace {

using namespace Orrery;
using PhysicalSpace::point;
using PhysicalSpace::vector;
using Triple = FixedArray<double, 3>;
using ChunkPtr = StrongPtr<ChunkBase, ChunkBase>;
template <class T> using Rung = StrongPtr<TypedChunk<T>, ChunkBase>;

TEST(TotalMemsize, FollowsTheSizesOfChunks) {
    const long long before = ChunkBase::TotalMemsize;
    {
        const ChunkPtr copy = Ref<Chunk<float>>(3u, false)->copy();
        EXPECT_EQ(ChunkBase::TotalMemsize, before + 12);
    }
    {
        const Ref<Chunk<double>> reserved(100u, true);
        EXPECT_GE(reserved->capacity(), 100U);
        EXPECT_EQ(reserved->data_ptr(), nullptr);
        EXPECT_EQ(ChunkBase::TotalMemsize, before);
        reserved->assign({1, 2});
    }
    EXPECT_EQ(ChunkBase::TotalMemsize, before - 16) << "what grew in between is only taken off";
}

TEST(Chunks, MakeChunksOfTheirOwnClassThroughTheErasedFace) {
    const ChunkPtr chunk = Ref<Chunk<Color16>>(5u, false);
    EXPECT_EQ(chunk->getBaseType(), typeid(FixedArray<unsigned short, 3>));
    EXPECT_EQ(chunk->element_size(), 6U);
    const StrongPtr<Chunk<Color16>, ChunkBase> fresh = chunk->createNewChunk(3, false);
    EXPECT_EQ(std::ranges::count(fresh->base_vector(), Color16()), 3);
    const StrongPtr<Chunk<Color16>, ChunkBase> copy = fresh->copy();
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->elements(), 3U);
    EXPECT_NE(copy->data(), fresh->data());
}

/// Whether a chunk of T can be reached as one of each of the types.
template <class T, class... As> std::vector<bool> reaches() {
    return {!!Rung<As>(ChunkPtr(Ref<Chunk<T>>(1u, false)))...};
}

TEST(Ladders, LeadFromEachTypeUpToItsLayoutOnly) {
    using Tagged = DomainVector<Column<3, double>, Cartesian3D, double>;
    const auto ofVector = reaches<vector, Triple, Vector<double, 3>, Matrix<3, 1, double>, Column<3, double>,
                                  Tagged, vector, point, double>();
    EXPECT_EQ(ofVector, std::vector<bool>({1, 1, 1, 1, 1, 1, 0, 0}));
    EXPECT_EQ((reaches<point, Triple, point, Vector<double, 3>, vector>()), std::vector<bool>({1, 1, 0, 0}));
    const Ref<Chunk<vector>> vectors(2u, false);
    Rung<Triple>(vectors)->base_vector().back()[2] = 8;
    EXPECT_EQ(vectors->back(), vector(0, 0, 8)) << "all rungs show the same elements";
}

/// Sizes as each face shows them after another has changed them, where the compiler could see all of it.
template <class T, class... As> void expectSizesFollowAllFaces() {
    const Ref<Chunk<T>> held(5u, false);
    Chunk<T>& chunk = *held;
    const auto expectOn = [](const auto& face, std::size_t size) {
        EXPECT_EQ(face.base_vector().size(), size);
    };
    const auto expectSize = [&](std::size_t size) {
        EXPECT_EQ(chunk.base_vector().size(), size);
        EXPECT_EQ(chunk.elements(), size);
        EXPECT_EQ(chunk.const_data_ptr() == nullptr, size == 0);
        (expectOn(static_cast<const TypedChunk<As>&>(chunk), size), ...);
    };
    const auto changeThrough = [&](auto& face) {
        face.base_vector().pop_back();
        expectSize(4);
        face.base_vector().clear();
        expectSize(0);
        chunk.base_vector().resize(7);
        expectSize(7);
        face.base_vector().resize(5);
        expectSize(5);
    };
    (changeThrough(static_cast<TypedChunk<As>&>(chunk)), ...);
    changeThrough(chunk);
}

TEST(Ladders, ShowOneSizeOnAllRungsWhoeverChangesIt) {
    expectSizesFollowAllFaces<point, Triple, point>();
    expectSizesFollowAllFaces<vector, Triple, Vector<double, 3>, Matrix<3, 1, double>, Column<3, double>,
                              DomainVector<Column<3, double>, Cartesian3D, double>, vector>();
    expectSizesFollowAllFaces<Color8, FixedArray<unsigned char, 3>, Vector<unsigned char, 3>, Color8>();
    expectSizesFollowAllFaces<Color16, FixedArray<unsigned short, 3>, Vector<unsigned short, 3>, Color16>();
    expectSizesFollowAllFaces<double, double>();
}

} // namespace
} // namespace Larder
