/// VectorReader: the points of vector files such as GeoPackages, Shapefiles and GeoJSON, as GDAL reads them.
///
/// All layers of points and of multipoints are taken, in their order, with the numeric attributes that each
/// of them has. A point without a value of an attribute has NaN there.
#pragma once

#include <filesystem>
#include <memory>

#include <io/formats/ReadOptions.h>
#include <io/records/PointSource.h>

namespace Tilewright::Io {

/// Null if the file is no vector file. Throws InputError if it is one, but has no points, points without
/// heights, layers in several coordinate systems, or can't be read to its end.
std::unique_ptr<PointSource> readVector(const std::filesystem::path& path, const ReadOptions& options);

} // namespace Tilewright::Io
