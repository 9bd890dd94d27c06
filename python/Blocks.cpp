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
        py::list all;
        for (Io::MemoryOutput& output : outputs)
            all.append(arraysOf(std::move(output), east - columns[0] * side));
        return all;
    }

private:
    std::unique_ptr<Io::BlockwiseRaster> Raster;
};

} // namespace

void addBlocks(py::module_& module) {
    py::class_<Blocks>(module, "Blocks")
        .def(py::init<const std::optional<std::vector<PointArrays>>&, const py::dict&, const py::object&>(),
             "arrays"_a, "keywords"_a, "progress"_a, py::keep_alive<1, 2>())
        .def_property_readonly_static("side", [](const py::object&) { return Io::BlockLattice::blockSide; })
        .def_property_readonly("shape", &Blocks::shape)
        .def_property_readonly("paths", &Blocks::paths)
        .def_property_readonly("reads_all_points", &Blocks::readsAllPoints)
        .def("describe", &Blocks::describe, "progress"_a)
        .def("make", &Blocks::make, "rows"_a, "columns"_a);
}

} // namespace Tilewright::Python
