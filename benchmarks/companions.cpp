// The vertex means of 10 million cells, a tenth of them empty, against plain loops over the same arrays.
// All are timed in turn, so that other work on the machine slows them alike; the counters tell how many times
// as long the means take, the new array included:
// - "x_plain": as the rule written down as it reads, into an array that is there. Held at 5.
// - "x_pass": as one pass that does no more than read each cell and its type, into a new array.
#include <chrono>
#include <random>

#include <benchmark/benchmark.h>

#include <tilewright/raster/VertexMeans.h>

namespace Tilewright {
namespace {

template <class Work> double secondsOf(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    benchmark::ClobberMemory();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// One fragment of cells.
template <class T> struct Scene {
    explicit Scene(const MultiIndex<3>& cellCounts)
        : size(cellCounts), types(size.product()), values(size.product()), means(size.product()) {
        std::mt19937 random(1);
        for (unsigned char& type : types)
            type = random() % 10 == 0 ? cellWithoutData : cellWithData;
        for (T& value : values)
            value = static_cast<T>(random() % 200);
        putOnCells("CellType", types);
        putOnCells("Value", values);
    }

    template <class U> void putOnCells(const char* name, const std::vector<U>& cells) {
        const Larder::Ref<Quill::MemArray<3, U>> array(size);
        std::ranges::copy(cells, array->data);
        const RegularFieldPtr field = Larder::Ref<Quill::RegularlyFragmentedField<3>>(fragmentCount, "");
        storeData(*field, array, field->getFragmentID({}));
        (*onCells)[name] = field;
    }

    void makeMeans() { makeVertexMeans(*onCells, *onVertices, fragmentCount, size); }

    void averagePlainly() {
        const auto lower = [](unsigned long long index) { return index == 0 ? 0 : index - 1; };
        for (unsigned long long k = 0; k < size[2]; ++k)
            for (unsigned long long j = 0; j < size[1]; ++j)
                for (unsigned long long i = 0; i < size[0]; ++i) {
                    T sum = 0;
                    unsigned count = 0;
                    for (unsigned long long cellK = lower(k); cellK <= k; ++cellK)
                        for (unsigned long long cellJ = lower(j); cellJ <= j; ++cellJ)
                            for (unsigned long long cellI = lower(i); cellI <= i; ++cellI) {
                                const auto cell = cellI + size[0] * (cellJ + size[1] * cellK);
                                if (types[cell] != cellWithoutData) {
                                    sum = static_cast<T>(sum + values[cell]);
                                    ++count;
                                }
                            }
                    means[i + size[0] * (j + size[1] * k)] =
                        static_cast<T>(count == 0 ? 0.0 : static_cast<double>(sum) / count);
                }
    }

    void passOnce() const {
        std::vector<T> passed(values.size());
        // With one end to look for, unlike the version for ranges, this becomes a loop over several cells at
        // a time.
        std::transform(values.begin(), values.end(), types.begin(), passed.begin(),
                       [](T value, unsigned char type) { return type != cellWithoutData ? value : T(); });
        benchmark::DoNotOptimize(passed.data());
    }

    MultiIndex<3> fragmentCount{1, 1, 1};
    MultiIndex<3> size;
    std::vector<unsigned char> types;
    std::vector<T> values;
    std::vector<T> means;
    Larder::Ref<Quill::Representation> onCells;
    Larder::Ref<Quill::Representation> onVertices;
};

/// The argument is the number of layers.
template <class T> void companions(benchmark::State& state) {
    const auto layers = static_cast<unsigned long long>(state.range(0));
    Scene<T> scene({2000, 5000 / layers, layers});
    double made = 0;
    double plain = 0;
    double passed = 0;
    for ([[maybe_unused]] auto _ : state) {
        const double seconds = secondsOf([&] { scene.makeMeans(); });
        state.SetIterationTime(seconds);
        made += seconds;
        plain += secondsOf([&] { scene.averagePlainly(); });
        passed += secondsOf([&] { scene.passOnce(); });
    }
    state.counters["x_plain"] = made / plain;
    state.counters["x_pass"] = made / passed;
}

#define TILEWRIGHT_BENCHMARK_COMPANIONS(T)                                                                   \
    BENCHMARK(companions<T>)                                                                                 \
        ->Name("companions<" #T ">")                                                                         \
        ->Arg(1)                                                                                             \
        ->Arg(50)                                                                                            \
        ->Iterations(10)                                                                                     \
        ->UseManualTime()                                                                                    \
        ->Unit(benchmark::kMillisecond);
TILEWRIGHT_BENCHMARK_COMPANIONS(double)
TILEWRIGHT_BENCHMARK_COMPANIONS(unsigned char)
TILEWRIGHT_BENCHMARK_COMPANIONS(unsigned short)

} // namespace
} // namespace Tilewright
