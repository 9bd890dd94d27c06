/// The extension _engine: what the package tilewright asks of the engine, in plain types.
#include <new>
#include <optional>
#include <system_error>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <io/clouds/CloudIndex.h>
#include <io/clouds/FileSearch.h>
#include <io/gdal/CoordinateSystem.h>
#include <io/runs/MemoryRun.h>
#include <io/system/Errors.h>
#include <io/system/NumberText.h>
#include <python/Arrays.h>
#include <python/Blocks.h>
#include <python/Parts.h>
#include <python/Requests.h>
#include <python/Results.h>
#include <python/Watch.h>

namespace py = pybind11;
using namespace pybind11::literals;

namespace Tilewright::Python {

namespace {

using CloudPtr = std::shared_ptr<const Io::PointCloud>;

void setError(PyObject* type, const std::exception& error) {
    PyErr_SetString(type, Io::printable(error.what()).c_str());
}

void translate(std::exception_ptr thrown) {
    if (!thrown)
        return;
    try {
        std::rethrow_exception(thrown);
    } catch (const Io::MemoryError& error) {
        PyErr_SetString(PyExc_MemoryError,
                        (std::string(error.what()) + "; tilewright.write makes it as a file").c_str());
    } catch (const Io::MissingFileError& error) {
        setError(PyExc_FileNotFoundError, error);
    } catch (const Io::FileError& error) {
        setError(PyExc_OSError, error);
    } catch (const Io::OutputError& error) {
        setError(PyExc_OSError, error);
    } catch (const Io::Error& error) {
        setError(PyExc_ValueError, error);
    } catch (const std::system_error& error) {
        setError(PyExc_OSError, error);
    }
}

/// The points of arrays; null for files, which the request names.
CloudPtr openPoints(const std::optional<std::vector<PointArrays>>& arrays, const Io::RasterRequest& request) {
    return arrays ? openArrays(*arrays, !request.coordinateSystem.empty()) : nullptr;
}

py::dict raster(const std::optional<std::vector<PointArrays>>& arrays, const py::dict& keywords,
                const py::object& progress) {
    const Io::RasterRequest request = requestOf(keywords);
    Io::MemoryRaster raster;
    doWatched(progress, [&](const Io::RunProgress& report) {
        raster = Io::rasterInMemory(openPoints(arrays, request), request, report);
    });
    return rasterOf(std::move(raster));
}

py::dict write(const std::optional<std::vector<PointArrays>>& arrays, const py::dict& keywords,
               const py::object& progress) {
    const Io::RasterRequest request = requestOf(keywords);
    Io::RasterReport made;
    doWatched(progress, [&](const Io::RunProgress& report) {
        made = Io::runRaster(openPoints(arrays, request), request, report);
    });
    return reportOf(made);
}

/// Files as a cloud, which stay open.
class OpenFiles {
public:
    OpenFiles(const std::vector<std::string>& words, const std::string& scratch) {
        doWatched(py::none(), [&](const Io::RunProgress& progress) {
            const Io::StepReport report = [&](std::uint64_t done, std::uint64_t total) {
                return progress("reading", done, total, "");
            };
            Cloud = std::make_shared<const Io::PointCloud>(Io::findPointFiles(words),
                                                           Io::CloudOptions{scratch, report, false}, false);
        });
    }

    std::string name() const { return Cloud->name(); }
    std::uint64_t points() const { return Cloud->pointCount(); }
    std::string system() const { return Cloud->coordinateSystem(); }
    std::string systemName() const { return Io::systemName(Cloud->coordinateSystem()); }

    std::vector<std::string> paths() const {
        std::vector<std::string> all;
        for (const Io::FileState& file : Cloud->files())
            all.push_back(file.path.string());
        return all;
    }

    std::vector<std::pair<std::string, py::dtype>> fields() const {
        std::vector<std::pair<std::string, py::dtype>> all;
        for (const Io::CloudField& field : Cloud->fields())
            all.emplace_back(field.name,
                             Io::visitFieldType(field.type, []<class T>() { return py::dtype::of<T>(); }));
        return all;
    }

    /// As the files state it; None if one of them does not.
    std::optional<std::array<double, 6>> statedBounds() const {
        Io::PointBounds all;
        for (const auto& source : Cloud->sources()) {
            const std::optional<Io::PointBounds> bounds = source->statedBounds();
            if (!bounds)
                return std::nullopt;
            all.add(*bounds);
        }
        return numbersOf(all);
    }

    std::optional<std::array<double, 6>> measureBounds(unsigned threads) const {
        Io::PointBounds bounds;
        doWatched(py::none(), [&](const Io::RunProgress& progress) {
            bounds = Io::indexCloud(*Cloud, {}, threads, [&](std::uint64_t done, std::uint64_t total) {
                         return progress("measuring", done, total, "points");
                     }).bounds;
        });
        return numbersOf(bounds);
    }

private:
    static std::optional<std::array<double, 6>> numbersOf(const Io::PointBounds& box) {
        if (!(box.low[0] <= box.high[0]))
            return std::nullopt;
        return {{box.low[0], box.low[1], box.low[2], box.high[0], box.high[1], box.high[2]}};
    }

    CloudPtr Cloud;
};

} // namespace

PYBIND11_MODULE(_engine, m) {
    m.attr("__version__") = TILEWRIGHT_VERSION;
    py::register_exception_translator(translate);

    py::class_<PointArrays>(m, "PointArrays")
        .def(py::init(&pointArrays), "name"_a, "coordinates"_a, "attributes"_a, "crs"_a,
             // The arrays live as long as what points into them.
             py::keep_alive<1, 3>(), py::keep_alive<1, 4>());
    py::class_<OpenFiles>(m, "OpenFiles")
        .def(py::init<const std::vector<std::string>&, const std::string&>(), "words"_a, "scratch"_a)
        .def_property_readonly("name", &OpenFiles::name)
        .def_property_readonly("points", &OpenFiles::points)
        .def_property_readonly("crs", &OpenFiles::system)
        .def_property_readonly("crs_name", &OpenFiles::systemName)
        .def_property_readonly("paths", &OpenFiles::paths)
        .def_property_readonly("fields", &OpenFiles::fields)
        .def("stated_bounds", &OpenFiles::statedBounds)
        .def("measure_bounds", &OpenFiles::measureBounds, "threads"_a);
    m.def("raster", &raster, "arrays"_a, "keywords"_a, "progress"_a);
    m.def("write", &write, "arrays"_a, "keywords"_a, "progress"_a);
    addBlocks(m);
    addParts(m);
    m.def("parse_bytes", &Io::parseBytes, "text"_a);
    m.def("crs_from_user", &Io::coordinateSystemFromUser, "text"_a);
}

} // namespace Tilewright::Python
