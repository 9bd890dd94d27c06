#include <apps/tilewright/RasterArguments.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>

#include <apps/tilewright/CommandLine.h>
#include <io/runs/BandWords.h>
#include <io/system/NumberText.h>

namespace Tilewright::App {

namespace {

constexpr std::uint64_t mostFragmentsOnSide = 1000;
constexpr std::uint64_t mostOverlap = 10000;
constexpr std::uint64_t mostThreads = 1024;
constexpr std::uint64_t leastMemory = std::uint64_t{64} << 20;

/// As GDAL calls them.
const std::string pixelTypes = "Byte|UInt16|UInt32|UInt64|Int32|Float32|Float64";

constexpr auto examples = R"(Examples:
  Mean heights in cells of one unit of the coordinates:
    tilewright raster scan.las heights.tif
  The ground alone, in cells of half a metre, from all files of a folder:
    tilewright raster tiles/ ground.tif --cell 0.5 --select 2@Classification
  Heights and intensities over a given rectangle, in one file:
    tilewright raster scan.las both.tif --stack -te 637000 5341000 638000 5342000 \
        --band Height:Mean --band Intensity:Max
  What a raster would take, without making it:
    tilewright raster 'tiles/*.las' dem.tif -tr 0.25 --dry-run
  For a script:
    tilewright raster scan.las dem.tif -overwrite --json -q)";

std::array<double, 2> readPair(const std::string& option, const Words& words) {
    const std::vector<double> numbers = readNumbers(option, words);
    return {numbers[0], numbers[1]};
}

/// One word, or two with a blank between them.
std::array<double, 2> readCell(const std::string& word) {
    const std::size_t blank = word.find(' ');
    const std::string x = word.substr(0, blank);
    const std::string y = blank == std::string::npos ? x : word.substr(blank + 1);
    const std::array<double, 2> cell = readPair("--cell", {x, y});
    if (std::min(cell[0], cell[1]) <= 0.0)
        throw CLI::ValidationError("--cell", "the cell size must be above 0, not " + word);
    return cell;
}

std::array<double, 4> readBounds(const Words& words) {
    const std::vector<double> numbers = readNumbers("--bounds", words);
    if (!(numbers[0] < numbers[2] && numbers[1] < numbers[3]))
        throw CLI::ValidationError("--bounds",
                                   "expected west, south, east and north in this order, with west "
                                   "below east and south below north");
    return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

std::uint64_t readMemory(const std::string& word) {
    const std::optional<std::uint64_t> bytes = Io::parseBytes(word);
    if (!bytes)
        throw CLI::ValidationError("--memory",
                                   "expected a number of bytes such as 512M or 4G, not '" + word + "'");
    if (*bytes < leastMemory)
        throw CLI::ValidationError("--memory", word + " is too small; the minimum is 64M");
    return *bytes;
}

std::string readPixelType(const std::string& word) {
    const Words choices = choicesOf(pixelTypes);
    const auto same = [](char a, char b) { return (a | 0x20) == (b | 0x20); };
    const auto found = std::ranges::find_if(
        choices, [&](const std::string& choice) { return std::ranges::equal(choice, word, same); });
    if (found == choices.end())
        throw CLI::ValidationError("--type", "there is no type '" + word + "'; choose one of " + pixelTypes);
    return *found;
}

/// A number, and perhaps a method after a blank.
void readFill(const std::string& word, Io::RasterRequest& options) {
    const std::size_t blank = word.find(' ');
    options.fill = readNumbers("--fill", {word.substr(0, blank)})[0];
    if (blank != std::string::npos)
        options.fillMethod = word.substr(blank + 1);
    if (options.fill < 0.0)
        throw CLI::ValidationError("--fill", "expected a number of cells, 0 or more, not " + word);
}

/// Of options that mean nothing without a word, as a variable of a script that was not set.
std::string readWord(const std::string& option, const std::string& word) {
    if (word.empty())
        throw CLI::ValidationError(option, "is empty; leave the option out to do without it");
    return word;
}

double readNodata(const std::string& word) {
    const std::optional<double> value = Io::parseDouble(word);
    if (!value)
        throw CLI::ValidationError("--nodata", "'" + word + "' is not a number");
    return *value;
}

void checkCreationOptions(const Words& options) {
    for (const std::string& option : options)
        if (const std::size_t equals = option.find('='); equals == 0 || equals == std::string::npos)
            throw CLI::ValidationError("--option",
                                       "expected KEY=VALUE, for example COMPRESS=LZW, not '" + option + "'");
}

[[noreturn]] void refuseBand(const std::string& word) {
    throw CLI::ValidationError("raster", "'" + word + "' looks like a band; ask for it with --band " + word +
                                             ", or write ./" + word + " if it is a file");
}

/// Without an option in front, a band would be taken for a file.
void checkFiles(const Words& files) {
    for (const std::string& file : files) {
        std::error_code ignored;
        if (Io::looksLikeBand(file) && !std::filesystem::exists(file, ignored))
            refuseBand(file);
    }
}

/// "NxM", each from 1 to 1000.
void checkFragments(const std::string& word) {
    const std::size_t cross = std::min(word.find('x'), word.size());
    const auto isCount = [](std::string_view text) {
        const std::optional<std::uint64_t> count = Io::parseCount(text);
        return count && *count > 0 && *count <= mostFragmentsOnSide;
    };
    if (cross == word.size() || !isCount(word.substr(0, cross)) || !isCount(word.substr(cross + 1)))
        throw CLI::ValidationError(
            "--fragments", "expected COLUMNSxROWS of at most 1000x1000, for example 4x3, not " + word);
}

/// A band with two or three lines about it.
void printBands(std::ostream& out) {
    const std::string indent(20, ' ');
    out << "Bands, where F is Height, X, Y, a field that tilewright info lists, or HeightAboveGround with "
           "--ground or\n--ground-classes. Quote what has parentheses.\n";
    for (const Io::BandRow& row : Io::bandTable()) {
        out << "\n"
            << row.band << std::string(row.band.size() < 19 ? 20 - row.band.size() : 1, ' ') << row.meaning
            << "\n";
        if (!row.formula.empty())
            out << indent << row.formula << "\n";
        out << indent << "Pixels: " << row.pixels << "\n";
    }
}

void addBandOptions(CLI::App& command, Io::RasterRequest& options) {
    addRepeatable(
        command, "--band", bandLabel,
        "What a band shows: FIELD:FILTER, for example Height:Mean or Height:P95, or count, density, rgb, "
        "celltype or alpha; NAME= in front names the band, and [CONDITION] after it makes it of those points "
        "alone that meet a condition of --select, for example Height:Mean[2@Classification]. Fields are "
        "Height, X, Y, those that tilewright info lists, and HeightAboveGround with --ground or "
        "--ground-classes; --band help lists the filters. Takes several "
        "bands; repeatable (default Height:Mean)",
        options.bands);
    addRepeatable(
        command, "--request", requestLabel,
        "A band as the library makes it, with its narrow sums and bounds: FIELD:FILTER:DIRECTION, or "
        "CellType, Density or Alpha. Positions stands for heights; directions are Xdir, Ydir, Zdir and "
        "All. Takes several requests; repeatable",
        options.requests);
    command.add_flag("--alpha", options.alpha, "Add a band Alpha: 255 where there are data");
}

void addPointOptions(CLI::App& command, Io::RasterRequest& options) {
    addRepeatable(
        command, "--select", "RANGES@FIELD",
        "Use only points whose value is in these ranges, for example 2,9@Classification or 2:@Height; with "
        "! in front all others. Fields are those of bands; first, last, only and intermediate select by "
        "return. Repeatable, or several with & between them: all must hold",
        options.selections);
    addOption(command, "--returns", "WORDS", 1,
              "Use only these returns of a pulse: first, last, only or intermediate, or several with commas "
              "between them",
              [&options](const Words& words) { options.returns = readWord("--returns", words[0]); });
    addOption(command, "--clip", "FILE[:LAYER]", 1,
              "Use only points in the polygons of this vector file, transformed to the system of the cloud; "
              "without --bounds the raster covers no more than their box",
              [&options](const Words& words) { options.clip = readWord("--clip", words[0]); });
    addOption(
        command, "--ground", "FILE", 1,
        "A raster of the ground, which gives the field HeightAboveGround to bands and conditions; points "
        "without ground below are left out",
        [&options](const Words& words) { options.ground = readWord("--ground", words[0]); });
    addOption(
        command, "--ground-classes", "CLASSES", 1,
        "The same with the ground found first, from points of these classes, for example 2,9: their mean "
        "height per cell, with holes filled",
        [&options](const Words& words) { options.groundClasses = readWord("--ground-classes", words[0]); })
        ->excludes("--ground");
    addOption(command, "--bounds,--te", "WEST SOUTH EAST NORTH", 4,
              "Use only points in this rectangle; those on its upper edges are outside",
              [&options](const Words& words) { options.bounds = readBounds(words); });
}

void addGridOptions(CLI::App& command, Io::RasterRequest& options) {
    addOption(command, "--cell,--tr", oneOrTwoNumbers, 1,
              "Cell size along x and y, in the units of the coordinates (default 1)",
              [&options](const Words& words) { options.cell = readCell(words[0]); });
    addOption(command, "--origin", "X Y", 2, "A point where cell edges cross (default 0 0)",
              [&options](const Words& words) { options.origin = readPair("--origin", words); });
    addOption(command, "--shift", "X Y", 2, "Move the cell edges further, in cells (default 0 0)",
              [&options](const Words& words) { options.shift = readPair("--shift", words); });
    CLI::Option* const like = addOption(
        command, "--like", "FILE", 1, "Take cell size, edges, bounds and coordinate system from this raster",
        [&options](const Words& words) { options.like = readWord("--like", words[0]); });
    for (const char* const other : {"--cell", "--origin", "--shift", "--bounds"})
        like->excludes(other);
    addOption(command, "--sparse-limit", "N", 1,
              "Cells with no more points than this have no data (default 0)", [&options](const Words& words) {
                  options.sparseLimit =
                      static_cast<unsigned>(readCount("--sparse-limit", words[0], 0, 4294967295U));
              });
    addOption(command, "--fill", numberAndMethod, 1,
              "Fill holes up to this many cells from data, by means weighted by distance (idw, the default), "
              "by the nearest or by triangles (tin)",
              [&options](const Words& words) { readFill(words[0], options); });
}

void addOutputOptions(CLI::App& command, Io::RasterRequest& options) {
    command.add_flag("--overwrite", options.overwrite, "Replace existing rasters and their files");
    command.add_flag("--stack", options.stack, "Put all bands into one file instead of one OUTPUT-BAND each");
    addOption(command, "--format,--of", "NAME", 1,
              "Format, as GDAL calls it (default: by the extension of the output)",
              [&options](const Words& words) { options.driver = words[0]; });
    addRepeatable(command, "--option,--co", "KEY=VALUE", "An option of the format; repeatable",
                  options.creationOptions);
    addOption(command, "--type,--ot", pixelTypes, 1, "Type of the pixels (default: what the band needs)",
              [&options](const Words& words) { options.pixelType = readPixelType(words[0]); });
    addOption(command, "--srs,--a_srs", "SYSTEM", 1,
              "Coordinate system to use instead of that of the input, for example EPSG:25832",
              [&options](const Words& words) { options.coordinateSystem = words[0]; });
    addOption(command, "--nodata,--a_nodata", "VALUE", 1, "Value of cells without data",
              [&options](const Words& words) { options.nodata = readNodata(words[0]); });
    command.add_flag("--overviews", options.overviews, "Add smaller versions to the file, for quick display");
    addOption(command, "--preview", "FILE", 1, "Paint the first band into a PNG or JPEG",
              [&options](const Words& words) { options.preview = words[0]; });
}

void addWorkOptions(CLI::App& command, Io::RasterRequest& options) {
    addOption(command, "--memory", "SIZE", 1,
              "Memory to use, for example 2G (default: half of the machine's)",
              [&options](const Words& words) { options.memory = readMemory(words[0]); });
    addOption(command, "--threads", "N", 1, "Threads to use (default: one per processor)",
              [&options](const Words& words) {
                  options.threads = static_cast<unsigned>(readCount("--threads", words[0], 1, mostThreads));
              });
    addOption(command, "--scratch", "FOLDER", 1,
              "Where to store what does not fit into memory (default: the folder of the output)",
              [&options](const Words& words) { options.scratch = words[0]; });
    addOption(command, "--overlap", "N", 1, "Has no effect any more, but is still checked",
              [](const Words& words) { readCount("--overlap", words[0], 0, mostOverlap); });
    addOption(command, "--fragments", "COLUMNSxROWS", 1, "Has no effect any more, but is still checked",
              [](const Words& words) { checkFragments(words[0]); });
}

void addReportOptions(CLI::App& command, RasterArguments& arguments) {
    command.add_flag("--dry-run", arguments.options.dryRun,
                     "Show what would be made and what it takes, and stop");
    command.add_flag("--json", arguments.json, "Print the summary as JSON");
    command.add_flag("-q,--quiet", arguments.quiet, "Show no progress, and no summary except as JSON");
}

} // namespace

std::function<bool()> addRasterOptions(CLI::App& command, std::ostream& out,
                                       const std::shared_ptr<RasterArguments>& arguments) {
    const auto files = std::make_shared<Words>();
    Io::RasterRequest& options = arguments->options;
    addPositionals(
        command, "files", "INPUT... OUTPUT",
        "Point files, folders of them and patterns such as 'tiles/*.las', and last the raster to write; "
        "several bands become one OUTPUT-BAND each",
        *files);
    command.option_defaults()->group("Bands");
    addBandOptions(command, options);
    command.option_defaults()->group("Points");
    addPointOptions(command, options);
    command.option_defaults()->group("Grid");
    addGridOptions(command, options);
    command.option_defaults()->group("Output");
    addOutputOptions(command, options);
    command.option_defaults()->group("Work");
    addWorkOptions(command, options);
    return [&command, &out, arguments, files] {
        if (arguments->options.bands == Words{"help"} && files->empty()) {
            printBands(out);
            return false;
        }
        checkFiles(*files);
        if (files->size() < 2)
            throw CLI::ValidationError(command.get_name(), "needs an input and an output");
        arguments->options.inputs.assign(files->begin(), files->end() - 1);
        arguments->options.output = files->back();
        checkCreationOptions(arguments->options.creationOptions);
        return true;
    };
}

void addRasterCommand(CLI::App& app, std::ostream& out, std::function<void(const RasterArguments&)> run) {
    const auto arguments = std::make_shared<RasterArguments>();
    CLI::App& command = *app.add_subcommand("raster", "Turn point files into rasters");
    command.footer(examples);
    const auto complete = addRasterOptions(command, out, arguments);
    command.option_defaults()->group("Reports");
    addReportOptions(command, *arguments);
    command.callback([complete, arguments, run = std::move(run)] {
        if (complete())
            run(*arguments);
    });
}

} // namespace Tilewright::App
