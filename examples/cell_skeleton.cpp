// An empty grid becomes a filled one in two calls: fields on the cells, and their means on the vertices.
#include <cmath>
#include <iostream>

#include <tilewright/tilewright.h>

using Orrery::PhysicalSpace::point;
using Quill::MultiIndex;

template <int N, class T> using ArrayOf = Larder::StrongPtr<Quill::MemArray<N, T>, Larder::Cacheable>;

// A slope of 40 x 40 points, a quarter of a metre apart: one metre up for two to the east.
static Larder::Ref<Quill::Grid> makeCloud() {
    Larder::Ref<Quill::MemArray<1, point>> points(MultiIndex<1>(1600));
    for (unsigned i = 0; i < 1600; ++i)
        (*points)[i] = {0.25 * (i % 40), 0.25 * (i / 40), 0.125 * (i % 40)};
    Larder::Ref<Quill::RegularlyFragmentedField<3>> positions(MultiIndex<3>(1, 1, 1), "RegularFragment");
    positions->setPersistentData(points, positions->getFragmentID({0, 0, 0}), Larder::Cache::MemCache(), "");
    Larder::Ref<Quill::Grid> cloud;
    cloud->makeCartesianRepresentation(3, "", 0)["Positions"] = positions;
    return cloud;
}

// The heights of fragment (0,0,0) in a representation.
static ArrayOf<3, double> heightsOf(const Quill::Representation& fields) {
    const Quill::RegularFieldPtr heights = fields.findField("Height");
    return Quill::getData((*heights)[{0, 0, 0}]);
}

int main() {
    const Larder::Ref<Quill::Grid> cloud = makeCloud();
    const Larder::Ref<Quill::Grid> result;
    for (const auto step : {Tilewright::prepareCellSkeleton, Tilewright::rasterWithCellSkeleton})
        if (const std::string failure = step(*cloud, *result); !failure.empty()) {
            std::cerr << failure << "\n";
            return 1;
        }

    // The cells are a skeleton of their own, described over the vertices.
    const Quill::Skeleton& vertices = (*result)[Quill::SkeletonID(1, 0)];
    const Quill::RepresentationPtr onCells = (*result)[Quill::SkeletonID(3, 1)](vertices);
    const ArrayOf<3, double> cells = heightsOf(*onCells);
    const ArrayOf<3, double> means = heightsOf(*result->getCartesianRepresentation(""));

    // Inside the slope a vertex lies half way between the cells west and east of it.
    const MultiIndex<3> here(10, 10, 0);
    const double expected = ((*cells)[{9, 10, 0}] + (*cells)[here]) / 2;
    std::cout << "\nheight of the cell " << (*cells)[here] << ", of its vertex " << (*means)[here] << "\n";
    return std::fabs((*means)[here] - expected) < 1e-12 ? 0 : 1;
}
