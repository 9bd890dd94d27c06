#include <io/HiddenFolder.h>

#include <cerrno>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <io/Errors.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

fs::path folderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

/// How the names of an output's hidden folders begin.
fs::path hiddenPrefix(const fs::path& output) {
    constexpr std::size_t longest = 200; // leaves room below the usual limit of 255
    std::string name = ".";
    name += output.filename().string().substr(0, longest);
    name += ".part-";
    return folderOf(output) / name;
}

/// What mkdtemp puts in place of it.
constexpr std::string_view ending = "XXXXXX";

/// The descriptor of a folder, locked by this process; -1 and errno if it can't be had.
int lockFolder(const fs::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0 || ::flock(descriptor, LOCK_EX | LOCK_NB) == 0)
        return descriptor;
    const int reason = errno;
    ::close(descriptor);
    errno = reason;
    return -1;
}

[[noreturn]] void fail(const fs::path& output, const std::string& why) {
    throw OutputError(output.string() + ": " + why);
}

[[noreturn]] void failToMake(const fs::path& output, const std::error_code& error) {
    fail(output, "its folder takes no new files (" + error.message() + ")");
}

void checkPlace(const fs::path& output) {
    std::error_code ignored;
    if (!output.has_filename() || fs::is_directory(output, ignored))
        fail(output, "is a folder; the output needs the name of a file");
    if (fs::exists(output, ignored) && !fs::is_regular_file(output, ignored))
        fail(output, "is no regular file and is not replaced");
    if (!fs::is_directory(folderOf(output), ignored))
        fail(output, "there is no folder " + folderOf(output).string() + "; create it first");
}

LockedFolder makeFolder(const fs::path& output) {
    checkPlace(output);
    const fs::path prefix = hiddenPrefix(output);
    LockedFolder::removeAbandoned(prefix);
    try {
        return LockedFolder(prefix);
    } catch (const std::system_error& error) {
        failToMake(output, error.code());
    }
}

} // namespace

LockedFolder::LockedFolder(const fs::path& prefix) {
    // Until it is locked another process may take it for an abandoned one, and then the next has to do. Where
    // the file system has no locks nobody takes anything.
    bool isTaken = true;
    while (isTaken) {
        std::string name = prefix.string().append(ending);
        if (!::mkdtemp(name.data()))
            throw std::system_error(errno, std::generic_category());
        place = name;
        descriptor = lockFolder(place);
        if (descriptor < 0)
            isTaken = errno == EWOULDBLOCK || errno == ENOENT;
        else if (isTaken = !fs::exists(place); isTaken)
            ::close(descriptor);
    }
}

LockedFolder::~LockedFolder() { remove(); }

void LockedFolder::remove() {
    std::error_code ignored;
    fs::remove_all(place, ignored);
    if (descriptor >= 0)
        ::close(std::exchange(descriptor, -1));
}

void LockedFolder::removeAbandoned(const fs::path& prefix) {
    std::error_code error;
    const std::string beginning = prefix.filename().string();
    for (fs::directory_iterator entry(prefix.parent_path(), error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (!name.starts_with(beginning) || name.size() != beginning.size() + ending.size())
            continue;
        const int descriptor = lockFolder(entry->path());
        if (descriptor < 0)
            continue;
        std::error_code ignored;
        fs::remove_all(entry->path(), ignored);
        ::close(descriptor);
    }
}

HiddenFolder::HiddenFolder(const fs::path& output)
    : target(output), folder(makeFolder(output)), main(folder.path() / "output" / output.filename()) {
    std::error_code error;
    if (!fs::create_directory(main.parent_path(), error))
        failToMake(target, error);
}

void HiddenFolder::publish() {
    if (published)
        return;
    checkPlace(target);
    std::set<fs::path> outdated;
    for (const char* extension : {".aux.xml", ".ovr", ".msk"})
        outdated.insert(target.string() + extension);
    std::error_code error;
    std::vector<fs::path> made;
    for (const auto& entry : fs::directory_iterator(main.parent_path(), error))
        if (entry.path() != main)
            made.push_back(entry.path());
    made.push_back(main);
    std::vector<fs::path> moved;
    for (const fs::path& file : made) {
        const fs::path place = target.parent_path() / file.filename();
        if (!error)
            fs::rename(file, place, error);
        if (error) {
            std::error_code ignored;
            for (const fs::path& former : moved)
                fs::remove_all(former, ignored);
            fail(target, "cannot be put in place (" + error.message() + ")");
        }
        moved.push_back(place);
        outdated.erase(place);
    }
    published = true;
    for (const fs::path& older : outdated)
        fs::remove(older, error);
    folder.remove();
}

} // namespace Tilewright::Io
