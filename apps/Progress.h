/// Progress: what the program shows while it works, and how Ctrl-C stops it.
#pragma once

#include <cstdint>
#include <string>

#include <tilewright/substrate/LoaderProgress.h>

namespace Tilewright::App {

/// From now on Ctrl-C, a closed terminal and a termination request are noted instead of ending the process.
void catchInterruptions();
bool isInterrupted();

/// A bar on the standard error stream while it lives, if that is a terminal.
class ProgressBar {
public:
    ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar();

    /// Shows how much of a step is done; false if the user has asked to stop.
    bool show(const std::string& step, std::uint64_t done, std::uint64_t total);

private:
    bool IsTerminal;
    std::string Shown;
};

/// Hands the reports of the library on to a bar.
class FragmentProgress : public Larder::LoaderProgress {
public:
    explicit FragmentProgress(ProgressBar& bar) : Bar(bar) {}

    bool reportProgress(const std::string& what, unsigned done, unsigned total) override;

private:
    ProgressBar& Bar;
};

/// Keeps the standard output free of the library's progress line while it lives: results go there.
class QuietStandardOutput {
public:
    QuietStandardOutput();
    QuietStandardOutput(const QuietStandardOutput&) = delete;
    QuietStandardOutput& operator=(const QuietStandardOutput&) = delete;
    ~QuietStandardOutput();

private:
    std::streambuf* Buffer;
};

} // namespace Tilewright::App
