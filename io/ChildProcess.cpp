#include <io/ChildProcess.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <io/Interruption.h>

namespace Tilewright::Io {

namespace {

/// How often somebody who wants to stop is listened to.
constexpr int waitMilliseconds = 100;
constexpr std::size_t errorsKept = 4096;

constexpr pid_t noProgram = -1;

[[noreturn]] void fail(const std::string& program, int code) {
    throw InputError(program + ": cannot be started: " + std::generic_category().message(code));
}

/// The end of a pipe from which we read, and the one to which the child writes.
class Pipe {
public:
    explicit Pipe(const std::string& program) {
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            fail(program, errno);
    }
    ~Pipe() {
        ::close(ends[0]);
        closeWriting();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void closeWriting() {
        if (ends[1] >= 0)
            ::close(ends[1]);
        ends[1] = -1;
    }

    std::array<int, 2> ends = {-1, -1};
};

/// Ends the program if nobody waits for it any more.
class Child {
public:
    explicit Child(pid_t id) : id(id) {}
    ~Child() {
        if (isRunning) {
            ::kill(id, SIGKILL);
            wait(0);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// True when it has ended.
    bool wait(int flags) {
        pid_t ended = 0;
        do
            ended = ::waitpid(id, &status, flags);
        while (ended < 0 && errno == EINTR);
        isRunning = ended == 0;
        return !isRunning;
    }

    int status = 0;

private:
    pid_t id;
    bool isRunning = true;
};

pid_t spawn(std::vector<std::string> words, int errorOutput) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, errorOutput, STDERR_FILENO);
    pid_t id = 0;
    const int code = ::posix_spawnp(&id, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (code != 0 && code != ENOENT)
        fail(words.front(), code);
    return code == 0 ? id : noProgram;
}

enum class Listened { Heard, Nothing, AllSaid };

/// Takes what the child says within a time.
Listened listen(int descriptor, int milliseconds, std::string& errors) {
    pollfd waiting = {descriptor, POLLIN, 0};
    if (::poll(&waiting, 1, milliseconds) <= 0)
        return Listened::Nothing;
    std::array<char, 1024> bytes;
    const ssize_t n = ::read(descriptor, bytes.data(), bytes.size());
    if (n <= 0)
        return n < 0 && errno == EINTR ? Listened::Nothing : Listened::AllSaid;
    errors.append(bytes.data(), static_cast<std::size_t>(n));
    if (errors.size() > errorsKept)
        errors.erase(0, errors.size() - errorsKept);
    return Listened::Heard;
}

} // namespace

std::optional<ChildOutcome> runProgram(const std::vector<std::string>& words,
                                       const std::function<bool()>& goOn) {
    Pipe pipe(words.front());
    const pid_t id = spawn(words, pipe.ends[1]);
    if (id == noProgram)
        return std::nullopt;
    Child child(id);
    pipe.closeWriting();
    ChildOutcome outcome;
    bool isTalking = true;
    while (!child.wait(WNOHANG)) {
        if (!goOn())
            throw Interruption();
        if (isTalking)
            isTalking = listen(pipe.ends[0], waitMilliseconds, outcome.errors) != Listened::AllSaid;
        else
            ::poll(nullptr, 0, waitMilliseconds);
    }
    // An interruption from the keyboard reaches both, and the child may call it a failure.
    if (!goOn())
        throw Interruption();
    // What is still in the pipe; something that it has started may keep it open.
    while (listen(pipe.ends[0], 0, outcome.errors) == Listened::Heard) {
    }
    outcome.status = child.status;
    return outcome;
}

} // namespace Tilewright::Io
