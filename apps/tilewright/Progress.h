/// Progress: what the program shows while it works, and how Ctrl-C stops it.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace Tilewright::App {

/// From now on Ctrl-C, a closed terminal, a termination request and whatever other signal would end the
/// process are noted instead, so that nothing is left behind. A second one of the first three ends it.
void catchInterruptions();
bool isInterrupted();

/// How far the work is, on the standard error stream: a bar while it lives if that is a terminal, else a line
/// now and then. A run of less than two seconds shows no lines, and one that is quiet nothing at all.
class ProgressBar {
public:
    explicit ProgressBar(bool isQuiet = false);
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar();

    /// Shows how much of a step is done; false if the user has asked to stop. `unit` is what is counted, for
    /// the rate; empty for none. Several threads may call it, of one step at a time; it costs a look at the
    /// clock unless something is to be drawn.
    bool show(std::string_view step, std::uint64_t done, std::uint64_t total,
              std::string_view unit = "points");

private:
    using Clock = std::chrono::steady_clock;

    void draw(std::string_view step, std::uint64_t done, std::uint64_t total, std::string_view unit);
    void drawBar(double share, const std::string& pace);
    void drawLine(double share, const std::string& pace);
    /// Rate, and time left for the rest, as far as they can be told.
    std::string pace(double rest, std::string_view unit) const;

    enum class Kind { Silent, Lines, Bar };

    const Kind Shown;
    std::atomic<Clock::rep> Next;
    std::mutex Drawing;
    /// The step, and where it stood when it was first seen.
    std::string Step;
    Clock::time_point Start;
    std::uint64_t First = 0;
    std::uint64_t Done = 0;
    /// Of the bar.
    std::size_t Width = 0;
    /// Tenths of the step that a line has told.
    int Tenths = 0;
};

} // namespace Tilewright::App
