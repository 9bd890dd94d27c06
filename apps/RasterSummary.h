/// RasterSummary: what came of a raster, for people and for programs.
#pragma once

#include <ostream>

#include "RasterOptions.h"

namespace Tilewright::App {

void printSummary(std::ostream& out, const RasterReport& report);
/// One object; docs/tilewright.1 tells its members.
void printJson(std::ostream& out, const RasterReport& report);

} // namespace Tilewright::App
