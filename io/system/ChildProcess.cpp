#include <io/system/ChildProcess.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <io/system/StepReport.h>

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

/// What a new process does until it is another program. Only calls that are safe in the copy of a process
/// with threads; gives the reason if one fails.
int become(char* const* arguments, const std::string& program, int errorOutput, pid_t parent) {
    // Whatever happens to the parent, nobody else would end the child.
    if (::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0)
        return errno;
    if (::getppid() != parent)
        return ESRCH;
    // Handlers don't outlive the change of programs, but what is ignored does.
    for (const int signal : {SIGXFSZ, SIGPIPE})
        ::signal(signal, SIG_DFL);
    const int input = ::open("/dev/null", O_RDONLY | O_CLOEXEC),
              output = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (::dup2(input, STDIN_FILENO) < 0 || ::dup2(output, STDOUT_FILENO) < 0 ||
        ::dup2(errorOutput, STDERR_FILENO) < 0)
        return errno;
    ::execv(program.c_str(), arguments);
    return errno;
}

/// Empty if there is no such program on PATH.
std::string findProgram(const std::string& name) {
    const char* const folders = std::getenv("PATH");
    std::istringstream list(folders ? folders : "/usr/bin:/bin");
    for (std::string folder; std::getline(list, folder, ':');) {
        const std::string path = (folder.empty() ? "." : folder) + "/" + name;
        struct stat status = {};
        if (::access(path.c_str(), X_OK) == 0 && ::stat(path.c_str(), &status) == 0 &&
            S_ISREG(status.st_mode))
            return path;
    }
    return {};
}

pid_t spawn(std::vector<std::string> words, int errorOutput) {
    const std::string program = findProgram(words.front());
    if (program.empty())
        return noProgram;
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    // Closes when the child has become the program, and gives the reason if it has not.
    Pipe failure(words.front());
    const pid_t parent = ::getpid();
    const pid_t id = ::fork();
    if (id < 0)
        fail(words.front(), errno);
    if (id == 0) {
        const int reason = become(arguments.data(), program, errorOutput, parent);
        const bool isTold = ::write(failure.ends[1], &reason, sizeof reason) == sizeof reason;
        ::_exit(isTold ? 127 : 126);
    }
    failure.closeWriting();
    int reason = 0;
    ssize_t n = 0;
    do
        n = ::read(failure.ends[0], &reason, sizeof reason);
    while (n < 0 && errno == EINTR);
    if (n != sizeof reason)
        return id;
    ::waitpid(id, nullptr, 0);
    fail(words.front(), reason);
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
