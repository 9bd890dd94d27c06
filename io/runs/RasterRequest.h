/// RasterRequest: what is asked of a run, and what came of it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <tilewright/export.h>

namespace Tilewright::Io {

struct TILEWRIGHT_API RasterRequest {
    /// Files, folders and patterns.
    std::vector<std::string> inputs;
    std::string output;

    /// "[NAME=]FIELD:FILTER[:DIRECTION]", "[NAME=]count", "[NAME=]rgb" and so on; see the guide.
    std::vector<std::string> bands;
    /// "FIELD:FILTER:DIRECTION" in the library's own terms, or the name of a companion.
    std::vector<std::string> requests;
    /// Each `RANGES@FIELD`, or several with & between them; see the guide to the program. All have to hold.
    std::vector<std::string> selections;
    /// Some of first, last, only and intermediate, with commas between them; empty for all.
    std::string returns;
    /// A vector file with polygons that points have to lie in, or FILE:LAYER; empty for anywhere.
    std::string clip;
    /// A raster of the ground, or the classes of points that are ground, "2,9": either gives heights above
    /// it.
    std::string ground;
    std::string groundClasses;
    /// West, south, east, north; points on the upper edges are outside.
    std::optional<std::array<double, 4>> bounds;
    unsigned sparseLimit = 0;
    bool alpha = false;

    /// Cell sizes along x and y, in the units of the coordinates.
    std::array<double, 2> cell = {1.0, 1.0};
    /// A point that cell edges run through.
    std::array<double, 2> origin = {};
    /// Moves the edges further, in cells.
    std::array<double, 2> shift = {};
    /// A raster that takes the place of all these and of the bounds, and whose coordinate system is taken
    /// too; empty for none.
    std::string like;

    /// Bytes to work with; by default a half of the machine's memory.
    std::optional<std::uint64_t> memory;
    /// By default one for each processor.
    std::optional<unsigned> threads;
    /// Folder for what doesn't fit into memory; by default that of the output.
    std::string scratch;

    /// Names as GDAL has them. Empty: the type goes by what is in the band, the driver by the output's
    /// extension (GTiff where that says nothing).
    std::string pixelType;
    std::string driver;
    std::vector<std::string> creationOptions;
    /// Overrides the coordinate system of the input.
    std::string coordinateSystem;
    /// Overrides the value of cells without data.
    std::optional<double> nodata;
    bool overwrite = false;
    bool stack = false;
    bool overviews = false;
    /// Holes up to so many cells from data are filled; 0 for none.
    double fill = 0.0;
    /// "idw", "nearest" or "tin". Categories are filled by the nearest in any case.
    std::string fillMethod = "idw";
    /// A picture of the first band; empty for none.
    std::string preview;

    /// Stops once everything is known that can be known before the work.
    bool dryRun = false;

    /// Paths that begin with the first text of a pair are written down as if that were the second: what they
    /// are called by whoever asks from another folder.
    std::vector<std::pair<std::string, std::string>> shownAs;
};

struct TILEWRIGHT_API BandReport {
    std::string name;
    std::string path;
    /// What was asked for, in full.
    std::string request;
    /// GDAL's name of the pixel type.
    std::string type;
    std::string unit;
    /// The value of cells without data; none in a band that has no such value.
    std::optional<double> nodata;
    std::uint64_t filled = 0;
    /// Cells without data that were given some, as they lie near others.
    std::uint64_t filledHoles = 0;
    /// Of the cells with data; none if there is no number among them.
    std::optional<std::array<double, 2>> range;
    std::optional<double> mean;
};

struct TILEWRIGHT_API RasterReport {
    std::string cloud;
    std::uint64_t files = 0;
    /// All points of the files.
    std::uint64_t points = 0;
    /// Those that pass the selection and lie within the bounds; all of them are in the raster.
    std::uint64_t rastered = 0;
    /// Those that are not among them only because there is no ground below them.
    std::uint64_t withoutGround = 0;
    std::uint64_t columns = 0;
    std::uint64_t rows = 0;
    std::array<double, 2> cell = {};
    /// West, south, east, north of the raster.
    std::array<double, 4> extent = {};
    /// Cells with at least one point.
    std::uint64_t filled = 0;
    std::string coordinateSystem;
    /// Bytes that the work takes at its peak, roughly, and bytes of all files without compression.
    std::uint64_t memory = 0;
    std::uint64_t outputBytes = 0;
    unsigned threads = 0;
    /// The points lay in no order and were sorted first.
    bool sorted = false;
    double seconds = 0.0;
    bool dryRun = false;
    std::vector<BandReport> bands;
    /// What the user should know, one line each: no point passed the selection, 8-bit colours, and so on.
    std::vector<std::string> notes;
};

} // namespace Tilewright::Io
