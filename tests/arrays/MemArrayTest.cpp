#include <numeric>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tilewright/arrays/MemArray.h>
#include <tilewright/model/CreativeArrayBase.h>

namespace Quill {
namespace {

using Larder::Chunk;
using Larder::Ref;
using Orrery::PhysicalSpace::point;
using testing::ElementsAre;
using testing::FieldsAre;

template <int N, class T> using Typed = Larder::StrongPtr<MemArray<N, T>, Larder::Cacheable>;

/// An array whose elements are their own linear indices.
template <int N, class T = float> Typed<N, T> counting(const MultiIndex<N>& size) {
    const Ref<MemArray<N, T>> array(size);
    std::iota(array->data, array->data + array->nElements(), T(0));
    return array;
}

TEST(MemArray, ShowsItsShapeAndStorageOnEveryFace) {
    const Typed<3, float> array = counting<3>({2, 3, 4});
    const ArrayPtr erased = array;
    EXPECT_THAT(std::tuple(erased->rank(), erased->nElements(), erased->memsize()), FieldsAre(3, 24, 96));
    EXPECT_EQ(erased->getType(), typeid(float));
    EXPECT_EQ(erased->getSize().toMultiIndex<3>(), array->Size());
    EXPECT_EQ(erased->getPtr(), erased->getChunk()->data_ptr());
    EXPECT_THAT(std::tuple(array->first(), array->last()), FieldsAre(0, 23));
}

TEST(MemArray, IsMadeOfAnyRecordThatAClientHas) {
    struct Pair : Orrery::FixedArray<float, 2> {
        using FixedArray::FixedArray;
    };
    const Ref<MemArray<2, Pair>> pairs(MultiIndex<2>(2, 2));
    pairs->data[3] = Pair(5, 7);
    EXPECT_EQ(pairs->valueType().scalarCount, 2u);
    EXPECT_EQ((Typed<2, float>(pairs->getComponentArray(1, {}))->last()), 7);
    EXPECT_FALSE(pairs->getComponentArray(2, {}));
    EXPECT_EQ((Typed<1, Pair>(pairs->getSlice(1, {}))->last()), Pair(5, 7));
}

TEST(MemArray, IsABaseBeforeItAsksForItsStorageAndIsCountedAfterwards) {
    const unsigned long long next = Larder::ReferenceBase<Larder::Cacheable>::MaxObjectCountID;
    const long long bytes = Larder::ChunkBase::TotalMemsize, types = MemBase::RegisteredTypes;
    EXPECT_THROW((MemArray<1, double>(MultiIndex<1>(~0ULL))), std::length_error);
    EXPECT_EQ(Larder::ReferenceBase<Larder::Cacheable>::MaxObjectCountID, next + 1);
    EXPECT_EQ(Larder::ChunkBase::TotalMemsize, bytes);
    EXPECT_EQ(MemBase::RegisteredTypes, types);
    counting<2, int>({2, 2})->getSlice(0, {});
    EXPECT_EQ(MemBase::RegisteredTypes, types + 2);
}

struct Maker : CreativeArrayBase {};

TEST(MemArray, IsHandedItsCreatorByWhateverMakesIt) {
    const Ref<Maker> maker;
    const Typed<2, float> array = counting<2>({3, 2});
    const Ref<MemArray<1, point>> points(MultiIndex<1>(2));
    for (const ArrayPtr& made :
         {array->getSlice(1, maker), array->copy(maker), array->getComponentArray(0, maker),
          array->createSubMemArray({}, {1, 1}, maker), array->newMemArraynD({1, 1}, maker),
          array->createEquallySizedMemArray(array->getChunk(), maker), points->getComponentArray(2, maker)})
        EXPECT_EQ(made->getCreator(), maker);
    EXPECT_FALSE(array->getCreator());
}

TEST(MemArray, HasNoElementsAroundAChunkOfAnotherType) {
    const Ref<Chunk<double>> doubles(6u, false);
    const Ref<MemArray<2, float>> array(ChunkPtr(doubles), MultiIndex<2>(2, 3));
    EXPECT_EQ(array->getPtr(), nullptr);
    EXPECT_EQ(array->memsize(), 0U);
    EXPECT_FALSE(array->copy({}));
    EXPECT_FALSE(array->copyFrom(ChunkPtr(Ref<Chunk<float>>(6u, false))));
    array->set(1);
    EXPECT_TRUE(array->getSlice(0, {}));
}

TEST(MemArray, IsShownWholeToTheSaveRegistryWhenFirstHeld) {
    static std::vector<const void*> shown;
    struct Saver : Larder::SaveInterfaceCreator<MemBase> {
        std::uint32_t createSaveInterface(MemBase* array) override {
            shown.push_back(dynamic_cast<MemArray<2, unsigned short>*>(array));
            return 7;
        }
    };
    struct Foreign : Larder::SaveInterfaceCreatorBase {};
    Larder::SaveRegistryBase::registerCreator(typeid(MemBase), Ref<Saver>());
    auto* const array = new MemArray<2, unsigned short>({1, 1});
    EXPECT_THAT(shown, ElementsAre());
    const Typed<2, unsigned short> held(array);
    EXPECT_THAT(shown, ElementsAre(array));
    EXPECT_EQ(Larder::SaveRegistry<MemBase>::addInterfaces(array), 7u);
    Larder::SaveRegistryBase::registerCreator(typeid(MemBase), Ref<Foreign>());
    EXPECT_EQ(Larder::SaveRegistry<MemBase>::addInterfaces(array), 0u) << "the last one makes none";
}

TEST(Slice, IsAViewOfTheParentsElements) {
    Typed<3, float> array = counting<3>({4, 5, 6});
    const Typed<2, float> slice = array->getSlice(2, {});
    EXPECT_EQ(slice->firstSkip, 40U);
    EXPECT_EQ(slice->Size(), MultiIndex<2>(4, 5));
    const Typed<1, float> row = slice->getSlice(3, {});
    EXPECT_FALSE(row->getSlice(0, {}));
    row->set(-1);
    for (unsigned e = 0; e < 120; ++e)
        EXPECT_EQ(array->data[e], e >= 52 && e < 56 ? -1.f : static_cast<float>(e));
    array = {};
    EXPECT_EQ((*slice)[MultiIndex<2>(0, 3)], -1);
}

TEST(Slice, OfElementsOutOfMemoryIsAskedOfTheirSource) {
    struct Source : DataCreator<float> {
        CreativeIterator<float> slice(unsigned dimension, unsigned long long index) override {
            EXPECT_EQ(dimension, 2U);
            EXPECT_EQ(index, 1U);
            CreativeIterator<float> run;
            run.data = Slab.data();
            run.count = run.componentStride = Slab.size();
            run.firstSkip = 2;
            return run;
        }
        float& element(unsigned long long) override { return Slab[0]; }
        std::vector<float> Slab = std::vector<float>(9, 7.f);
    } source;
    CreativeIterator<float> nowhere;
    nowhere.creator = &source;
    const Typed<3, float> array(new MemArray<3, float>(nowhere, {2, 3, 2}, ChunkPtr()));
    const Typed<2, float> slice = array->getSlice(1, {});
    EXPECT_EQ(slice->data, source.Slab.data());
    EXPECT_THAT(std::tuple(slice->firstSkip, slice->lastSkip), FieldsAre(2, 1));
    EXPECT_EQ(slice->creator, &source);
}

TEST(SubArray, CopiesTheBoxIfBothRanksFit) {
    const DynamicSize one(MultiIndex<1>(1)), two(MultiIndex<2>(1, 1));
    const Typed<1, float> row = counting<1>({5});
    EXPECT_TRUE(row->createSubArray(one, one, {}));
    EXPECT_FALSE(row->createSubArray(two, one, {}));
    EXPECT_FALSE(row->createSubArray(one, two, {}));
    const Typed<3, float> box = counting<3>({4, 3, 2})->createSubMemArray({1, 2, 0}, {2, 1, 2}, {});
    EXPECT_THAT(std::vector(box->data, box->data + 4), ElementsAre(9, 10, 21, 22));
    EXPECT_EQ(counting<4>({2, 2, 2, 2})->createSubMemArray({}, {2, 0, 2, 2}, {})->memsize(), 0u);
    const Typed<1, float> target = counting<1>({5});
    CopySubset(MultiIndex<1>(0), static_cast<MultiArray<1, float>&>(*target), MultiIndex<1>(1),
               static_cast<const MultiArray<1, float>&>(*row), MultiIndex<1>(3), PlainCopyConvert());
    EXPECT_EQ(target->data[1], 3) << "one element is copied even of an empty box";
}

TEST(Storage, IsOnlyTakenOverInTheRightSizeAndType) {
    const Typed<2, float> array = counting<2>({3, 2});
    const Typed<1, float> sharing = array->getSlice(1, {});
    const Ref<Chunk<float>> fits(6u, false), tooShort(5u, false);
    fits->assign({9, 8, 7, 6, 5, 4});
    for (const ChunkPtr& unfit : {ChunkPtr(), ChunkPtr(tooShort)}) {
        EXPECT_FALSE(array->createEquallySizedMemArray(unfit, {}));
        EXPECT_FALSE(array->copyFrom(unfit));
    }
    EXPECT_EQ(array->createEquallySizedMemArray(fits, {})->getPtr(), fits->data());
    EXPECT_FALSE(array->copyFrom(Ref<Chunk<int>>(6u, false)));
    EXPECT_TRUE(array->copyFrom(fits));
    EXPECT_EQ(sharing->first(), 6) << "whoever shares the storage sees it";
}

TEST(Component, OfARecordIsOneScalarThatCanBeWritten) {
    const Ref<MemArray<3, point>> points(MultiIndex<3>(2, 3, 2));
    for (unsigned e = 0; e < 12; ++e)
        points->data[e] = point(e, e + 0.25, e + 0.5);
    const Typed<3, double> heights = points->getComponentArray(2, {});
    EXPECT_EQ((*heights)[MultiIndex<3>(1, 2, 1)], 11.5);
    (*heights)[MultiIndex<3>(1, 0, 0)] = -1;
    EXPECT_EQ(points->data[1], point(1, 1.25, -1));
    EXPECT_FALSE(points->getComponentArray(3, {}));

    const Typed<2, double> eastings = points->getSlice(1, {})->getComponentArray(0, {});
    EXPECT_EQ(eastings->first(), 6) << "it begins where the slice begins";
    EXPECT_EQ(eastings->storageElements(), 12u);
    EXPECT_EQ(eastings->storageElements() - eastings->firstSkip - eastings->lastSkip, 6u);
    eastings->set(0);
    EXPECT_EQ(points->data[5], point(5, 5.25, 5.5));
    for (unsigned e = 6; e < 12; ++e)
        EXPECT_EQ(points->data[e], point(0, e + 0.25, e + 0.5));

    const Ref<MemArray<1, Triple>> triples(MultiIndex<1>(6));
    const Typed<1, double> plane = triples->getComponentArray(0, {});
    EXPECT_EQ(plane->data, triples->data->data() + 2) << "plain triples are taken to lie in planes";
}

TEST(Component, OfAPlainNumberIsTheNumberFromTheHeadOfTheStorage) {
    const Typed<2, float> array = counting<2>({3, 2});
    const ArrayPtr slice = array->getSlice(1, {});
    const Typed<1, float> same = slice->getComponentArray(0, {});
    EXPECT_EQ(same->data, array->data);
    EXPECT_THAT(std::tuple(same->first(), same->last()), FieldsAre(0, 2));
    EXPECT_THAT(std::tuple(same->count, same->componentStride, same->lastSkip), FieldsAre(6, 6, 3));
    EXPECT_FALSE(slice->getComponentArray(1, {}));
    EXPECT_TRUE(slice->getComponentArray(-1, {}));
}

TEST(DynamicSize, CopiesOfAnyRank) {
    const DynamicSize size(MultiIndex<3>(4, 5, 6)), none(-1, nullptr);
    DynamicSize copy(none);
    EXPECT_EQ(copy.rank(), -1);
    copy = size;
    EXPECT_EQ(copy.rank(), 3);
    EXPECT_EQ(copy.toMultiIndex<3>(), (MultiIndex<3>(4, 5, 6)));
    copy[2] = 9;
    EXPECT_EQ(size[2], 6u) << "each has extents of its own";
    const DynamicSize moved(std::move(copy));
    EXPECT_EQ(moved.rank(), 3);
    EXPECT_EQ(copy.rank(), 0);
    EXPECT_EQ(DynamicSize(copy).rank(), 0) << "what was moved from can still be copied";
}

} // namespace
} // namespace Quill
