/// PolygonFile: reads the polygons of a vector file.
#pragma once

#include <array>
#include <filesystem>
#include <string>
#include <vector>

namespace Tilewright::Io {

/// The corners of a closed line, the first of them at the end again or not.
using PolygonRing = std::vector<std::array<double, 2>>;

/// A file, and which of its layers; an empty text for the only one that has polygons.
struct PolygonFileName {
    std::filesystem::path file;
    std::string layer;
};

/// Reads FILE or FILE:LAYER. What exists as a whole is a file.
PolygonFileName polygonFileName(const std::string& text);

struct PolygonRings {
    /// Outlines anticlockwise, holes clockwise; those of one polygon do not cross.
    std::vector<PolygonRing> rings;
    /// What the user should know of them, one line each.
    std::vector<std::string> notes;
};

/// Reads all polygons, with their corners transformed into the given system; empty for none. Polygons that
/// cross themselves are repaired, curves become lines. Throws InputError for a file that can't be read, that
/// has no such layer or no polygons, and for coordinates that can't be transformed.
PolygonRings readPolygons(const std::string& text, const std::string& system);

} // namespace Tilewright::Io
