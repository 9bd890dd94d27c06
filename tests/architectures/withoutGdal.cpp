// Stands for io/gdal where GDAL is not there: no file names a coordinate system that is understood.
#include <io/gdal/CoordinateSystem.h>

namespace Tilewright::Io {

std::string coordinateSystemFromWkt(std::string_view) { return {}; }
std::string coordinateSystemFromGeoKeys(const GeoKeys&) { return {}; }

} // namespace Tilewright::Io
