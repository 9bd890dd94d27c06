#include <apps/tilewright/RasterSummary.h>

#include <io/gdal/CoordinateSystem.h>

#include <apps/tilewright/Json.h>
#include <io/system/NumberText.h>

namespace Tilewright::App {

namespace {

/// Enough digits for all coordinates and sizes, without the noise in the last ones.
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
    if (report.withoutGround != 0)
        out << counted(report.withoutGround, "point") << " without ground below left out\n";
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
        out << ", " << counted(band.filledHoles, "cell") << " filled from their surroundings";
    out << "\n";
}

Json bandJson(const Io::BandReport& band) {
    return {{"name", band.name},
            {"path", band.path},
            {"request", band.request},
            {"type", band.type},
            {"unit", band.unit},
            {"nodata", orNull(band.nodata)},
            {"filled", band.filled},
            {"filledHoles", band.filledHoles},
            {"min", band.range ? Json((*band.range)[0]) : Json()},
            {"max", band.range ? Json((*band.range)[1]) : Json()},
            {"mean", orNull(band.mean)}};
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
    Json bands = Json::array();
    for (const Io::BandReport& band : report.bands)
        bands.push_back(bandJson(band));
    print(out, {{"version", TILEWRIGHT_VERSION},
                {"dryRun", report.dryRun},
                {"cloud", report.cloud},
                {"files", report.files},
                {"points", report.points},
                {"rastered", report.rastered},
                {"withoutGround", report.withoutGround},
                {"columns", report.columns},
                {"rows", report.rows},
                {"cell", report.cell},
                {"extent", report.extent},
                {"filled", report.filled},
                {"coordinateSystem", report.coordinateSystem},
                {"memory", report.memory},
                {"outputBytes", report.outputBytes},
                {"threads", report.threads},
                {"sorted", report.sorted},
                {"seconds", report.seconds},
                {"bands", bands},
                {"notes", report.notes}});
}

} // namespace Tilewright::App
