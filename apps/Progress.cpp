#include "Progress.h"

#include <csignal>
#include <iostream>
#include <unistd.h>

namespace Tilewright::App {

namespace {

volatile std::sig_atomic_t interrupted = 0;

extern "C" void noteInterruption(int) { interrupted = 1; }

constexpr std::uint64_t barWidth = 40;

} // namespace

void catchInterruptions() {
    std::signal(SIGINT, noteInterruption);
    std::signal(SIGTERM, noteInterruption);
    // Whoever runs the program beyond the end of a login has it ignored already.
    if (std::signal(SIGHUP, noteInterruption) == SIG_IGN)
        std::signal(SIGHUP, SIG_IGN);
    // A file beyond the user's limit then fails to be written, like one on a full disk.
    std::signal(SIGXFSZ, SIG_IGN);
}

bool isInterrupted() { return interrupted != 0; }

ProgressBar::ProgressBar() : IsTerminal(isatty(STDERR_FILENO) != 0) {}

ProgressBar::~ProgressBar() {
    if (!Shown.empty())
        std::cerr << "\r" << std::string(Shown.size(), ' ') << "\r" << std::flush;
}

bool ProgressBar::show(const std::string& step, std::uint64_t done, std::uint64_t total) {
    if (IsTerminal && total != 0) {
        const auto filled = static_cast<std::size_t>(barWidth * done / total);
        std::string text = step + " [" + std::string(filled, '#') + std::string(barWidth - filled, '.') +
                           "] " + std::to_string(100 * done / total) + " %";
        text.resize(std::max(text.size(), Shown.size()), ' ');
        if (text != Shown)
            std::cerr << "\r" << text << std::flush;
        Shown = text;
    }
    return !isInterrupted();
}

bool FragmentProgress::reportProgress(const std::string&, unsigned done, unsigned total) {
    return Bar.show("rastering", done, total);
}

QuietStandardOutput::QuietStandardOutput() : Buffer(std::cout.rdbuf(nullptr)) {}

QuietStandardOutput::~QuietStandardOutput() { std::cout.rdbuf(Buffer); }

} // namespace Tilewright::App
