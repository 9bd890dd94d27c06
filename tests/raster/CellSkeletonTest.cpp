// The second entry point: fields on the cells and their means on the vertices.
#include "tests/support/CloudBuilder.h"

#include <cstdint>
#include <random>

#include <tilewright/tilewright.h>

namespace {

using namespace TestSupport;
using Quill::MultiIndex;
using Tilewright::prepareCellSkeleton;
using Tilewright::rasterWithCellSkeleton;

template <class T> using Cells = Larder::StrongPtr<Quill::MemArray<3, T>, Larder::Cacheable>;

template <class T>
Cells<T> arrayIn(const Quill::Representation& fields, const char* name, const MultiIndex<3>& fragment) {
    const Quill::RegularFieldPtr field = fields.findField(name);
    return field ? Quill::getData((*field)[fragment]) : Quill::ArrayPtr();
}

/// The rule in its plainest form: eight candidates, each tested by itself, the sum kept in `Sum`.
template <class T, class Sum, class Divide>
void expectMeans(const Quill::Representation& onCells, const Quill::Representation& onVertices,
                 const char* name, const MultiIndex<3>& fragment, const Divide& divide) {
    const Cells<T> cells = arrayIn<T>(onCells, name, fragment);
    const Cells<T> vertices = arrayIn<T>(onVertices, name, fragment);
    const Cells<unsigned char> types = arrayIn<unsigned char>(onCells, "CellType", fragment);
    ASSERT_TRUE(cells && vertices && types) << name;
    const MultiIndex<3> size = cells->Size();
    ASSERT_EQ(size, vertices->Size());
    std::uint64_t averaged = 0;
    for (std::uint64_t k = 0; k < size[2]; ++k)
        for (std::uint64_t j = 0; j < size[1]; ++j)
            for (std::uint64_t i = 0; i < size[0]; ++i) {
                Sum sum = 0;
                unsigned count = 0;
                for (unsigned c = 0; c < 8; ++c) {
                    const MultiIndex<3> at(i - (c & 1 ? 0 : 1), j - (c & 2 ? 0 : 1), k - (c & 4 ? 0 : 1));
                    if (at[0] >= size[0] || at[1] >= size[1] || at[2] >= size[2] || (*types)[at] == 1)
                        continue;
                    sum = static_cast<Sum>(sum + (*cells)[at]);
                    ++count;
                }
                const T expected = count == 0 ? T(0) : static_cast<T>(divide(sum, count));
                ASSERT_EQ(expected, ((*vertices)[{i, j, k}])) << name << " " << i << " " << j;
                averaged += count != 0;
            }
    EXPECT_NE(0U, averaged);
}

TEST(CellSkeleton, VerticesHaveTheMeansOfTheCellsAroundThem) {
    std::mt19937 random(7);
    const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    CloudBuilder cloud({2, 1, 1});
    for (const unsigned fragment : {0U, 1U}) {
        std::vector<Orrery::PhysicalSpace::point> points;
        std::vector<float> floats;
        std::vector<unsigned char> bytes;
        for (int i = 0; i < 150; ++i) {
            points.push_back({5.0 * fragment + below(500) * 0.01, below(500) * 0.01, below(100) * 0.37});
            floats.push_back(static_cast<float>(below(1000)) * 0.3F);
            bytes.push_back(static_cast<unsigned char>(100 + below(150)));
        }
        cloud.points(points, {fragment, 0, 0}).values("Float", floats, {fragment, 0, 0});
        cloud.values("Byte", bytes, {fragment, 0, 0});
    }
    const Larder::Ref<Quill::Grid> out;
    ASSERT_EQ("", prepareCellSkeleton(cloud.grid(), *out));
    ASSERT_EQ("", rasterWithCellSkeleton(cloud.grid(), *out));
    const Quill::RepresentationPtr onVertices = out->getCartesianRepresentation("");
    const Quill::RepresentationPtr onCells = (*out)[Quill::SkeletonID(3, 1)]((*out)[Quill::SkeletonID(1, 0)]);
    const auto inDouble = [](auto sum, unsigned count) { return static_cast<double>(sum) / count; };
    for (const unsigned f : {0U, 1U}) {
        const MultiIndex<3> fragment(f, 0, 0);
        expectMeans<double, double>(*onCells, *onVertices, "Height", fragment, inDouble);
        expectMeans<float, float>(*onCells, *onVertices, "Float", fragment,
                                  [](float sum, unsigned count) { return sum / static_cast<float>(count); });
        expectMeans<unsigned char, unsigned char>(*onCells, *onVertices, "Byte", fragment, inDouble);
        expectMeans<unsigned short, unsigned short>(*onCells, *onVertices, "Density", fragment, inDouble);
    }
    EXPECT_FALSE(onVertices->findField("CellType"));
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

} // namespace
