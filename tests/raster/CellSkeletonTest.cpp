// The second entry point: fields on the cells and their means on the vertices.
#include "tests/property/Rules.h"

#include <cstring>
#include <span>

#include <tilewright/raster/VertexMeans.h>

namespace {

using namespace TestSupport;
using Tilewright::prepareCellSkeleton;
using Tilewright::rasterWithCellSkeleton;

template <class T> using Cells = Larder::StrongPtr<Quill::MemArray<3, T>, Larder::Cacheable>;

template <class T>
Cells<T> arrayIn(const Quill::Representation& fields, const std::string& name, const Index& fragment) {
    const Quill::RegularFieldPtr field = fields.findField(name);
    return field ? field->getData(field->getFragmentID(fragment)) : Quill::ArrayPtr();
}

Quill::RepresentationPtr skeletonCells(Quill::Grid& grid) {
    return grid[Quill::SkeletonID(3, 1)](grid[Quill::SkeletonID(1, 0)]);
}

/// Of records all components are multiplied with the reciprocal of the count.
template <class T> T plainMean(const std::vector<T>& cells) {
    if constexpr (Orrery::Record<T>) {
        T mean;
        for (std::size_t c = 0; c < 3 && !cells.empty(); ++c) {
            std::vector<typename T::element_type> components;
            for (const T& cell : cells)
                components.push_back(cell[c]);
            mean[c] = Property::meanOf(components, true);
        }
        return mean;
    } else {
        return cells.empty() ? T() : Property::meanOf(cells, false);
    }
}

/// Compares the vertices of one fragment with the rule in its plainest form: eight candidates in storage
/// order, each tested by itself. Counts the vertices by the number of cells that take part.
template <class T>
void expectMeans(const Quill::Representation& onCells, const Quill::Representation& onVertices,
                 const std::string& name, const Index& fragment, std::array<unsigned, 9>& vertexCounts) {
    const Cells<T> cells = arrayIn<T>(onCells, name, fragment);
    const Cells<T> vertices = arrayIn<T>(onVertices, name, fragment);
    const Cells<unsigned char> types = arrayIn<unsigned char>(onCells, "CellType", fragment);
    ASSERT_TRUE(cells);
    ASSERT_TRUE(vertices);
    ASSERT_TRUE(types);
    const Index size = cells->Size();
    ASSERT_EQ(size, vertices->Size());
    Index at;
    do {
        std::vector<T> around;
        for (unsigned c = 0; c < 8; ++c) {
            const Index cell(at[0] - (c & 1 ? 0 : 1), at[1] - (c & 2 ? 0 : 1), at[2] - (c & 4 ? 0 : 1));
            if (cell[0] < size[0] && cell[1] < size[1] && cell[2] < size[2] && (*types)[cell] != 1)
                around.push_back((*cells)[cell]);
        }
        ++vertexCounts[around.size()];
        const T expected = plainMean(around);
        ASSERT_EQ(std::memcmp(&expected, &(*vertices)[at], sizeof expected), 0)
            << "vertex " << std::to_string(at) << " of " << around.size() << " cells";
    } while (at.inc(size));
}

TEST(CellSkeleton, FreshGridGetsVerticesAndFragmentsButNoFieldUntilTheCellsArePrepared) {
    CloudBuilder cloud;
    cloud.points({{0, 0, 2}, {3, 3, 6}});
    const Larder::Ref<Quill::Grid> out, nothing;
    EXPECT_EQ("", rasterWithCellSkeleton(cloud.grid(), *out));
    EXPECT_TRUE(out->CartesianPositions());
    EXPECT_TRUE(Quill::RegularlyFragmentedGrid<3>(Quill::GridPtr(&*out)).FragmentArray);
    ASSERT_TRUE(skeletonCells(*out));
    EXPECT_FALSE(skeletonCells(*out)->findField("CellType"));
    EXPECT_EQ("Have no getCartesianRepresentation for In-File", rasterWithCellSkeleton(*nothing, *out));
    EXPECT_EQ("in positions not regularly fragmented", prepareCellSkeleton(*nothing, *out));

    EXPECT_EQ("", prepareCellSkeleton(cloud.grid(), *out));
    EXPECT_EQ("", rasterWithCellSkeleton(cloud.grid(), *out));
    const Quill::RepresentationPtr onVertices = out->getCartesianRepresentation("");
    EXPECT_EQ(onVertices.rawptr(), &out->makeCartesianRepresentation(1, "", 0));
    std::array<unsigned, 9> vertexCounts{};
    expectMeans<double>(*skeletonCells(*out), *onVertices, "Height", {}, vertexCounts);
    EXPECT_FALSE(onVertices->findField("CellType"));
    const Cells<unsigned char> types = arrayIn<unsigned char>(*skeletonCells(*out), "CellType", {});
    ASSERT_TRUE(types);
    EXPECT_EQ(std::ranges::count(std::span(types->data, types->nElements()), 0), 2) << "cells of one point";
}

template <class T> T draw(Property::Draw& random) {
    if constexpr (Orrery::Record<T>) {
        using E = typename T::element_type;
        const E first = draw<E>(random), second = draw<E>(random);
        return T(first, second, draw<E>(random));
    } else {
        return Property::drawNumber<T>(random, false, false);
    }
}

/// Fields of two fragments with several layers of cells.
struct VertexMeans : testing::Test {
    const Index fragmentCount{1, 2, 1};
    const Index size{5, 4, 3};
    Larder::Ref<Quill::Representation> onCells, onVertices;

    /// A slice of a larger array.
    template <class T, class Draw> Cells<T> cells(const Draw& drawCell) const {
        const Larder::Ref<Quill::MemArray<4, T>> layers(Quill::MultiIndex<4>(size, 2));
        std::generate_n(layers->data, layers->nElements(), drawCell);
        return layers->getSlice(1, {});
    }
    void put(const std::string& name, const Quill::ArrayPtr& array, const Index& fragment) {
        if (!onCells->findField(name))
            (*onCells)[name] = Larder::Ref<RegularField>(fragmentCount, "RegularFragment");
        const Quill::RegularFieldPtr field = onCells->findField(name);
        field->setPersistentData(array, field->getFragmentID(fragment), Larder::Cache::MemCache(), "");
    }
    std::string make() {
        testing::internal::CaptureStderr();
        Tilewright::makeVertexMeans(*onCells, *onVertices, fragmentCount, size);
        return testing::internal::GetCapturedStderr();
    }
};

TEST_F(VertexMeans, LeaveOutCellsOfTypeOneOnlyAndAddInStorageOrderInEveryType) {
    Property::Draw random{std::mt19937_64(3)};
    std::array<unsigned, 9> vertexCounts{};
    for (const Index fragment : {Index(0, 0, 0), Index(0, 1, 0)}) {
        put("CellType", cells<unsigned char>([&] {
                return random.among<unsigned char>({0, 1, 1, 2, 255});
            }),
            fragment);
        Quill::probeTypes(Quill::FieldValueTypes(), [&]<class T>(std::type_identity<T>) {
            put(Larder::Typename(typeid(T)), cells<T>([&] { return draw<T>(random); }), fragment);
            return false;
        });
    }
    EXPECT_EQ(make(), "");
    for (const Index fragment : {Index(0, 0, 0), Index(0, 1, 0)})
        Quill::probeTypes(Quill::FieldValueTypes(), [&]<class T>(std::type_identity<T>) {
            SCOPED_TRACE(Larder::Typename(typeid(T)));
            expectMeans<T>(*onCells, *onVertices, Larder::Typename(typeid(T)), fragment, vertexCounts);
            return false;
        });
    EXPECT_NE(vertexCounts[0], 0U);
    EXPECT_NE(vertexCounts[7], 0U);
}

TEST_F(VertexMeans, AreMadeOfWhateverCellsThereAre) {
    const auto all = [](const Index& extents, int value) {
        const Larder::Ref<Quill::MemArray<3, int>> array(extents);
        std::fill_n(array->data, array->nElements(), value);
        return array;
    };
    put("CellType", cells<unsigned char>([] { return 0; }), {});
    put("Made", all(size, 0), {});
    const Quill::RegularFieldPtr made = onCells->findField("Made");
    (*made)[{}] = Larder::Ref<OnDemand>([&] { return all(size, 6); });
    put("Larger", all({size[0] + 2, size[1] + 1, size[2] + 1}, 9), {});
    put("Smaller", all({1, size[1], size[2]}, 5), {});
    (*onVertices)["Made"] = Larder::Ref<RegularField>(Index(7, 7, 7), "Other");
    EXPECT_EQ(make(), "");
    for (const auto& [name, value] : {std::pair("Made", 6), {"Larger", 9}}) {
        const Cells<int> vertices = arrayIn<int>(*onVertices, name, {});
        ASSERT_TRUE(vertices) << name;
        EXPECT_EQ(vertices->Size(), size);
        EXPECT_EQ(std::ranges::count(std::span(vertices->data, size.product()), value), 60) << name;
    }
    const Cells<int> fromFew = arrayIn<int>(*onVertices, "Smaller", {});
    ASSERT_TRUE(fromFew);
    EXPECT_EQ((*fromFew)[Index(1, 1, 1)], 5) << "cells that are not there count as empty";
    EXPECT_EQ((*fromFew)[Index(2, 1, 1)], 0);
    const Quill::RegularFieldPtr kept = onVertices->findField("Made");
    EXPECT_EQ(kept->FragmentCount, Index(7, 7, 7)) << "a field that is there stays, whatever its lattice";
}

TEST_F(VertexMeans, GoOnWithoutDataAndEndAtAFieldThatIsNotRegularlyFragmented) {
    put("CellType", cells<unsigned char>([] { return 0; }), {0, 1, 0});
    put("Positions", cells<point>([] { return point(); }), {0, 1, 0});
    put("Missing", cells<float>([] { return 1; }), {0, 0, 0});
    put("Triple", cells<Quill::Triple>([] { return Quill::Triple(); }), {0, 1, 0});
    put("Shorts", cells<unsigned short>([] { return 40000; }), {0, 1, 0});
    (*onCells)["Plain"] = plainField();
    put("After", cells<float>([] { return 1; }), {0, 1, 0});
    EXPECT_EQ(make(), "CellCAB is nullbroken regular field missing cellset");

    for (const char* const name : {"Missing", "Positions", "After"})
        EXPECT_FALSE(onVertices->findField(name)) << name;
    EXPECT_TRUE(onVertices->findField("Triple"));
    EXPECT_FALSE(arrayIn<Quill::Triple>(*onVertices, "Triple", {0, 1, 0}));
    EXPECT_FALSE(arrayIn<unsigned short>(*onVertices, "Shorts", {0, 0, 0}));
    const Cells<unsigned short> shorts = arrayIn<unsigned short>(*onVertices, "Shorts", {0, 1, 0});
    ASSERT_TRUE(shorts);
    EXPECT_EQ((*shorts)[Index(1, 1, 1)], 7232) << "eight times 40000 is 57856 in 16 bits";
}

} // namespace
