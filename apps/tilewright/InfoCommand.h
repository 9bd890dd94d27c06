/// InfoCommand: `tilewright info`, what point files hold.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include <CLI/App.hpp>

namespace Tilewright::App {

struct InfoOptions {
    /// Files, folders and patterns.
    std::vector<std::string> inputs;
    /// By default one for each processor.
    unsigned threads = 0;
    bool json = false;
    bool quiet = false;
};

/// Reads all points and tells about them on `out`. Throws Io::Error.
void runInfo(const InfoOptions& options, std::ostream& out);

void addInfoCommand(CLI::App& app, std::ostream& out);

} // namespace Tilewright::App
