// The whole call of raster on one fragment in memory, its two halves by themselves, and the least that a
// raster of means can cost: one loop over the same points. The argument is the number of points a cell, and
// `perPoint` the time for one. Everything is measured on the code that the library itself runs.
#include <algorithm>
#include <iostream>
#include <random>

#include <benchmark/benchmark.h>

#include <tilewright/filters/ExtremumOperators.h>
#include <tilewright/filters/MaxOccurrenceOperator.h>
#include <tilewright/filters/MeanOperator.h>
#include <tilewright/filters/MedianOperator.h>
#include <tilewright/filters/RegressionOperator.h>
#include <tilewright/model/BoundingBox.h>
#include <tilewright/raster/FragmentWalk.h>

namespace Tilewright {
namespace {

using Orrery::PhysicalSpace::vector;

constexpr std::uint32_t pointCount = 1 << 19;

/// A square of random points, in no order, with so many cells that each holds `pointsPerCell` on the average.
struct Scene {
    explicit Scene(std::int64_t pointsPerCell, std::uint32_t total = pointCount)
        : side(static_cast<unsigned long long>(
              std::sqrt(static_cast<double>(pointCount) / static_cast<double>(pointsPerCell)))),
          counts(side, side, 1), nodes(counts, point(0, 0, 0), vector(1, 1, 0)),
          points(MultiIndex<1>(total)) {
        std::mt19937_64 random(1);
        std::uniform_real_distribution<double> place(-0.5, static_cast<double>(side) - 0.5);
        std::generate_n(points->data, total,
                        [&] { return point(place(random), place(random), place(random)); });
    }

    CellLists sorted() const {
        return sortIntoCells(*points, CellLocator(*nodes, counts), counts,
                             [](std::uint32_t) { return true; });
    }

    /// The cloud with cells of size 1.
    Larder::Ref<Quill::Grid> grid() const {
        const Larder::Ref<Quill::Grid> grid;
        const Larder::Ref<Quill::RegularlyFragmentedField<3>> positions(MultiIndex<3>(1, 1, 1), "Fragment");
        const auto end = static_cast<double>(side);
        positions->addInterface(Larder::Ref<Orrery::BoundingBox>(point(0, 0, 0), point(end, end, end)));
        storeData(*positions, points, positions->getFragmentID({}));
        grid->makeCartesianRepresentation(3, "", 0)["Positions"] = positions;
        return grid;
    }

    unsigned long long side;
    MultiIndex<3> counts;
    Larder::Ref<Quill::UniformCartesianArray> nodes;
    Larder::Ref<PointArray> points;
};

void countPoints(benchmark::State& state) {
    using benchmark::Counter;
    state.counters["perPoint"] = Counter(pointCount, Counter::kIsIterationInvariantRate | Counter::kInvert);
}

/// One sum and one count a cell.
void plainLoop(benchmark::State& state) {
    const Scene scene(state.range(0));
    const point* const points = scene.points->data;
    struct Sum {
        double sum;
        unsigned long long count;
    };
    for ([[maybe_unused]] auto _ : state) {
        std::vector<Sum> sums(scene.counts.product());
        for (std::uint32_t i = 0; i < pointCount; ++i) {
            const point& p = points[i];
            Sum& cell = sums[static_cast<std::size_t>(p[1] + 0.5) * scene.side +
                             static_cast<std::size_t>(p[0] + 0.5)];
            cell.sum += p[2];
            ++cell.count;
        }
        for (Sum& cell : sums)
            cell.sum /= static_cast<double>(cell.count);
        benchmark::DoNotOptimize(sums.data());
    }
    countPoints(state);
}

/// Keeps what is written to the standard output away from the table of times.
struct Silence {
    std::streambuf* const Output = std::cout.rdbuf(nullptr);
    ~Silence() { std::cout.rdbuf(Output); }
};

void call(const Quill::Grid& grid, const std::string& request) {
    const Larder::Ref<Quill::Grid> result;
    const std::string failure =
        raster(grid, *result, {request}, {1, 1, 0}, {}, {}, false, false, "", 0, nullptr);
    if (!failure.empty())
        throw std::runtime_error(failure);
}

/// The whole call.
void calling(benchmark::State& state, const char* request) {
    const Larder::Ref<Quill::Grid> grid = Scene(state.range(0)).grid();
    const Silence silence;
    for ([[maybe_unused]] auto _ : state)
        call(*grid, request);
    countPoints(state);
}

/// The call on 256 x 256 cells with hardly a point: what a fragment costs in any case.
void callingOnFewPoints(benchmark::State& state) {
    const Larder::Ref<Quill::Grid> grid = Scene(8, 100).grid();
    const Silence silence;
    for ([[maybe_unused]] auto _ : state)
        call(*grid, "Positions:Mean:Zdir");
}
BENCHMARK(callingOnFewPoints)->Unit(benchmark::kMicrosecond);

void sorting(benchmark::State& state) {
    const Scene scene(state.range(0));
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(scene.sorted());
    countPoints(state);
}

/// Reduces the heights of all cells.
template <template <class> class OperatorT> void reducing(benchmark::State& state) {
    using View = Filter1DOf<point, 2>;
    const Scene scene(state.range(0));
    const auto& values = static_cast<const Larder::Chunk<point>&>(*scene.points->getChunk()).base_vector();
    const CellLists cells = scene.sorted();
    std::vector<double> results(scene.counts.product());
    for ([[maybe_unused]] auto _ : state) {
        std::ranges::fill(results, 0.0);
        OperatorT<View>::reduceCells(cells, values.data(), scene.nodes.rawptr(), results.data());
        benchmark::DoNotOptimize(results.data());
    }
    countPoints(state);
}

void densities(benchmark::internal::Benchmark* measured) {
    measured->Arg(2)->Arg(8)->Arg(64)->Arg(1000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(plainLoop)->Apply(densities);
BENCHMARK_CAPTURE(calling, Mean, "Positions:Mean:Zdir")->Apply(densities);
BENCHMARK_CAPTURE(calling, Median, "Positions:Median:Zdir")->Apply(densities);
BENCHMARK_CAPTURE(calling, MaxOccurrence, "Positions:MaxOccurrence:Zdir")->Apply(densities);
BENCHMARK_CAPTURE(calling, Regression, "Positions:Regression:All")->Apply(densities);
BENCHMARK(sorting)->Apply(densities);
BENCHMARK(reducing<MeanOperator>)->Name("MeanOperator")->Apply(densities);
BENCHMARK(reducing<MinOperator>)->Name("MinOperator")->Apply(densities);
BENCHMARK(reducing<MaxOperator>)->Name("MaxOperator")->Apply(densities);
BENCHMARK(reducing<MedianOperator>)->Name("MedianOperator")->Apply(densities);
BENCHMARK(reducing<MaxOccurrenceOperator>)->Name("MaxOccurrenceOperator")->Apply(densities);
BENCHMARK(reducing<RegressionOperator>)->Name("RegressionOperator")->Apply(densities);

} // namespace
} // namespace Tilewright
