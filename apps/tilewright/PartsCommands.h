/// PartsCommands: plan, part, join and status, which make a raster in parts.
#pragma once

#include <ostream>

#include <CLI/App.hpp>

namespace Tilewright::App {

void addPartsCommands(CLI::App& app, std::ostream& out);

} // namespace Tilewright::App
