#include <python/Blocks.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/stl.h>

#include <io/runs/BlockwiseRaster.h>
#include <python/Arrays.h>
#include <python/Requests.h>
#include <python/Results.h>
#include <python/Watch.h>

namespace py = pybind11;
using namespace pybind11::literals;

namespace Tilewright::Python {

namespace {

/// Columns and rows of pixels: the first, and how many.
using Window = std::array<std::uint64_t, 4>;

Io::PixelWindow windowOf(const Window& window) { return {window[0], window[1], window[2], window[3]}; }

/// Throws ValueError for an array of another size.
template <class T> void copyPixels(const py::handle& array, std::vector<T>& pixels) {
    const auto from = py::array_t<T, py::array::c_style | py::array::forcecast>::ensure(array);
    if (!from || static_cast<std::size_t>(from.size()) != pixels.size())
        throw py::value_error("the pixels are not those of the window");
    std::copy_n(from.data(), pixels.size(), pixels.begin());
}

/// Of rows of `columns` pixels those that `wanted` has.
template <class T>
void crop(std::vector<T>& pixels, const Io::PixelWindow& window, const Io::PixelWindow& wanted) {
    std::vector<T> cropped;
    cropped.reserve(wanted.pixels());
    for (std::uint64_t row = 0; row < wanted.rows; ++row) {
        const std::uint64_t first =
            (wanted.row - window.row + row) * window.columns + wanted.column - window.column;
        const auto begin = pixels.begin() + static_cast<std::ptrdiff_t>(first);
        cropped.insert(cropped.end(), begin, begin + static_cast<std::ptrdiff_t>(wanted.columns));
    }
    pixels = std::move(cropped);
}

class Blocks {
public:
    Blocks(const std::optional<std::vector<PointArrays>>& arrays, const py::dict& keywords,
           const py::object& progress) {
        const Io::RasterRequest request = requestOf(keywords);
        doWatched(progress, [&](const Io::RunProgress& report) {
            Raster = std::make_unique<Io::BlockwiseRaster>(
                arrays ? openArrays(*arrays, !request.coordinateSystem.empty()) : nullptr, request, report);
        });
    }

    Blocks(const std::optional<std::vector<PointArrays>>& arrays, const py::bytes& state) {
        const std::string text = state;
        doWatched(py::none(), [&](const Io::RunProgress& report) {
            // Coordinate systems were decided on before.
            Raster = std::make_unique<Io::BlockwiseRaster>(arrays ? openArrays(*arrays, true) : nullptr, text,
                                                           report);
        });
    }

    py::bytes state() const { return Raster->state(); }
    std::uint64_t reachOfFilling() const { return Raster->reachOfFilling(); }

    std::pair<std::uint64_t, std::uint64_t> shape() const {
        return {Raster->blocksDown(), Raster->blocksAcross()};
    }
    std::vector<std::string> paths() const {
        std::vector<std::string> all;
        for (const Io::FileState& file : Raster->cloud().files())
            all.push_back(file.path.string());
        return all;
    }
    bool readsAllPoints() const { return Raster->readsAllPoints(); }

    py::dict describe(const py::object& progress) const {
        Io::MemoryRaster raster;
        doWatched(progress, [&](const Io::RunProgress& report) { raster = Raster->describe(report); });
        return rasterOf(std::move(raster));
    }

    /// Of all outputs.
    py::list make(const std::array<std::uint64_t, 2>& rows,
                  const std::array<std::uint64_t, 2>& columns) const {
        std::vector<Io::MemoryOutput> outputs;
        doWatched(py::none(), [&](const Io::RunProgress& report) {
            outputs = Raster->make({columns[0], rows[0], columns[1], rows[1]}, report);
        });
        constexpr std::uint64_t side = Io::BlockLattice::blockSide;
        const std::uint64_t east = std::min(columns[1] * side, outputs.front().description.geometry.width);
        return listOf(outputs, east - columns[0] * side);
    }

    /// Of all outputs, the wanted pixels alone.
    py::list fill(const std::vector<py::list>& pixels, const Window& window, const Window& wanted) const {
        const Io::PixelWindow place = windowOf(window);
        const Io::PixelWindow inner = windowOf(wanted);
        std::vector<Io::MemoryOutput> outputs = Raster->room(place);
        for (std::size_t o = 0; o < outputs.size(); ++o)
            for (std::size_t b = 0; b < outputs[o].bands.size(); ++b)
                std::visit([&](auto& band) { copyPixels(pixels.at(o)[b], band); }, outputs[o].bands[b]);
        doWatched(py::none(), [&](const Io::RunProgress&) {
            Raster->fill(outputs, place, inner);
            for (Io::MemoryOutput& output : outputs)
                for (Io::PixelArray& band : output.bands)
                    std::visit([&](auto& values) { crop(values, place, inner); }, band);
        });
        return listOf(outputs, inner.columns);
    }

private:
    static py::list listOf(std::vector<Io::MemoryOutput>& outputs, std::uint64_t columns) {
        py::list all;
        for (Io::MemoryOutput& output : outputs)
            all.append(arraysOf(std::move(output), columns));
        return all;
    }

    std::unique_ptr<Io::BlockwiseRaster> Raster;
};

} // namespace

void addBlocks(py::module_& module) {
    py::class_<Blocks>(module, "Blocks")
        .def(py::init<const std::optional<std::vector<PointArrays>>&, const py::dict&, const py::object&>(),
             "arrays"_a, "keywords"_a, "progress"_a, py::keep_alive<1, 2>())
        .def(py::init<const std::optional<std::vector<PointArrays>>&, const py::bytes&>(), "arrays"_a,
             "state"_a, py::keep_alive<1, 2>())
        .def_property_readonly("state", &Blocks::state)
        .def_property_readonly("reach_of_filling", &Blocks::reachOfFilling)
        .def_property_readonly_static("side", [](const py::object&) { return Io::BlockLattice::blockSide; })
        .def_property_readonly("shape", &Blocks::shape)
        .def_property_readonly("paths", &Blocks::paths)
        .def_property_readonly("reads_all_points", &Blocks::readsAllPoints)
        .def("describe", &Blocks::describe, "progress"_a)
        .def("make", &Blocks::make, "rows"_a, "columns"_a)
        .def("fill", &Blocks::fill, "pixels"_a, "window"_a, "wanted"_a);
}

} // namespace Tilewright::Python
