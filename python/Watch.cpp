#include <python/Watch.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <string>
#include <thread>

namespace py = pybind11;

namespace Tilewright::Python {

namespace {

/// The time between two looks of the calling thread at signals and progress.
constexpr std::chrono::milliseconds interval(100);

struct Step {
    std::string name;
    std::string unit;
    std::uint64_t done = 0;
    std::uint64_t total = 0;
    bool isNew = false;
};

/// Work on a thread of its own.
class WatchedWork {
public:
    explicit WatchedWork(const std::function<void(const Io::RunProgress&)>& work)
        : Worker([this, &work] { run(work); }) {}
    WatchedWork(const WatchedWork&) = delete;
    WatchedWork& operator=(const WatchedWork&) = delete;
    /// Stops the work. The GIL must not be held.
    ~WatchedWork() {
        Stop = true;
        if (Worker.joinable())
            Worker.join();
    }

    /// Waits for a moment. Whether the work is done.
    bool wait() {
        std::unique_lock lock(Mutex);
        return Over.wait_for(lock, interval, [this] { return IsOver; });
    }

    /// The last that was reported, unless it was taken before.
    Step takeStep() {
        const std::lock_guard guard(Mutex);
        Step step = Reported;
        Reported.isNew = false;
        return step;
    }

    /// What was reported last is done.
    void completeStep() {
        const std::lock_guard guard(Mutex);
        Reported.done = Reported.total;
        Reported.isNew = !Reported.name.empty();
    }

    /// Throws what the work has thrown. For work that is done.
    void finish() {
        Worker.join();
        if (Failure)
            std::rethrow_exception(Failure);
    }

private:
    void run(const std::function<void(const Io::RunProgress&)>& work) noexcept {
        try {
            work([this](std::string_view step, std::uint64_t done, std::uint64_t total,
                        std::string_view unit) { return report(step, done, total, unit); });
        } catch (...) {
            Failure = std::current_exception();
        }
        const std::lock_guard guard(Mutex);
        IsOver = true;
        Over.notify_one();
    }

    bool report(std::string_view step, std::uint64_t done, std::uint64_t total, std::string_view unit) {
        // Whoever finds it in use leaves it to the next report.
        if (const std::unique_lock lock(Mutex, std::try_to_lock); lock) {
            Reported.done = done;
            Reported.total = total;
            Reported.isNew = true;
            if (Reported.name != step) {
                Reported.name = step;
                Reported.unit = unit;
            }
        }
        return !Stop;
    }

    std::mutex Mutex;
    std::condition_variable Over;
    std::atomic<bool> Stop = false;
    bool IsOver = false;
    Step Reported;
    std::exception_ptr Failure;
    /// The last member: it uses the others.
    std::thread Worker;
};

void show(const py::object& callback, WatchedWork& work) {
    if (callback.is_none())
        return;
    if (const Step step = work.takeStep(); step.isNew)
        callback(step.name, step.done, step.total, step.unit);
}

} // namespace

void doWatched(const py::object& callback, const std::function<void(const Io::RunProgress&)>& work) {
    const py::gil_scoped_release free;
    WatchedWork watched(work);
    while (!watched.wait()) {
        const py::gil_scoped_acquire held;
        if (PyErr_CheckSignals() != 0)
            throw py::error_already_set();
        show(callback, watched);
    }
    watched.finish();
    watched.completeStep();
    const py::gil_scoped_acquire held;
    show(callback, watched);
}

} // namespace Tilewright::Python
