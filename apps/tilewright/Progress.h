/// Progress: what the program shows while it works, and how Ctrl-C stops it.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace Tilewright::App {

/// From now on, signals that would end the process (Ctrl-C, a closed terminal, a termination request and all
/// others) are only noted, so that the program can clean up. A second one of the first three ends it.
void catchInterruptions();
bool isInterrupted();

/// Shows progress on the standard error stream while the object lives: a bar on a terminal, otherwise a line
/// now and then. Runs of less than two seconds show no lines, and quiet runs nothing at all.
class ProgressBar {
public:
    explicit ProgressBar(bool isQuiet = false);
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar();

    /// Shows how much of a step is done. Returns false if the user has asked to stop. `unit` names what is
    /// counted, for the rate; empty for no rate. Several threads may call it during one step. Unless
    /// something is due to be drawn, it only reads the clock.
    bool show(std::string_view step, std::uint64_t done, std::uint64_t total,
              std::string_view unit = "points");

private:
    using Clock = std::chrono::steady_clock;

    void draw(std::string_view step, std::uint64_t done, std::uint64_t total, std::string_view unit);
    void drawBar(double share, const std::string& pace);
    void drawLine(double share, const std::string& pace);
    /// Rate and remaining time, as far as they are known.
    std::string pace(double rest, std::string_view unit) const;

    enum class Kind { Silent, Lines, Bar };

    const Kind Shown;
    std::atomic<Clock::rep> Next;
    std::mutex Drawing;
    /// The step, and its state when it was first seen.
    std::string Step;
    Clock::time_point Start;
    std::uint64_t First = 0;
    std::uint64_t Done = 0;
    /// Width of the bar on the screen.
    std::size_t Width = 0;
    /// Tenths of the step that lines have reported.
    int Tenths = 0;
};

} // namespace Tilewright::App
