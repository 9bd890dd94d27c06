#include "RasterCommand.h"

namespace Tilewright::App {

RasterReport runRaster(const RasterOptions&, ProgressBar&) { return {}; }

} // namespace Tilewright::App
