/// Completion: scripts that let a shell complete the words of a command line.
#pragma once

#include <ostream>
#include <string>

#include <CLI/App.hpp>

namespace Tilewright::App {

/// Adds `completion`, which prints the script for a shell. The script covers all commands of `app`.
void addCompletionCommand(CLI::App& app, std::ostream& out);

} // namespace Tilewright::App
