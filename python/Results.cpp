#include <python/Results.h>

#include <array>
#include <memory>
#include <string>
#include <utility>
#include <variant>

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <io/gdal/CoordinateSystem.h>

namespace py = pybind11;
using namespace pybind11::literals;

namespace Tilewright::Python {

namespace {

py::dict bandReportOf(const Io::BandReport& band) {
    return py::dict("name"_a = band.name, "path"_a = band.path, "request"_a = band.request,
                    "type"_a = band.type, "unit"_a = band.unit, "nodata"_a = band.nodata,
                    "filled"_a = band.filled, "filled_holes"_a = band.filledHoles, "range"_a = band.range,
                    "mean"_a = band.mean);
}

/// An array of numpy that owns the pixels.
template <class T> py::array arrayOf(std::vector<T>&& pixels, std::uint64_t width) {
    auto owned = std::make_unique<std::vector<T>>(std::move(pixels));
    const T* const first = owned->data();
    const std::uint64_t height = owned->size() / width;
    const py::capsule owner(owned.get(), [](void* all) { delete static_cast<std::vector<T>*>(all); });
    owned.release();
    return py::array_t<T>({height, width}, first, owner);
}

const char* colourName(Io::BandColour colour) {
    switch (colour) {
    case Io::BandColour::Red:
        return "red";
    case Io::BandColour::Green:
        return "green";
    case Io::BandColour::Blue:
        return "blue";
    case Io::BandColour::Alpha:
        return "alpha";
    default:
        return "";
    }
}

std::string requestOf(const Io::BandDescription& band) {
    for (const auto& [key, text] : band.metadata)
        if (key == "REQUEST")
            return text;
    return "";
}

/// Types of numpy in the order of PixelType.
constexpr std::array<const char*, std::variant_size_v<Io::PixelArray>> dtypes = {"f4", "f8", "u1", "u2",
                                                                                 "u4", "u8", "i4"};

py::dict outputOf(const Io::MemoryOutput& output) {
    py::list colours;
    for (const Io::BandDescription& band : output.description.bands)
        colours.append(colourName(band.colour));
    const Io::BandDescription& first = output.description.bands.front();
    return py::dict("name"_a = output.name, "request"_a = requestOf(first), "unit"_a = first.unit,
                    "nodata"_a = output.description.nodata, "colours"_a = colours,
                    "dtype"_a = py::dtype(dtypes[static_cast<std::size_t>(output.description.type)]));
}

} // namespace

py::dict reportOf(const Io::RasterReport& report) {
    py::list bands;
    for (const Io::BandReport& band : report.bands)
        bands.append(bandReportOf(band));
    return py::dict("cloud"_a = report.cloud, "files"_a = report.files, "points"_a = report.points,
                    "rastered"_a = report.rastered, "without_ground"_a = report.withoutGround,
                    "columns"_a = report.columns, "rows"_a = report.rows, "cell"_a = report.cell,
                    "extent"_a = report.extent, "filled"_a = report.filled, "crs"_a = report.coordinateSystem,
                    "memory"_a = report.memory, "output_bytes"_a = report.outputBytes,
                    "threads"_a = report.threads, "sorted"_a = report.sorted, "seconds"_a = report.seconds,
                    "dry_run"_a = report.dryRun, "bands"_a = bands, "notes"_a = report.notes);
}

py::list arraysOf(Io::MemoryOutput&& output, std::uint64_t width) {
    py::list arrays;
    for (Io::PixelArray& band : output.bands)
        arrays.append(std::visit([&](auto& pixels) { return arrayOf(std::move(pixels), width); }, band));
    return arrays;
}

py::dict rasterOf(Io::MemoryRaster&& raster) {
    py::list outputs;
    const Io::RasterGeometry geometry = raster.outputs.front().description.geometry;
    for (Io::MemoryOutput& output : raster.outputs) {
        py::dict described = outputOf(output);
        if (!output.bands.empty())
            described["arrays"] = arraysOf(std::move(output), geometry.width);
        outputs.append(described);
    }
    return py::dict("report"_a = reportOf(raster.report), "outputs"_a = outputs,
                    "geometry"_a =
                        py::dict("width"_a = geometry.width, "height"_a = geometry.height,
                                 "west"_a = geometry.west, "north"_a = geometry.north,
                                 "cell"_a = py::make_tuple(geometry.pixelWidth, geometry.pixelHeight),
                                 "crs"_a = geometry.wkt, "unit"_a = Io::coordinateUnitOf(geometry.wkt)));
}

} // namespace Tilewright::Python
