/// RasterSummary: the report of a run, for people and for programs.
#pragma once

#include <ostream>

#include <io/runs/RasterRequest.h>

namespace Tilewright::App {

void printSummary(std::ostream& out, const Io::RasterReport& report);
/// One object; docs/tilewright.1 documents its members.
void printJson(std::ostream& out, const Io::RasterReport& report);

} // namespace Tilewright::App
