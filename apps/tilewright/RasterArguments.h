/// RasterArguments: the command line of `tilewright raster`.
#pragma once

#include <functional>
#include <ostream>

#include <CLI/App.hpp>

#include <io/runs/RasterRequest.h>

namespace Tilewright::App {

struct RasterArguments {
    Io::RasterRequest options;
    bool quiet = false;
    bool json = false;
};

/// Calls `run` if the command line asks for a raster; what it throws ends the parsing. What else it asks for
/// is printed on `out`.
void addRasterCommand(CLI::App& app, std::ostream& out, std::function<void(const RasterArguments&)> run);

} // namespace Tilewright::App
