#include <apps/tilewright/RasterSummary.h>

#include <io/gdal/CoordinateSystem.h>

#include <apps/tilewright/Json.h>
#include <io/system/NumberText.h>

namespace Tilewright::App {

namespace {

/// Digits that all coordinates and sizes need, without the noise in the last ones.
constexpr int coordinateDigits = 15;
constexpr int valueDigits = 9;

std::string counted(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string coordinate(double value) { return Io::roundedNumber(value, coordinateDigits); }

std::string cellText(const Io::RasterReport& report) {
    const auto [x, y] = report.cell;
    return coordinate(x) + (x == y ? "" : " x " + coordinate(y));
}

void printPoints(std::ostream& out, const Io::RasterReport& report) {
    out << Io::printable(report.cloud) << ": " << counted(report.points, "point");
    if (report.dryRun)
        out << " in " << counted(report.files, "file");
    else if (report.rastered == report.points)
        out << ", every one of them in its cell";
    else
        out << ", " << report.rastered << " of them selected, each in its cell";
    out << "\n";
}

void printGrid(std::ostream& out, const Io::RasterReport& report) {
    const double cells = static_cast<double>(report.columns) * static_cast<double>(report.rows);
    out << report.columns << " x " << report.rows << " cells of " << cellText(report);
    if (!report.dryRun)
        out << ", " << report.filled << " filled ("
            << Io::roundedNumber(cells > 0.0 ? 100.0 * static_cast<double>(report.filled) / cells : 0.0, 3)
            << " %)";
    const auto& [west, south, east, north] = report.extent;
    out << "\nx " << coordinate(west) << " to " << coordinate(east) << ", y " << coordinate(south) << " to "
        << coordinate(north);
    if (!report.coordinateSystem.empty())
        out << ", " << Io::printable(Io::systemName(report.coordinateSystem));
    out << "\n";
}

void printBand(std::ostream& out, const Io::RasterReport& report, const Io::BandReport& band) {
    out << Io::printable(band.path) << ": " << Io::printable(band.name);
    const std::string unit = Io::printable(band.unit);
    if (report.dryRun)
        out << ", " << band.type << (unit.empty() ? "" : " in ") << unit;
    else if (band.filled == 0)
        out << ", no cell with data";
    else if (!band.range)
        out << ", no values but NaN";
    else
        out << ", " << Io::roundedNumber((*band.range)[0], valueDigits) << " to "
            << Io::roundedNumber((*band.range)[1], valueDigits) << (unit.empty() ? "" : " ") << unit;
    if (band.filledHoles != 0)
        out << ", " << counted(band.filledHoles, "cell") << " filled from those around";
    out << "\n";
}

void writeBand(JsonWriter& json, const Io::BandReport& band) {
    json.beginObject();
    json.member("name", band.name);
    json.member("path", band.path);
    json.member("request", band.request);
    json.member("type", band.type);
    json.member("unit", band.unit);
    json.member("nodata", band.nodata);
    json.member("filled", band.filled);
    json.member("filledHoles", band.filledHoles);
    json.member("min", band.range ? std::optional((*band.range)[0]) : std::nullopt);
    json.member("max", band.range ? std::optional((*band.range)[1]) : std::nullopt);
    json.member("mean", band.mean);
    json.endObject();
}

} // namespace

void printSummary(std::ostream& out, const Io::RasterReport& report) {
    printPoints(out, report);
    printGrid(out, report);
    for (const Io::BandReport& band : report.bands)
        printBand(out, report, band);
    if (report.dryRun)
        out << "takes about " << Io::readableBytes(report.memory) << " of memory, "
            << counted(report.threads, "thread") << " and " << Io::readableBytes(report.outputBytes)
            << " of files before compression; nothing was written\n";
    else
        out << Io::roundedNumber(report.seconds, 3) << " s\n";
}

void printJson(std::ostream& out, const Io::RasterReport& report) {
    JsonWriter json(out);
    json.beginObject();
    json.member("version", TILEWRIGHT_VERSION);
    json.member("dryRun", report.dryRun);
    json.member("cloud", report.cloud);
    json.member("files", report.files);
    json.member("points", report.points);
    json.member("rastered", report.rastered);
    json.member("columns", report.columns);
    json.member("rows", report.rows);
    json.member("cell", report.cell);
    json.member("extent", report.extent);
    json.member("filled", report.filled);
    json.member("coordinateSystem", report.coordinateSystem);
    json.member("memory", report.memory);
    json.member("outputBytes", report.outputBytes);
    json.member("threads", report.threads);
    json.member("sorted", report.sorted);
    json.member("seconds", report.seconds);
    json.key("bands");
    json.beginArray();
    for (const Io::BandReport& band : report.bands)
        writeBand(json, band);
    json.endArray();
    json.key("notes");
    json.beginArray();
    for (const std::string& note : report.notes)
        json.value(note);
    json.endArray();
    json.endObject();
}

} // namespace Tilewright::App
