// The same through the data model: a grid goes in and a grid comes out.
#include <iostream>

#include <tilewright/tilewright.h>

using Orrery::PhysicalSpace::point;
using Quill::MultiIndex;

// A roof of 40 x 40 points, half a metre apart: the ridge is at x = 10.
static Larder::Ref<Quill::MemArray<1, point>> makePoints() {
    Larder::Ref<Quill::MemArray<1, point>> points(MultiIndex<1>(1600));
    for (unsigned i = 0; i < 1600; ++i) {
        const double x = 0.5 * (i % 40);
        const double y = 0.5 * (i / 40);
        (*points)[i] = {x, y, x < 10 ? x : 20 - x};
    }
    return points;
}

int main() {
    // The cloud: a grid with the field "Positions", here in a single fragment.
    const Larder::Ref<Quill::Grid> cloud;
    const Larder::Ref<Quill::RegularlyFragmentedField<3>> positions(MultiIndex<3>(1, 1, 1),
                                                                    "RegularFragment");
    positions->setPersistentData(makePoints(), positions->getFragmentID({0, 0, 0}), Larder::Cache::MemCache(),
                                 "");
    cloud->makeCartesianRepresentation(3, "", 0)["Positions"] = positions;

    // The raster: cells of about one metre, a single layer in z, the mean height of each cell.
    const Larder::Ref<Quill::Grid> result;
    const std::string failure = Tilewright::raster(*cloud, *result, {"Positions:Mean:Zdir"}, {1.0, 1.0, 0.0},
                                                   {0, 0, 0}, {0.0, 0.0, 0.0}, false, false, "", 0, nullptr);
    if (!failure.empty()) {
        std::cerr << failure << "\n";
        return 1;
    }

    // The heights of fragment (0,0,0).
    const Quill::RegularFieldPtr heights = result->getCartesianRepresentation("")->findField("Height");
    const Larder::StrongPtr<Quill::MemArray<3, double>, Larder::Cacheable> values =
        Quill::getData((*heights)[{0, 0, 0}]);
    const MultiIndex<3> size = values->Size();
    std::cout << "\n" << size[0] << " x " << size[1] << " cells; heights across the roof:";
    for (unsigned i = 0; i < size[0]; ++i)
        std::cout << " " << (*values)[{i, 0, 0}];
    std::cout << "\n";

    const bool ridgeIsHighest = (*values)[{10, 0, 0}] > (*values)[{1, 0, 0}] + 8;
    return ridgeIsHighest ? 0 : 1;
}
