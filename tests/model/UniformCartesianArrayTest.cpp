// The lattice whose points are worked out and not stored.
#include "tests/support/CloudBuilder.h"

namespace {

using namespace TestSupport;
using Quill::UniformCartesianArray;
using PointArray3 = Larder::StrongPtr<Quill::MemArray<3, point>, Larder::Cacheable>;

const Index extents{2, 3, 4};

Larder::Ref<UniformCartesianArray> lattice(const Index& size = extents) {
    return Larder::Ref<UniformCartesianArray>(size, point(10, 20, 30), vector(1, 0.5, -2));
}

point expectedAt(const Index& index) {
    return {10 + 1.0 * static_cast<double>(index[0]), 20 + 0.5 * static_cast<double>(index[1]),
            30 - 2.0 * static_cast<double>(index[2])};
}

TEST(UniformLattice, HasItsPointsWithoutStorage) {
    const auto array = lattice();
    Index index;
    do
        EXPECT_EQ((*array)[index], expectedAt(index));
    while (index.inc(extents));
    EXPECT_TRUE(array->first() == point(10, 20, 30) && array->last() == point(11, 21, 24));
    EXPECT_TRUE(array->Size() == extents && array->nElements() == 24 && array->rank() == 3);
    EXPECT_EQ(array->memsize(), 3 * 2 * sizeof(double)) << "a start and a step an axis";
    EXPECT_TRUE(!array->getPtr() && !array->getChunk() && !array->creativeIterator().data);
    EXPECT_EQ(lattice({0, 3, 4})->last(), point(10, 21, 24)) << "nothing lies before the first";
    EXPECT_EQ(*static_cast<const point*>(array->OriginPtr()), point(10, 20, 30));
    EXPECT_EQ(*static_cast<const vector*>(array->DeltaPtr()), vector(1, 0.5, -2));
    const Larder::StrongPtr<UniformCartesianArray, Larder::Cacheable> copy = array->copy({});
    EXPECT_TRUE(copy && copy->last() == array->last() && copy->Size() == extents);
}

TEST(UniformLattice, ReadsCoordinatesFromWhicheverAxisTheyHave) {
    const auto array = lattice();
    array->AxisOfCoordinate = {2, 0, 3};
    EXPECT_EQ((*array)[Index(1, 2, 3)], point(24, 11, 0)) << "the third has none";
    EXPECT_EQ(*static_cast<const point*>(array->OriginPtr()), point(30, 10, 0));
    EXPECT_EQ(*static_cast<const vector*>(array->DeltaPtr()), vector(-2, 1, 0));
    array->AxisOfCoordinate = {0, 1, 2};
    array->Axes[1] = {};
    EXPECT_EQ((*array)[Index(1, 2, 3)], point(11, 0, 24));
    EXPECT_EQ(array->memsize(), 2 * 2 * sizeof(double));

    array->Axes[0]->base_vector() = {5, 7};
    array->AxisOfCoordinate = {2, 0, 1};
    const Larder::StrongPtr<UniformCartesianArray, Larder::Cacheable> copy = array->copy({});
    EXPECT_EQ((*copy)[Index(1, 2, 3)], point(24, 12, 0)) << "it has the present axes";
    EXPECT_EQ(*static_cast<const point*>(copy->OriginPtr()), point(30, 5, 0));
    array->Axes[0]->base_vector() = {0, 0};
    EXPECT_EQ((*copy)[Index(1, 2, 3)], point(24, 12, 0)) << "and they are its own";
}

TEST(UniformLattice, BecomesMemoryWholeOrInParts) {
    const auto array = lattice();
    const PointArray3 whole = array->makeMemArray({});
    const PointArray3 box = array->createSubMemArray({1, 0, 2}, {1, 2, 2}, {});
    Index index;
    do
        EXPECT_EQ((*whole)[index], expectedAt(index));
    while (index.inc(extents));
    index = {};
    do
        EXPECT_EQ((*box)[index], expectedAt({index[0] + 1, index[1], index[2] + 2}));
    while (index.inc({1, 2, 2}));
    const Quill::ArrayPtr none = array->createSubMemArray({}, {2, 0, 4}, {});
    EXPECT_TRUE(none && none->nElements() == 0);

    const Larder::StrongPtr<Quill::MemArray<2, point>, Larder::Cacheable> slice = array->getSlice(3, {});
    EXPECT_TRUE(slice && slice->first() == point(10, 20, 24) && slice->last() == point(11, 21, 24));
    const Larder::StrongPtr<Quill::MemArray<3, double>, Larder::Cacheable> heights =
        array->getComponentArray(2, {});
    EXPECT_TRUE(heights && heights->first() == 30 && heights->last() == 24);
    EXPECT_FALSE(array->getComponentArray(3, {}));
}

TEST(UniformLattice, MakesArraysOfPointsButIsNoneToWriteTo) {
    const auto array = lattice();
    const PointArray3 made = array->newMemArraynD({1, 1, 2}, {});
    EXPECT_TRUE(made && made->Size() == Index(1, 1, 2) && made->last() == point());
    const Larder::Ref<Larder::Chunk<point>> fits(24U, false), tooShort(23U, false);
    const PointArray3 around = array->createEquallySizedMemArray(fits, {});
    EXPECT_TRUE(around && around->getPtr() == fits->data() && around->Size() == extents);
    EXPECT_FALSE(array->createEquallySizedMemArray(tooShort, {}) ||
                 array->createEquallySizedMemArray({}, {}) || array->copyFrom(fits));
}

} // namespace
