/// RasterArguments: the command line of `tilewright raster`.
#pragma once

#include <functional>

#include <CLI/App.hpp>

#include <io/runs/RasterRequest.h>

namespace Tilewright::App {

struct RasterArguments {
    Io::RasterRequest options;
    bool quiet = false;
    bool json = false;
};

/// Calls `run` if the command line asks for it; what it throws ends the parsing.
void addRasterCommand(CLI::App& app, std::function<void(const RasterArguments&)> run);

} // namespace Tilewright::App
