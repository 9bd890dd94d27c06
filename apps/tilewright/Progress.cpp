#include <apps/tilewright/Progress.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <streambuf>
#include <sys/ioctl.h>
#include <unistd.h>

#include <io/system/NumberText.h>

namespace Tilewright::App {

namespace {

using namespace std::chrono_literals;

volatile std::sig_atomic_t interrupted = 0;

extern "C" void noteInterruption(int) { interrupted = 1; }

/// Unless it is ignored already, for example by a shell that keeps the program running after a logout.
void catchSignal(int signal, int flags) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL)
        return;
    action.sa_handler = noteInterruption;
    action.sa_flags = SA_RESTART | flags;
    sigaction(signal, &action, nullptr);
}

/// A fault of the program itself ends it as usual; the same signal from another process is only noted.
extern "C" void noteUnlessFault(int signal, siginfo_t* info, void*) {
    if (info->si_code == SI_USER) {
        interrupted = 1;
        return;
    }
    std::signal(signal, SIG_DFL);
    // Processor faults come again when the handler returns; others do not.
    if (info->si_code <= 0)
        std::raise(signal);
}

/// All other signals that end a process by default. They may come repeatedly before everything is cleaned up:
/// some report that a limit was reached, or that nobody reads the output.
void catchOtherSignals() {
    for (const int signal :
         {SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM, SIGVTALRM, SIGPROF, SIGPIPE, SIGXCPU, SIGIO, SIGPWR, SIGSTKFLT})
        catchSignal(signal, 0);
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal)
        catchSignal(signal, 0);
    for (const int signal : {SIGILL, SIGTRAP, SIGABRT, SIGBUS, SIGFPE, SIGSEGV, SIGSYS}) {
        struct sigaction action = {};
        if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL)
            continue;
        action.sa_sigaction = noteUnlessFault;
        action.sa_flags = SA_RESTART | SA_SIGINFO;
        sigaction(signal, &action, nullptr);
    }
}

constexpr auto betweenBars = 100ms;
constexpr auto betweenLines = 1s;
/// Shorter runs need no progress.
constexpr auto beforeBars = 200ms;
constexpr auto beforeLines = 2s;
/// A rate over less time is mere noise.
constexpr auto beforePace = 1s;

bool isTerminal() {
    const char* const kind = std::getenv("TERM");
    return isatty(STDERR_FILENO) != 0 && !(kind && std::string_view(kind) == "dumb");
}

/// Some terminals would wrap a line of the full width.
std::size_t lineWidth() {
    constexpr std::size_t usual = 80;
    winsize size = {};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
    return std::min<std::size_t>(isKnown ? size.ws_col : usual, usual) - 1;
}

std::string readableRate(double perSecond, std::string_view unit) {
    constexpr std::string_view prefixes = " kMG";
    std::size_t prefix = 0;
    for (; perSecond >= 999.5 && prefix + 1 < prefixes.size(); ++prefix)
        perSecond /= 1000.0;
    std::string text = Io::roundedNumber(perSecond, 3) + " ";
    if (prefix != 0)
        text += std::string(1, prefixes[prefix]) + " ";
    return text + std::string(unit) + "/s";
}

std::string readableTime(double seconds) {
    const auto whole = static_cast<std::uint64_t>(std::ceil(seconds));
    const auto two = [](std::uint64_t number) {
        return std::string{static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10)};
    };
    if (whole < 3600)
        return std::to_string(whole / 60) + ":" + two(whole % 60);
    return std::to_string(whole / 3600) + ":" + two(whole / 60 % 60) + ":" + two(whole % 60);
}

} // namespace

void catchInterruptions() {
    constexpr auto once = static_cast<int>(SA_RESETHAND);
    // A shell ignores it for background jobs, which users may still want to interrupt.
    std::signal(SIGINT, SIG_DFL);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        catchSignal(signal, once);
    catchOtherSignals();
    // Writing beyond the user's limit then fails like writing to a full disk.
    std::signal(SIGXFSZ, SIG_IGN);
}

bool isInterrupted() { return interrupted != 0; }

ProgressBar::ProgressBar(bool isQuiet)
    : Shown(isQuiet        ? Kind::Silent
            : isTerminal() ? Kind::Bar
                           : Kind::Lines),
      Next((Clock::now() + (Shown == Kind::Bar ? Clock::duration(beforeBars) : Clock::duration(beforeLines)))
               .time_since_epoch()
               .count()) {}

ProgressBar::~ProgressBar() {
    if (Width != 0)
        std::cerr << "\r" << std::string(Width, ' ') << "\r" << std::flush;
}

bool ProgressBar::show(std::string_view step, std::uint64_t done, std::uint64_t total,
                       std::string_view unit) {
    if (isInterrupted())
        return false;
    if (Shown != Kind::Silent && total != 0) {
        const auto now = Clock::now().time_since_epoch().count();
        // The thread that advances the time draws.
        auto next = Next.load(std::memory_order_relaxed);
        const Clock::duration wait = Shown == Kind::Bar ? Clock::duration(betweenBars) : betweenLines;
        if (now >= next && Next.compare_exchange_strong(next, now + wait.count(), std::memory_order_relaxed))
            draw(step, done, total, unit);
    }
    return true;
}

void ProgressBar::draw(std::string_view step, std::uint64_t done, std::uint64_t total,
                       std::string_view unit) {
    const std::lock_guard lock(Drawing);
    if (step != Step) {
        Step = step;
        Start = Clock::now();
        First = Done = done;
        Tenths = 0;
    }
    // Threads overtake each other.
    Done = std::min(std::max(Done, done), total);
    const double share = static_cast<double>(Done) / static_cast<double>(total);
    const std::string text = pace(static_cast<double>(total - Done), unit);
    if (Shown == Kind::Bar)
        drawBar(share, text);
    else
        drawLine(share, text);
}

std::string ProgressBar::pace(double rest, std::string_view unit) const {
    const auto elapsed = Clock::now() - Start;
    if (elapsed < beforePace || Done == First)
        return {};
    const double perSecond =
        static_cast<double>(Done - First) / std::chrono::duration<double>(elapsed).count();
    return (unit.empty() ? "" : ", " + readableRate(perSecond, unit)) + ", " +
           readableTime(rest / perSecond) + " left";
}

void ProgressBar::drawBar(double share, const std::string& pace) {
    constexpr std::size_t longestBar = 30;
    std::string text = std::to_string(static_cast<int>(100.0 * share)) + " %" + pace;
    const std::size_t width = lineWidth();
    const std::size_t other = Step.size() + text.size() + 4;
    if (other < width) {
        const std::size_t length = std::min(longestBar, width - other);
        const auto filled = static_cast<std::size_t>(share * static_cast<double>(length));
        text.insert(0, "[" + std::string(filled, '#').append(length - filled, '.') + "] ");
    }
    text = (Step + " " + text).substr(0, width);
    const std::size_t shown = text.size();
    // Blanks cover the rest of a longer bar.
    text.resize(std::max(shown, std::min(Width, width)), ' ');
    std::cerr << "\r" << text << std::flush;
    Width = shown;
}

void ProgressBar::drawLine(double share, const std::string& pace) {
    const int tenths = static_cast<int>(10.0 * share);
    if (tenths <= Tenths)
        return;
    Tenths = tenths;
    std::cerr << "tilewright: " + Step + " " + std::to_string(static_cast<int>(100.0 * share)) + " %" + pace +
                     "\n"
              << std::flush;
}

} // namespace Tilewright::App
