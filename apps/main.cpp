#include <charconv>
#include <iostream>
#include <new>
#include <string>

#include <CLI/CLI.hpp>

#include <io/Errors.h>

#include "Progress.h"
#include "RasterCommand.h"

namespace {

using Tilewright::App::RasterOptions;

constexpr int failed = 1;
constexpr int wrongUsage = 2;

constexpr std::uint64_t mostFragmentsOnSide = 1000;

/// Reads "NxM"; the whole text must be of that form, with numbers from 1 to 1000.
bool parseFragments(const std::string& text, std::uint64_t& x, std::uint64_t& y) {
    const char* const end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, x);
    if (first.ec != std::errc() || first.ptr == end || *first.ptr != 'x')
        return false;
    const auto second = std::from_chars(first.ptr + 1, end, y);
    return second.ec == std::errc() && second.ptr == end && x > 0 && y > 0 && x <= mostFragmentsOnSide &&
           y <= mostFragmentsOnSide;
}

void addRasterCommand(CLI::App& app, RasterOptions& options) {
    CLI::App* const command = app.add_subcommand("raster", "Turn a point file into GeoTIFF rasters");
    command->add_option("input", options.input, "Point file: LAS 1.0 to 1.4")->required();
    command->add_option("output", options.output, "GeoTIFF; with several bands OUT-BAND.tif each")
        ->required();
    command->add_option("--cell", options.lattice.cell, "Cell size, in the units of the coordinates")
        ->capture_default_str();
    command
        ->add_option(
            "--request", options.requests,
            "FIELD:FILTER:DIRECTION, or CellType, Density or Alpha; repeatable "
            "(default Positions:Mean:Zdir). Heights are asked for as Positions. Filters: Mean, Min, Max, "
            "Median, MaxOccurrence, Regression, Skip. Directions: Xdir, Ydir, Zdir, All")
        ->take_all()
        ->allow_extra_args(false);
    command->add_option(
        "--select", options.selection,
        "Only points whose value lies in ranges: RANGES@FIELD, for example 2,9@Classification");
    command
        ->add_option("--overlap", options.lattice.overlap,
                     "Cells that neighbouring fragments share in memory; the file has each cell once")
        ->check(CLI::Range(0, 10000));
    command
        ->add_option_function<std::vector<double>>(
            "--shift",
            [&options](const std::vector<double>& shift) {
                options.lattice.shiftX = shift[0];
                options.lattice.shiftY = shift[1];
            },
            "Move the cell edges, in cells along x and y (default 0 0: edges are multiples of the cell size)")
        ->expected(2);
    command->add_option_function<std::string>(
        "--fragments",
        [&options](const std::string& text) {
            if (!parseFragments(text, options.lattice.fragmentsX, options.lattice.fragmentsY))
                throw CLI::ValidationError(
                    "--fragments",
                    "want COLUMNSxROWS of at most 1000x1000, for example 4x3, and not " + text);
            options.chooseFragments = false;
        },
        "Fragments to work through, COLUMNSxROWS (default: by the number of cells)");
    command->add_flag("--alpha", options.alpha, "Write the band Alpha, 255 where there are data");
    command
        ->add_option("--sparse-limit", options.sparseLimit,
                     "Cells with at most so many points are without data")
        ->capture_default_str();
    command->callback([&options] {
        if (options.requests.empty())
            options.requests = {"Positions:Mean:Zdir"};
        Tilewright::App::runRaster(options);
    });
}

/// One line, whatever characters a name in the text has.
int report(std::string what, int status) {
    for (char& c : what)
        c = static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
    std::cerr << "tilewright: " << what << std::endl;
    return status;
}

} // namespace

int main(int argc, char** argv) {
    Tilewright::App::catchInterruptions();
    CLI::App app("Turns point clouds into regular rasters", "tilewright");
    app.set_version_flag("--version", "tilewright " TILEWRIGHT_VERSION);
    app.require_subcommand(1);
    RasterOptions options;
    addRasterCommand(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& asked) {
        return app.exit(asked);
    } catch (const CLI::ParseError& wrong) {
        return report(wrong.what(), wrongUsage);
    } catch (const Tilewright::Io::UsageError& wrong) {
        return report(wrong.what(), wrongUsage);
    } catch (const std::bad_alloc&) {
        return report("not enough memory", failed);
    } catch (const std::exception& failure) {
        return report(failure.what(), failed);
    }
    return std::cout.flush() ? 0 : report("the standard output can't be written", failed);
}
