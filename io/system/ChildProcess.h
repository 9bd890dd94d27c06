/// ChildProcess: another program, run without a shell.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Tilewright::Io {

struct ChildOutcome {
    int status = 0;     ///< as waitpid() gives it
    std::string errors; ///< the end of what it wrote to its error output
};

/// Runs a program that is looked for on PATH, with nothing to read and its output dropped, and waits for it.
/// Nothing if there is no such program. Throws InputError if it can't be started. Several times a second
/// `goOn` is asked; when it says no, the program is ended and Interruption thrown. It also ends with this
/// process, and with the thread that started it, however these end.
std::optional<ChildOutcome> runProgram(const std::vector<std::string>& words,
                                       const std::function<bool()>& goOn);

} // namespace Tilewright::Io
