#include <apps/tilewright/InfoCommand.h>

#include <cmath>
#include <iostream>
#include <memory>
#include <thread>

#include <io/clouds/FileSearch.h>
#include <io/clouds/PointCloud.h>
#include <io/gdal/CoordinateSystem.h>

#include <apps/tilewright/CommandLine.h>
#include <apps/tilewright/Json.h>
#include <apps/tilewright/Progress.h>
#include <io/clouds/CloudSummary.h>
#include <io/system/NumberText.h>

namespace Tilewright::App {

namespace {

constexpr std::uint64_t mostThreads = 1024;
constexpr int coordinateDigits = 15;

constexpr auto examples = R"(Examples:
  What a scan holds, and the cell size that would suit it:
    tilewright info scan.las
  Many files as one cloud, for a script:
    tilewright info tiles/ --json)";

/// As GDAL calls them.
const char* typeName(Io::FieldType type) {
    switch (type) {
    case Io::FieldType::Float:
        return "Float32";
    case Io::FieldType::Double:
        return "Float64";
    case Io::FieldType::UnsignedChar:
        return "Byte";
    case Io::FieldType::UnsignedShort:
        return "UInt16";
    case Io::FieldType::UnsignedInt:
        return "UInt32";
    case Io::FieldType::UnsignedLongLong:
        return "UInt64";
    case Io::FieldType::Int:
        return "Int32";
    }
    return "";
}

std::string numberText(double number) { return Io::roundedNumber(number, coordinateDigits); }
std::string numberText(unsigned long long number) { return std::to_string(number); }

/// The values of a float have no more digits than this.
std::string fieldNumber(double number, Io::FieldType type) {
    return type == Io::FieldType::Float ? Io::roundedNumber(number, 9) : numberText(number);
}
std::string fieldNumber(unsigned long long number, Io::FieldType) { return numberText(number); }

std::string areaText(double area) {
    return area < 1000.0 ? Io::roundedNumber(area, 4) : numberText(std::round(area));
}

std::string rasterCommand(const InfoOptions& options, double cell) {
    std::string command = "tilewright raster";
    for (const std::string& input : options.inputs)
        command += " " + Io::shellWord((input.starts_with('-') ? "./" : "") + input);
    return command + " heights.tif --cell " + Io::exactNumber(cell);
}

void printBounds(std::ostream& out, const Io::PointBounds& bounds) {
    const char* label = "bounds   ";
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double low = bounds.low[axis], high = bounds.high[axis];
        out << label << "xyz"[axis] << " " << numberText(low) << " to " << numberText(high) << ", over "
            << Io::roundedNumber(high - low, 9) << "\n";
        label = "         ";
    }
}

void printFields(std::ostream& out, const Io::PointCloud& cloud, const Io::CloudSummary& summary) {
    std::size_t width = 0;
    for (const Io::CloudField& field : cloud.fields())
        width = std::max(width, field.name.size());
    const char* label = "fields   ";
    for (std::size_t i = 0; i < cloud.fields().size(); ++i) {
        const std::string& name = cloud.fields()[i].name;
        const Io::FieldType type = cloud.fields()[i].type;
        const std::string typeText = typeName(type);
        out << label << Io::printable(name) << std::string(width - name.size() + 2, ' ') << typeText
            << std::string(9 - typeText.size(), ' ');
        std::visit(
            [&](const auto& range) {
                if (range.isEmpty)
                    out << "no values";
                else
                    out << fieldNumber(range.least, type) << " to " << fieldNumber(range.greatest, type);
            },
            summary.ranges[i]);
        out << "\n";
        label = "         ";
    }
}

/// Empty for a file that is not compressed.
std::string storageText(const Io::PointSource& source) {
    const std::optional<Io::CompressionSummary> compression = Io::compressionOf(source);
    if (!compression)
        return {};
    std::string text =
        (compression->octree ? "COPC, " : "LAZ, ") + std::to_string(compression->chunks) +
        (compression->chunks == 1 ? " chunk of " : " chunks of ") +
        (compression->chunkSize ? std::to_string(*compression->chunkSize) : "varying numbers of") + " points";
    if (const auto& octree = compression->octree)
        text += ", in an octree of " + std::to_string(octree->levels) +
                (octree->levels == 1 ? " level" : " levels") + " with points " +
                Io::roundedNumber(octree->spacing, 3) + " to " + Io::roundedNumber(octree->finestSpacing, 3) +
                " apart";
    return text;
}

void printFiles(std::ostream& out, const Io::PointCloud& cloud) {
    if (cloud.sources().size() == 1) {
        const std::string storage = storageText(*cloud.sources().front());
        out << (storage.empty() ? "" : "storage  " + storage + "\n");
        return;
    }
    for (const auto& source : cloud.sources()) {
        const std::string storage = storageText(*source);
        out << "         " << Io::printable(source->name()) << ": " << source->pointCount() << " points"
            << (storage.empty() ? "" : "; " + storage) << "\n";
    }
}

void printText(std::ostream& out, const InfoOptions& options, const Io::PointCloud& cloud,
               const Io::CloudSummary& summary) {
    out << Io::printable(cloud.name()) << ": " << cloud.pointCount() << " points\n";
    printFiles(out, cloud);
    const std::string name = Io::systemName(cloud.coordinateSystem());
    const std::string unit = Io::coordinateUnitOf(cloud.coordinateSystem());
    out << "system   " << (cloud.coordinateSystem().empty() ? "none is named" : Io::printable(name))
        << (unit.empty() ? "" : ", in units of one " + Io::printable(unit)) << "\n";
    if (cloud.pointCount() != 0)
        printBounds(out, summary.bounds);
    if (summary.density)
        out << "density  " << Io::roundedNumber(*summary.density, 3) << " points for each square "
            << (unit.empty() ? "unit" : Io::printable(unit)) << " of the " << areaText(summary.area)
            << " that they cover\n";
    printFields(out, cloud, summary);
    if (summary.cell)
        out << "cell     " << Io::exactNumber(*summary.cell) << " would suit, with about "
            << Io::roundedNumber(*summary.density * *summary.cell * *summary.cell, 2) << " points in each:\n"
            << "         " << rasterCommand(options, *summary.cell) << "\n";
}

Json compressionJson(const Io::PointSource& source) {
    const std::optional<Io::CompressionSummary> compression = Io::compressionOf(source);
    if (!compression)
        return Json();
    Json json = {{"kind", compression->octree ? "COPC" : "LAZ"},
                 {"chunks", compression->chunks},
                 {"chunkSize", orNull(compression->chunkSize)}};
    if (const auto& octree = compression->octree) {
        json["levels"] = octree->levels;
        json["spacing"] = octree->spacing;
        json["finestSpacing"] = octree->finestSpacing;
    }
    return json;
}

Json filesJson(const Io::PointCloud& cloud) {
    Json files = Json::array();
    for (const auto& source : cloud.sources())
        files.push_back({{"name", source->name()},
                         {"points", source->pointCount()},
                         {"compression", compressionJson(*source)}});
    return files;
}

Json fieldsJson(const Io::PointCloud& cloud, const Io::CloudSummary& summary) {
    Json fields = Json::array();
    for (std::size_t i = 0; i < cloud.fields().size(); ++i)
        std::visit(
            [&](const auto& range) {
                fields.push_back({{"name", cloud.fields()[i].name},
                                  {"type", typeName(cloud.fields()[i].type)},
                                  {"min", range.isEmpty ? Json() : Json(range.least)},
                                  {"max", range.isEmpty ? Json() : Json(range.greatest)}});
            },
            summary.ranges[i]);
    return fields;
}

void printJson(std::ostream& out, const InfoOptions& options, const Io::PointCloud& cloud,
               const Io::CloudSummary& summary) {
    const std::string& system = cloud.coordinateSystem();
    const bool hasPoints = cloud.pointCount() != 0;
    print(out, {{"version", TILEWRIGHT_VERSION},
                {"points", cloud.pointCount()},
                {"files", filesJson(cloud)},
                {"coordinateSystem", system},
                {"coordinateSystemName", Io::systemName(system)},
                {"unit", Io::coordinateUnitOf(system)},
                {"low", hasPoints ? Json(summary.bounds.low) : Json()},
                {"high", hasPoints ? Json(summary.bounds.high) : Json()},
                {"area", summary.area},
                {"density", orNull(summary.density)},
                {"fields", fieldsJson(cloud, summary)},
                {"cell", orNull(summary.cell)},
                {"command", summary.cell ? Json(rasterCommand(options, *summary.cell)) : Json()}});
}

std::vector<const Io::PointSource*> inOtherSystems(const Io::PointCloud& cloud) {
    std::vector<const Io::PointSource*> others;
    for (const auto& source : cloud.sources()) {
        const std::string system = source->coordinateSystem();
        if (!system.empty() && !Io::isSameCoordinateSystem(system, cloud.coordinateSystem()))
            others.push_back(source.get());
    }
    return others;
}

void noteOddities(const Io::PointCloud& cloud) {
    for (const auto& source : cloud.sources())
        for (const std::string& note : source->notes())
            std::cerr << Io::printable("tilewright: note: " + note) << std::endl;
}

/// Bounds and density make little sense then, but the user may want to know just which file it is.
void noteOtherSystems(const Io::PointCloud& cloud) {
    for (const Io::PointSource* const source : inOtherSystems(cloud)) {
        const std::string system = source->coordinateSystem();
        std::cerr << Io::printable("tilewright: note: " + source->name() +
                                   " is in another coordinate system, " + Io::systemName(system))
                  << std::endl;
    }
}

struct Found {
    Io::PointCloud cloud;
    Io::CloudSummary summary;
};

Found examine(const InfoOptions& options) {
    ProgressBar bar(options.quiet);
    const auto show = [&bar](const char* step) {
        return [&bar, step](std::uint64_t done, std::uint64_t total) { return bar.show(step, done, total); };
    };
    Io::CloudOptions cloudOptions;
    cloudOptions.scratch = std::filesystem::temp_directory_path();
    cloudOptions.report = show("converting");
    Io::PointCloud cloud(Io::findPointFiles(options.inputs), cloudOptions, true);
    const unsigned threads =
        options.threads != 0 ? options.threads : std::max(1U, std::thread::hardware_concurrency());
    Io::CloudSummary summary = Io::summarise(cloud, threads, show("reading"));
    cloud.checkUnchanged();
    // No raster is made of them.
    if (!inOtherSystems(cloud).empty())
        summary.cell.reset();
    return {std::move(cloud), std::move(summary)};
}

} // namespace

void runInfo(const InfoOptions& options, std::ostream& out) {
    const auto [cloud, summary] = examine(options);
    (options.json ? printJson : printText)(out, options, cloud, summary);
    noteOtherSystems(cloud);
    noteOddities(cloud);
}

void addInfoCommand(CLI::App& app, std::ostream& out) {
    const auto options = std::make_shared<InfoOptions>();
    CLI::App& command = *app.add_subcommand(
        "info", "Tell what point files hold: bounds, density, fields, and a cell size that would suit");
    command.footer(examples);
    addPositionals(command, "files", "FILE...",
                   "Point files, folders of them and patterns such as 'tiles/*.las'", options->inputs);
    addOption(command, "--threads", "N", 1, "Threads to work with (default: one for each processor)",
              [options](const Words& words) {
                  options->threads = static_cast<unsigned>(readCount("--threads", words[0], 1, mostThreads));
              });
    command.add_flag("--json", options->json, "The result as JSON");
    command.add_flag("-q,--quiet", options->quiet, "No progress");
    command.callback([options, &out] {
        if (options->inputs.empty())
            throw CLI::ValidationError("info", "wants a file");
        runInfo(*options, out);
    });
}

} // namespace Tilewright::App
