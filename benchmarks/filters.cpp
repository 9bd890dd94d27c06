// Sorting points into cells, and each filter over the cells, in points a second. The argument is the number
// of points a cell. Everything is measured on the code that the library itself runs.
#include <algorithm>
#include <random>

#include <benchmark/benchmark.h>

#include <tilewright/raster/FragmentWalk.h>

namespace Tilewright {
namespace {

constexpr std::uint32_t pointCount = 1 << 20;

/// A square of random points with so many cells that each holds `pointsPerCell` on the average.
struct Scene {
    explicit Scene(std::int64_t pointsPerCell)
        : side(static_cast<unsigned long long>(
              std::sqrt(static_cast<double>(pointCount) / static_cast<double>(pointsPerCell)))),
          counts(side, side, 1), nodes(counts, point(0, 0, 0), Orrery::PhysicalSpace::vector(1, 1, 0)),
          points(MultiIndex<1>(pointCount)) {
        std::mt19937_64 random(1);
        std::uniform_real_distribution<double> place(-0.5, static_cast<double>(side) - 0.5);
        std::generate_n(points->data, pointCount,
                        [&] { return point(place(random), place(random), place(random)); });
    }

    Larder::Ref<CellArray> sorted() const {
        Larder::Ref<CellArray> cells(counts);
        sortIntoCells(*points, CellLocator(*nodes, counts), *cells, [](std::uint32_t) { return true; });
        return cells;
    }

    unsigned long long side;
    MultiIndex<3> counts;
    Larder::Ref<Quill::UniformCartesianArray> nodes;
    Larder::Ref<PointArray> points;
};

void countPoints(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * pointCount); }

void sorting(benchmark::State& state) {
    const Scene scene(state.range(0));
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(scene.sorted());
    countPoints(state);
}
BENCHMARK(sorting)->Arg(2)->Arg(8)->Arg(64)->Arg(1000)->Unit(benchmark::kMillisecond);

/// Reduces the heights of all cells.
template <template <class> class OperatorT> void reducing(benchmark::State& state) {
    using View = Filter1DOf<point, 2>;
    const Scene scene(state.range(0));
    const Larder::Ref<CellArray> sorted = scene.sorted();
    const CellArray& cells = *sorted;
    const auto values = static_cast<const Larder::Chunk<point>&>(*scene.points->getChunk()).base_vector();
    const OperatorT<View> reduction;
    const Operator<View>& virtually = reduction;
    for ([[maybe_unused]] auto _ : state)
        for (unsigned long long c = 0; c < cells.nElements(); ++c) {
            const std::vector<unsigned>& cellPoints = cells.data[c].PointIndices;
            const auto count = static_cast<unsigned>(cellPoints.size());
            if (count != 0)
                benchmark::DoNotOptimize(virtually.reduce(cellPoints, values, count, point()));
        }
    countPoints(state);
}

#define TILEWRIGHT_BENCHMARK_FILTER(OPERATOR)                                                                \
    BENCHMARK(reducing<OPERATOR>)                                                                            \
        ->Name(#OPERATOR)                                                                                    \
        ->Arg(2)                                                                                             \
        ->Arg(8)                                                                                             \
        ->Arg(64)                                                                                            \
        ->Arg(1000)                                                                                          \
        ->Unit(benchmark::kMillisecond);
TILEWRIGHT_BENCHMARK_FILTER(MeanOperator)
TILEWRIGHT_BENCHMARK_FILTER(MinOperator)
TILEWRIGHT_BENCHMARK_FILTER(MaxOperator)
TILEWRIGHT_BENCHMARK_FILTER(MedianOperator)
TILEWRIGHT_BENCHMARK_FILTER(MaxOccurrenceOperator)
TILEWRIGHT_BENCHMARK_FILTER(RegressionOperator)

} // namespace
} // namespace Tilewright
