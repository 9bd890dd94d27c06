/// HiddenFolder: a place beside an output where its files are made, and from where they move when all are
/// complete.
///
/// It is in the folder of the output, so that each move is a rename, and is not shared with any other output
/// or process. Unpublished files disappear with the object. What a killed process left behind disappears when
/// the next one works in the same folder. Private to the writers and to what they share folders with.
#pragma once

#include <filesystem>
#include <span>
#include <vector>

#include <io/outputs/OutputGuard.h>

namespace Tilewright::Io {

/// All files in the folder of `main`, with `main` last. Throws std::runtime_error.
std::vector<std::filesystem::path> filesWith(const std::filesystem::path& main);

/// A folder with a lock, which shows other processes that it is in use. The system releases the lock when its
/// holder ends, however that happens.
class LockedFolder {
public:
    /// Makes a folder whose name is `prefix`, which begins with a dot and ends with a hyphen, plus a random
    /// ending. A mark in it identifies it to others. Throws std::system_error.
    explicit LockedFolder(const std::filesystem::path& prefix);
    ~LockedFolder();
    LockedFolder(const LockedFolder&) = delete;
    LockedFolder& operator=(const LockedFolder&) = delete;

    const std::filesystem::path& path() const { return place; }

    /// Removes it before the object ends.
    void remove() noexcept;

    /// Removes those in `parent` that nobody holds, whatever they were for. What cannot be identified or
    /// removed remains, and so does a folder that merely has such a name.
    static void removeAbandoned(const std::filesystem::path& parent);

private:
    std::filesystem::path place;
    int descriptor = -1;
};

class HiddenFolder {
public:
    /// Throws OutputError if `output` is a folder or a device or must not be replaced, or if its folder is
    /// missing or not writable.
    HiddenFolder(const std::filesystem::path& output, OutputGuard guard);

    const std::filesystem::path& output() const { return target; }
    /// Where the output itself is made, under its final name, because some formats name their other files
    /// after it and put them beside it.
    const std::filesystem::path& file() const { return main; }
    /// A folder for files that do not become part of the output.
    const std::filesystem::path& workFolder() const { return folder.path(); }

    /// The final place of a file that is made beside the output.
    std::filesystem::path placeOf(const std::filesystem::path& made) const;

    /// Throws OutputError if any of these files must not be put in place, or if existing files would be taken
    /// for companions of the output and must not be removed.
    void check(const std::vector<std::filesystem::path>& made) const;

    /// Has the system begin to write those files to the disk that will replace older ones, so that a power
    /// cut does not lose both. Many file systems do so by themselves when a file takes the place of another,
    /// but then one file has to wait for the other.
    void writeAhead() const;

    /// Moves the output and all files beside it to the folder of the output, the output itself last, and
    /// removes files that GDAL would take for its companions but that describe an older one. Throws
    /// OutputError if one of them must not be replaced or appears meanwhile, or if the system refuses; then
    /// everything is as before. Repeating it does nothing.
    void publish();

    /// Does the same for several outputs: all of them or none. Older files are removed on up to
    /// `threads` threads.
    static void publishAll(std::span<HiddenFolder* const> folders, unsigned threads = 1);

private:
    /// A file that was put in place; `former` is the one that it replaced, empty for none.
    struct Move {
        std::filesystem::path made, place, former;
    };

    std::vector<std::filesystem::path> outdated(const std::vector<std::filesystem::path>& made) const;
    void putInPlace();
    void put(const std::filesystem::path& made);
    bool setAside(const std::filesystem::path& place, Move& move);
    void takeBack() noexcept;

    std::filesystem::path target;
    OutputGuard guard;
    LockedFolder folder;
    std::filesystem::path main;
    std::vector<Move> moves;
    bool published = false;
};

} // namespace Tilewright::Io
