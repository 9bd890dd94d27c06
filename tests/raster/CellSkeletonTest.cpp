// The second entry point: fields on the cells and their means on the vertices.
#include "tests/support/CloudBuilder.h"

#include <cstdint>
#include <cstring>
#include <random>
#include <span>

#include <tilewright/raster/VertexMeans.h>

namespace {

using namespace TestSupport;
using Orrery::Color16;
using Orrery::Color8;
using Tilewright::prepareCellSkeleton;
using Tilewright::rasterWithCellSkeleton;

template <class T> using Cells = Larder::StrongPtr<Quill::MemArray<3, T>, Larder::Cacheable>;

template <class T>
Cells<T> arrayIn(const Quill::Representation& fields, const std::string& name, const Index& fragment) {
    const Quill::RegularFieldPtr field = fields.findField(name);
    return field ? field->getData(field->getFragmentID(fragment)) : Quill::ArrayPtr();
}

/// In what each kind of number is summed up.
template <class E> struct SumOf;
template <> struct SumOf<float> { using type = float; };
template <> struct SumOf<double> { using type = double; };
template <> struct SumOf<unsigned char> { using type = std::uint8_t; };
template <> struct SumOf<unsigned short> { using type = std::uint16_t; };
template <> struct SumOf<unsigned int> { using type = std::uint32_t; };
template <> struct SumOf<unsigned long long> { using type = std::uint64_t; };
template <> struct SumOf<int> { using type = std::uint32_t; };

template <class E> E plainMean(const std::vector<E>& cells, bool isRecord) {
    using Sum = typename SumOf<E>::type;
    Sum sum = 0;
    for (const E cell : cells)
        sum = static_cast<Sum>(sum + static_cast<Sum>(cell));
    if (cells.empty())
        return 0;
    const auto count = static_cast<double>(cells.size());
    if (std::is_same_v<E, float>)
        return static_cast<E>(static_cast<float>(sum) / static_cast<float>(cells.size()));
    const auto wrapped = static_cast<double>(static_cast<E>(sum));
    return static_cast<E>(isRecord ? wrapped * (1.0 / count) : wrapped / count);
}

template <class T> T plainMean(const std::vector<T>& cells) {
    if constexpr (Orrery::Record<T>) {
        T mean;
        for (std::size_t c = 0; c < 3; ++c) {
            std::vector<typename T::element_type> components;
            for (const T& cell : cells)
                components.push_back(cell[c]);
            mean[c] = plainMean(components, true);
        }
        return mean;
    } else {
        return plainMean(cells, false);
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
    ASSERT_TRUE(cells && vertices && types);
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

/// Integers over the whole width, so that most sums wrap; floating numbers whose sums depend on their order.
template <class T> T draw(std::mt19937_64& random) {
    if constexpr (Orrery::Record<T>) {
        T record;
        for (std::size_t c = 0; c < 3; ++c)
            record[c] = draw<typename T::element_type>(random);
        return record;
    } else if constexpr (std::is_integral_v<T>) {
        return static_cast<T>(random() >> 1);
    } else {
        return static_cast<T>(static_cast<double>(random() >> 11) * (random() % 2 == 0 ? -1e-3 : 1e-12));
    }
}

template <class Visit> void forEachType(const Visit& visit) {
    Quill::probeTypes(Quill::FieldValueTypes(), [&]<class T>(std::type_identity<T> type) {
        SCOPED_TRACE(Larder::Typename(typeid(T)));
        visit(type);
        return false;
    });
}

TEST(CellSkeleton, VerticesHaveTheMeansOfTheCellsAroundThemInEveryType) {
    std::mt19937_64 random(7);
    const auto below = [&](unsigned limit) { return static_cast<double>(random() % limit); };
    CloudBuilder cloud({2, 2, 1});
    Index fragment;
    do {
        std::vector<point> points(150);
        for (point& p : points)
            p = {5.0 * static_cast<double>(fragment[0]) + below(500) * 0.01,
                 5.0 * static_cast<double>(fragment[1]) + below(500) * 0.01, below(100) * 0.37};
        cloud.points(points, fragment);
        forEachType([&]<class T>(std::type_identity<T>) {
            std::vector<T> values(points.size());
            std::ranges::generate(values, [&] { return draw<T>(random); });
            cloud.values(Larder::Typename(typeid(T)), values, fragment);
        });
    } while (fragment.inc({2, 2, 1}));

    const Larder::Ref<Quill::Grid> out;
    ASSERT_EQ("", prepareCellSkeleton(cloud.grid(), *out));
    ASSERT_EQ("", rasterWithCellSkeleton(cloud.grid(), *out));
    const Quill::RepresentationPtr onVertices = out->getCartesianRepresentation("");
    const Quill::RepresentationPtr onCells = (*out)[Quill::SkeletonID(3, 1)]((*out)[Quill::SkeletonID(1, 0)]);
    std::array<unsigned, 9> vertexCounts{};
    do {
        forEachType([&]<class T>(std::type_identity<T>) {
            expectMeans<T>(*onCells, *onVertices, Larder::Typename(typeid(T)), fragment, vertexCounts);
        });
        expectMeans<double>(*onCells, *onVertices, "Height", fragment, vertexCounts);
        expectMeans<unsigned short>(*onCells, *onVertices, "Density", fragment, vertexCounts);
    } while (fragment.inc({2, 2, 1}));
    for (unsigned cells = 0; cells <= 4; ++cells)
        EXPECT_NE(vertexCounts[cells], 0U) << cells;
    EXPECT_FALSE(onVertices->findField("CellType"));
}

TEST(CellSkeleton, FindsDataInACellOfOnePointAndStandsWhereOthersLookForIt) {
    CloudBuilder cloud;
    cloud.points({{0, 0, 2}, {3, 3, 6}});
    const Larder::Ref<Quill::Grid> out;
    ASSERT_EQ("", prepareCellSkeleton(cloud.grid(), *out));
    ASSERT_EQ("", rasterWithCellSkeleton(cloud.grid(), *out));
    const Quill::RepresentationPtr onVertices = out->getCartesianRepresentation("");
    EXPECT_EQ(onVertices.rawptr(), &out->makeCartesianRepresentation(1, "", 0));
    const Quill::RepresentationPtr onCells = (*out)[Quill::SkeletonID(3, 1)]((*out)[Quill::SkeletonID(1, 0)]);
    const Cells<unsigned char> types = arrayIn<unsigned char>(*onCells, "CellType", {});
    ASSERT_TRUE(types);
    EXPECT_EQ(std::ranges::count(std::span(types->data, types->nElements()), 0), 2);
}

TEST(CellSkeleton, FreshGridGetsVerticesAndFragmentsButNoField) {
    CloudBuilder cloud;
    cloud.points({{0, 0, 0}, {3, 3, 1}});
    const Larder::Ref<Quill::Grid> out;
    EXPECT_EQ("", rasterWithCellSkeleton(cloud.grid(), *out));
    EXPECT_TRUE(out->CartesianPositions());
    EXPECT_TRUE(Quill::RegularlyFragmentedGrid<3>(Quill::GridPtr(&*out)).FragmentArray);
    const Quill::RepresentationPtr onCells = (*out)[Quill::SkeletonID(3, 1)]((*out)[Quill::SkeletonID(1, 0)]);
    ASSERT_TRUE(onCells);
    EXPECT_FALSE(onCells->findField("CellType"));

    const Larder::Ref<Quill::Grid> nothing;
    EXPECT_EQ("Have no getCartesianRepresentation for In-File", rasterWithCellSkeleton(*nothing, *out));
    EXPECT_EQ("in positions not regularly fragmented", prepareCellSkeleton(*nothing, *out));
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

TEST_F(VertexMeans, LeaveOutCellsOfTypeOneOnlyAndAddInStorageOrder) {
    std::mt19937_64 random(3);
    const unsigned char types[] = {0, 1, 1, 2, 255};
    std::array<unsigned, 9> vertexCounts{};
    for (const Index fragment : {Index(0, 0, 0), Index(0, 1, 0)}) {
        put("CellType", cells<unsigned char>([&] { return types[random() % 5]; }), fragment);
        forEachType([&]<class T>(std::type_identity<T>) {
            put(Larder::Typename(typeid(T)), cells<T>([&] { return draw<T>(random); }), fragment);
        });
    }
    EXPECT_EQ(make(), "");
    for (const Index fragment : {Index(0, 0, 0), Index(0, 1, 0)})
        forEachType([&]<class T>(std::type_identity<T>) {
            expectMeans<T>(*onCells, *onVertices, Larder::Typename(typeid(T)), fragment, vertexCounts);
        });
    EXPECT_NE(vertexCounts[0], 0U);
    EXPECT_NE(vertexCounts[7], 0U);
}

TEST_F(VertexMeans, AreMadeOfWhateverCellsThereAre) {
    const auto onCell = [&](const std::string& name, const Quill::CreatorPtr& creator) {
        const Quill::RegularFieldPtr field = onCells->findField(name);
        (*field)[{}] = creator;
    };
    put("CellType", cells<unsigned char>([] { return 0; }), {});
    put("Made", cells<float>([] { return 0; }), {});
    onCell("CellType", Larder::Ref<OnDemand>([&] { return cells<unsigned char>([] { return 0; }); }));
    onCell("Made", Larder::Ref<OnDemand>([&] { return cells<float>([] { return 6; }); }));
    const Larder::Ref<Quill::MemArray<3, int>> larger(Index(size[0] + 2, size[1] + 1, size[2] + 1)),
        smaller(Index(1, size[1], size[2]));
    std::fill_n(larger->data, larger->nElements(), 9);
    std::fill_n(smaller->data, smaller->nElements(), 5);
    put("Larger", larger, {});
    put("Smaller", smaller, {});
    (*onVertices)["Made"] = Larder::Ref<RegularField>(Index(7, 7, 7), "Other");
    EXPECT_EQ(make(), "");
    const auto expectAll = [&]<class T>(const std::string& name, T value) {
        const Cells<T> vertices = arrayIn<T>(*onVertices, name, {});
        ASSERT_TRUE(vertices) << name;
        EXPECT_EQ(vertices->Size(), size);
        EXPECT_EQ(std::count(vertices->data, vertices->data + size.product(), value),
                  static_cast<std::ptrdiff_t>(size.product()))
            << name;
    };
    expectAll("Made", 6.F);
    expectAll("Larger", 9);
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
    (*onCells)["Plain"] = Larder::Ref<Quill::Field>(Quill::FragmentIDCollectionPtr());
    put("Behind", cells<float>([] { return 1; }), {0, 1, 0});
    EXPECT_EQ(make(), "CellCAB is nullbroken regular field missing cellset");

    EXPECT_FALSE(onVertices->findField("Missing") || onVertices->findField("Behind"));
    EXPECT_FALSE(onVertices->findField("Positions")) << "vertices have places of their own";
    EXPECT_TRUE(onVertices->findField("Triple"));
    EXPECT_FALSE(arrayIn<Quill::Triple>(*onVertices, "Triple", {0, 1, 0}));
    EXPECT_FALSE(arrayIn<unsigned short>(*onVertices, "Shorts", {0, 0, 0}));
    const Cells<unsigned short> shorts = arrayIn<unsigned short>(*onVertices, "Shorts", {0, 1, 0});
    ASSERT_TRUE(shorts);
    EXPECT_EQ((*shorts)[Index(1, 1, 1)], 7232) << "eight times 40000 is 57856 in 16 bits";
}

} // namespace
