/// HiddenFolder: a place beside an output where its files come into being, and from where they are moved when
/// all is complete.
///
/// It lies in the folder of the output, so that each move is a rename, and is shared with no other output or
/// process. What has not been published goes away with the object; what a killed process left behind goes
/// away when the next one works in the same folder. Private to the writers and to what they share folders
/// with.
#pragma once

#include <filesystem>
#include <span>
#include <vector>

#include <io/outputs/OutputGuard.h>

namespace Tilewright::Io {

/// All files of the folder of `main`, that one last. Throws std::runtime_error.
std::vector<std::filesystem::path> filesWith(const std::filesystem::path& main);

/// A folder with a lock on it, by which other processes see that it is in use. The system takes the lock back
/// when its holder ends, however that happens.
class LockedFolder {
public:
    /// A new one, its name `prefix`, which begins with a dot and ends with a hyphen, with an unlikely ending.
    /// It has a mark in it, by which others see whose it is. Throws std::system_error.
    explicit LockedFolder(const std::filesystem::path& prefix);
    ~LockedFolder();
    LockedFolder(const LockedFolder&) = delete;
    LockedFolder& operator=(const LockedFolder&) = delete;

    const std::filesystem::path& path() const { return place; }

    /// Removes it before the object goes.
    void remove() noexcept;

    /// Removes those in `parent` that nobody holds, whatever they were for. What can't be told or removed
    /// stays, and so does a folder that only has such a name.
    static void removeAbandoned(const std::filesystem::path& parent);

private:
    std::filesystem::path place;
    int descriptor = -1;
};

class HiddenFolder {
public:
    /// Throws OutputError if `output` is a folder or a device or must not be replaced, or if its folder is
    /// missing or takes nothing.
    HiddenFolder(const std::filesystem::path& output, OutputGuard guard);

    const std::filesystem::path& output() const { return target; }
    /// Where the output itself is made, under its final name: some formats name their other files after it,
    /// and put them beside it.
    const std::filesystem::path& file() const { return main; }
    /// For files that do not become part of the output.
    const std::filesystem::path& workFolder() const { return folder.path(); }

    /// Where a file goes that is made beside the output.
    std::filesystem::path placeOf(const std::filesystem::path& made) const;

    /// Throws OutputError if any of these files must not be put in place, or if there are files that would be
    /// taken for companions of the output and must not go.
    void check(const std::vector<std::filesystem::path>& made) const;

    /// Moves the output and all files beside it to the folder of the output, the output itself last, and
    /// removes those that GDAL would take for its companions but that describe an older one. Throws
    /// OutputError if one of them must not be replaced, appears meanwhile, or if the system refuses; then all
    /// is as before. Repeating it does nothing.
    void publish();

    /// The same for several: all of them or none.
    static void publishAll(std::span<HiddenFolder* const> folders);

private:
    /// A file that has been put in place; `former` is the one that was there, empty for none.
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
