/// RasterArguments: the command line of `tilewright raster`.
#pragma once

#include <functional>
#include <memory>
#include <ostream>

#include <CLI/App.hpp>

#include <io/runs/RasterRequest.h>

namespace Tilewright::App {

struct RasterArguments {
    Io::RasterRequest options;
    bool quiet = false;
    bool json = false;
};

/// Adds the files and options of a raster to a command, but for those of its report. The result is to be
/// called when the words are read: it completes the arguments, and throws CLI::ParseError where words make no
/// sense together. It gives false if they only ask for the table of bands, which it prints on `out`.
std::function<bool()> addRasterOptions(CLI::App& command, std::ostream& out,
                                       const std::shared_ptr<RasterArguments>& arguments);

/// Calls `run` if the command line asks for a raster; what it throws ends the parsing. What else it asks for
/// is printed on `out`.
void addRasterCommand(CLI::App& app, std::ostream& out, std::function<void(const RasterArguments&)> run);

} // namespace Tilewright::App
