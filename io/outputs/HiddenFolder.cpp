#include <io/outputs/HiddenFolder.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <io/system/Errors.h>
#include <io/system/Parallel.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

fs::path folderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

/// The first part of the names of an output's hidden folders.
fs::path hiddenPrefix(const fs::path& output) {
    constexpr std::size_t longest = 200; // leaves room below the usual limit of 255
    std::string name = ".";
    name += output.filename().string().substr(0, longest);
    name += ".part-";
    return folderOf(output) / name;
}

/// mkdtemp replaces it.
constexpr std::string_view ending = "XXXXXX";

/// A folder in each of ours, so that folders with a similar name are left alone. Making it takes no
/// descriptor.
constexpr const char* mark = ".tilewright";

int openFolder(const fs::path& folder) {
    return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

/// All but `kept`. Needs a single descriptor however deep the tree is, because this must work even if all
/// others are in use.
void removeContent(const fs::path& folder, const fs::path& kept) {
    std::error_code error;
    std::vector<fs::path> entries;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
        if (entry->path() != kept)
            entries.push_back(entry->path());
    for (const fs::path& entry : entries) {
        if (fs::symlink_status(entry, error).type() == fs::file_type::directory)
            removeContent(entry, kept);
        fs::remove(entry, error);
    }
}

/// Of one of ours that has lost its mark: nobody else gives a folder this one bit, which has no use there.
constexpr fs::perms lastPermissions = fs::perms::owner_all | fs::perms::sticky_bit;

/// The mark goes last. Whenever the process is killed, the next one knows the folder.
void removeMarked(const fs::path& folder) {
    std::error_code error;
    removeContent(folder, folder / mark);
    fs::permissions(folder, lastPermissions, error);
    fs::remove(folder / mark, error);
    fs::remove(folder, error);
}

/// Moves a file to a place where nothing is. If that fails, returns false with the reason in errno.
bool moveToFreePlace(const fs::path& from, const fs::path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
        return false;
    // File systems without such a move can still create a file exclusively, which may then be replaced.
    std::error_code error;
    const bool isFolder = fs::is_directory(from, error);
    const int placeholder = isFolder ? ::mkdir(to.c_str(), S_IRWXU)
                                     : ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR);
    if (placeholder < 0)
        return false;
    if (!isFolder)
        ::close(placeholder);
    if (::rename(from.c_str(), to.c_str()) == 0)
        return true;
    const int reason = errno;
    fs::remove(to, error);
    errno = reason;
    return false;
}

[[noreturn]] void fail(const fs::path& output, const std::string& why) {
    throw OutputError(output.string() + ": " + why);
}

[[noreturn]] void failToMake(const fs::path& output, const std::error_code& error) {
    fail(output, "cannot create files in its folder (" + error.message() + ")");
}

void checkPlace(const fs::path& output) {
    std::error_code ignored;
    if (!output.has_filename() || fs::is_directory(output, ignored))
        fail(output, "is a folder; the output must be the name of a file");
    if (fs::exists(output, ignored) && !fs::is_regular_file(output, ignored))
        fail(output, "is not a regular file and is not replaced");
    if (!fs::is_directory(folderOf(output), ignored))
        fail(output, "the folder " + folderOf(output).string() + " does not exist; create it first");
}

LockedFolder makeFolder(const fs::path& output, const OutputGuard& guard) {
    checkPlace(output);
    guard.check(output, output);
    const fs::path prefix = hiddenPrefix(output);
    LockedFolder::removeAbandoned(folderOf(output));
    try {
        return LockedFolder(prefix);
    } catch (const std::system_error& error) {
        failToMake(output, error.code());
    }
}

} // namespace

std::vector<fs::path> filesWith(const fs::path& main) {
    std::error_code error;
    std::vector<fs::path> files;
    for (fs::directory_iterator entry(main.parent_path(), error), end; !error && entry != end;
         entry.increment(error))
        if (entry->path() != main)
            files.push_back(entry->path());
    if (error)
        throw std::runtime_error("its files can't be listed (" + error.message() + ")");
    files.push_back(main);
    return files;
}

LockedFolder::LockedFolder(const fs::path& prefix) {
    std::string name = prefix.string().append(ending);
    if (!::mkdtemp(name.data()))
        throw std::system_error(errno, std::generic_category());
    place = name;
    descriptor = openFolder(place);
    // Without the mark nobody considers it abandoned, which leaves time to lock it. On file systems without
    // locks nobody removes anything.
    while (descriptor >= 0 && ::flock(descriptor, LOCK_EX) != 0 && errno == EINTR) {
    }
    if (descriptor < 0 || ::mkdir((place / mark).c_str(), S_IRWXU) != 0) {
        const int reason = errno;
        remove();
        throw std::system_error(reason, std::generic_category());
    }
}

LockedFolder::~LockedFolder() { remove(); }

void LockedFolder::remove() noexcept {
    // Closed first, because there may be no other descriptor for reading the folder.
    if (descriptor >= 0)
        ::close(std::exchange(descriptor, -1));
    try {
        removeMarked(place);
    } catch (const std::exception&) { // If memory is short, it remains until the next run.
    }
}

void LockedFolder::removeAbandoned(const fs::path& parent) {
    std::error_code error;
    for (fs::directory_iterator entry(parent, error), end; !error && entry != end; entry.increment(error)) {
        const fs::path& path = entry->path();
        const std::string name = path.filename().string();
        if (!name.starts_with('.') || name.size() <= ending.size() ||
            name[name.size() - ending.size() - 1] != '-')
            continue;
        const int descriptor = openFolder(path);
        if (descriptor < 0)
            continue;
        std::error_code ignored;
        if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
            if (fs::is_directory(fs::symlink_status(path / mark, ignored)))
                removeMarked(path);
            else if (fs::symlink_status(path, ignored).permissions() == lastPermissions)
                fs::remove(path, ignored); // Only if it is empty.
        }
        ::close(descriptor);
    }
}

HiddenFolder::HiddenFolder(const fs::path& output, OutputGuard rules)
    : target(output), guard(std::move(rules)), folder(makeFolder(output, guard)),
      main(folder.path() / "output" / output.filename()) {
    for (const fs::path& part : {main.parent_path(), folder.path() / "former"})
        if (std::error_code error; !fs::create_directory(part, error))
            failToMake(target, error);
}

fs::path HiddenFolder::placeOf(const fs::path& made) const { return target.parent_path() / made.filename(); }

std::vector<fs::path> HiddenFolder::outdated(const std::vector<fs::path>& made) const {
    const auto output = std::ranges::find(made, target.filename(), &fs::path::filename);
    std::vector<fs::path> files = OutputGuard::companionsOf(target, output != made.end() ? *output : main);
    std::erase_if(files, [&](const fs::path& file) {
        return std::ranges::find(made, file.filename(), &fs::path::filename) != made.end();
    });
    return files;
}

void HiddenFolder::check(const std::vector<fs::path>& made) const {
    for (const fs::path& file : made)
        guard.check(target, placeOf(file), file);
    for (const fs::path& file : outdated(made))
        guard.check(target, file);
}

/// Saves the file at a place, or removes it if nothing will replace it. Returns false if there is none.
bool HiddenFolder::setAside(const fs::path& place, Move& move) {
    const fs::path former = folder.path() / "former" / place.filename();
    std::error_code error;
    if (!guard.check(target, place, move.made))
        return false;
    // With a second name the older file remains until the very moment when the new one appears.
    if (!move.made.empty())
        fs::create_hard_link(place, former, error);
    if (move.made.empty() || error)
        fs::rename(place, former, error);
    if (error)
        fail(target, "cannot be put in place (" + error.message() + ")");
    move.former = former;
    return true;
}

void HiddenFolder::put(const fs::path& made) {
    // An equal file may stay where it is: it may belong to others as well.
    if (made != main && guard.check(target, placeOf(made), made) &&
        OutputGuard::haveSameBytes(made, placeOf(made)))
        return;
    // Another process may create or remove the older file meanwhile.
    for (int attempt = 0; attempt < 3; ++attempt) {
        Move move{made, placeOf(made), {}};
        const bool replaces = setAside(move.place, move);
        moves.push_back(move);
        if (replaces ? ::rename(made.c_str(), move.place.c_str()) == 0 : moveToFreePlace(made, move.place))
            return;
        const int reason = errno;
        moves.back().made.clear();
        if (replaces || reason != EEXIST)
            fail(target, "cannot be put in place (" + std::generic_category().message(reason) + ")");
        moves.pop_back();
    }
    fail(target, "cannot be put in place, because other processes write there too");
}

void HiddenFolder::putInPlace() {
    if (published)
        return;
    checkPlace(target);
    std::vector<fs::path> made;
    try {
        made = filesWith(main);
    } catch (const std::runtime_error& error) {
        fail(target, error.what());
    }
    check(made);
    try {
        for (const fs::path& file : outdated(made)) {
            Move move{{}, file, {}};
            if (setAside(file, move))
                moves.push_back(move);
        }
        for (const fs::path& file : made)
            put(file);
    } catch (...) {
        takeBack();
        throw;
    }
    published = true;
}

void HiddenFolder::takeBack() noexcept {
    std::error_code ignored;
    for (auto move = moves.rbegin(); move != moves.rend(); ++move)
        if (!move->former.empty())
            fs::rename(move->former, move->place, ignored);
        else if (!move->made.empty())
            fs::rename(move->place, move->made, ignored);
    moves.clear();
    published = false;
}

void HiddenFolder::writeAhead() const {
    std::error_code error;
    for (const fs::path& file : filesWith(main)) {
        if (!fs::exists(placeOf(file), error))
            continue;
        const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
        if (descriptor < 0)
            continue;
        // Where the system can't, it will do so when the file is moved.
        ::sync_file_range(descriptor, 0, 0, SYNC_FILE_RANGE_WRITE);
        ::close(descriptor);
    }
}

void HiddenFolder::publish() {
    HiddenFolder* const self = this;
    publishAll({&self, 1});
}

void HiddenFolder::publishAll(std::span<HiddenFolder* const> folders, unsigned threads) {
    std::vector<HiddenFolder*> done;
    try {
        for (HiddenFolder* const folder : folders)
            if (!folder->published) {
                folder->putInPlace();
                done.push_back(folder);
            }
    } catch (...) {
        for (auto folder = done.rbegin(); folder != done.rend(); ++folder)
            (*folder)->takeBack();
        throw;
    }
    forEachPiece(threads, done.size(), [&](std::size_t i) { done[i]->folder.remove(); });
}

} // namespace Tilewright::Io
