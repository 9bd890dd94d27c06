// A point cloud becomes a raster of mean heights.
#include <iostream>

#include <tilewright/tilewright.h>

int main() {
    // A roof of 40 x 40 points, half a metre apart: the ridge is at x = 10.
    std::vector<Orrery::PhysicalSpace::point> points;
    for (int i = 0; i < 1600; ++i) {
        const double x = 0.5 * (i % 40), y = 0.5 * (i / 40);
        points.push_back({x, y, x < 10 ? x : 20 - x});
    }

    const Tilewright::Cloud cloud(std::move(points));
    const Tilewright::Raster raster =
        Tilewright::rasterise(cloud, {.requests = {"Positions:Mean:Zdir"}, .cellSize = {1, 1, 0}});
    if (!raster.failure.empty()) {
        std::cerr << raster.failure << "\n";
        return 1;
    }

    const auto heights = raster.cells<double>("Height");
    const auto counts = raster.cells<unsigned short>("Density");
    std::cout << heights.extents[0] << " x " << heights.extents[1] << " cells; heights across the roof:";
    unsigned total = 0;
    for (unsigned i = 0; i < heights.extents[0]; ++i)
        std::cout << " " << heights(i, 0);
    for (const unsigned short count : counts.values)
        total += count;
    std::cout << "; " << total << " of " << cloud.size() << " points\n";
    return total == cloud.size() && heights(10, 0) > heights(1, 0) + 8 ? 0 : 1;
}
