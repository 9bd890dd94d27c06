// The lattice whose points are worked out and not stored.
#include "tests/support/CloudBuilder.h"

namespace {

using namespace TestSupport;
using Quill::UniformCartesianArray;
using LatticePtr = Larder::StrongPtr<UniformCartesianArray, Larder::Cacheable>;
template <class T> using TypedPtr = Larder::StrongPtr<Quill::TypedArray<T>, Larder::Cacheable>;
using Points = std::vector<point>;

const Index extents{2, 3, 4};

Larder::Ref<UniformCartesianArray> lattice(const Index& size = extents) {
    return Larder::Ref<UniformCartesianArray>(size, point(10, 20, 30), vector(1, 0.5, -2));
}

TEST(UniformLattice, HasItsPointsWithoutStorage) {
    const auto array = lattice();
    EXPECT_EQ((*array)[Index(1, 2, 3)], point(11, 21, 24));
    EXPECT_EQ((*array)[Index(0, 1, 0)], point(10, 20.5, 30));
    EXPECT_EQ(array->first(), point(10, 20, 30));
    EXPECT_EQ(array->last(), point(11, 21, 24));
    EXPECT_EQ(lattice({0, 3, 4})->last(), point(10, 21, 24)) << "nothing lies before the first";
    EXPECT_EQ(array->Size(), extents);
    EXPECT_EQ(array->nElements(), 24U);
    EXPECT_EQ(array->rank(), 3);
    EXPECT_EQ(array->memsize(), 3 * 2 * sizeof(double)) << "a start and a step per axis";
    EXPECT_EQ(array->getPtr(), nullptr);
    EXPECT_FALSE(array->getChunk());
    EXPECT_EQ(array->creativeIterator().data, nullptr);
    EXPECT_FALSE(array->copyFrom(Larder::Ref<Larder::Chunk<point>>(24U, false))) << "nothing to write to";
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
    const LatticePtr copy = array->copy({});
    EXPECT_EQ(copy->Size(), extents);
    array->Axes[0]->base_vector() = {0, 0};
    EXPECT_EQ((*copy)[Index(1, 2, 3)], point(24, 12, 0)) << "it has axes of its own";
    EXPECT_EQ(*static_cast<const point*>(copy->OriginPtr()), point(30, 5, 0));
}

TEST(UniformLattice, BecomesMemoryWholeOrInParts) {
    const auto array = lattice();
    const auto whole = elementsOf<point, 3>(array->makeMemArray({})).value();
    ASSERT_EQ(whole.size(), 24U);
    EXPECT_EQ(whole[2 + 3], point(11, 21, 30));
    EXPECT_EQ(whole[23], point(11, 21, 24));
    EXPECT_EQ((elementsOf<point, 3>(array->createSubMemArray({1, 0, 2}, {1, 2, 2}, {}))),
              (Points{{11, 20, 26}, {11, 20.5, 26}, {11, 20, 24}, {11, 20.5, 24}}));
    EXPECT_EQ((elementsOf<point, 3>(array->createSubMemArray({}, {2, 0, 4}, {}))), Points());
    const TypedPtr<point> slice = array->getSlice(3, {});
    EXPECT_EQ(slice->first(), point(10, 20, 24));
    EXPECT_EQ(slice->last(), point(11, 21, 24));
    const TypedPtr<double> heights = array->getComponentArray(2, {});
    EXPECT_EQ(heights->first(), 30);
    EXPECT_EQ(heights->last(), 24);
    EXPECT_FALSE(array->getComponentArray(3, {}));
}

TEST(UniformLattice, MakesArraysOfPoints) {
    const auto array = lattice();
    EXPECT_EQ((elementsOf<point, 3>(array->newMemArraynD({1, 1, 2}, {}))), Points(2));
    const Larder::Ref<Larder::Chunk<point>> fits(24U, false), tooShort(23U, false);
    const Quill::ArrayPtr around = array->createEquallySizedMemArray(fits, {});
    EXPECT_EQ(around->getPtr(), fits->data());
    EXPECT_EQ(around->getSize().toMultiIndex<3>(), extents);
    EXPECT_FALSE(array->createEquallySizedMemArray(tooShort, {}));
    EXPECT_FALSE(array->createEquallySizedMemArray({}, {}));
}

} // namespace
