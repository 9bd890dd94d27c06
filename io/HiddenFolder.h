/// HiddenFolder: a place beside an output where its files come into being, and from where they are moved when
/// all is complete.
///
/// It lies in the folder of the output, so that each move is a rename, and is shared with no other output or
/// process. What has not been published goes away with the object; what a killed process left behind goes
/// away when the next one writes the same output. Private to the writers.
#pragma once

#include <filesystem>

namespace Tilewright::Io {

/// A folder with a lock on it, by which other processes see that it is in use. The system takes the lock back
/// when its holder ends, however that happens.
class LockedFolder {
public:
    /// A new one, its name `prefix` with an unlikely ending. Throws std::system_error.
    explicit LockedFolder(const std::filesystem::path& prefix);
    ~LockedFolder();
    LockedFolder(const LockedFolder&) = delete;
    LockedFolder& operator=(const LockedFolder&) = delete;

    const std::filesystem::path& path() const { return place; }

    /// Removes it before the object goes.
    void remove();

    /// Removes those with this prefix that nobody holds. What can't be told or removed stays.
    static void removeAbandoned(const std::filesystem::path& prefix);

private:
    std::filesystem::path place;
    int descriptor = -1;
};

class HiddenFolder {
public:
    /// Throws OutputError if `output` is a folder or a device, or if its folder is missing or takes nothing.
    explicit HiddenFolder(const std::filesystem::path& output);

    const std::filesystem::path& output() const { return target; }
    /// Where the output itself is made, under its final name: some formats name their other files after it,
    /// and put them beside it.
    const std::filesystem::path& file() const { return main; }
    /// For files that do not become part of the output.
    const std::filesystem::path& workFolder() const { return folder.path(); }

    /// Moves the output and all files beside it to the folder of the output, the output itself last, and
    /// removes those that GDAL would take for its companions but that describe an older one. Throws
    /// OutputError if the system refuses. Repeating it does nothing.
    void publish();

private:
    std::filesystem::path target;
    LockedFolder folder;
    std::filesystem::path main;
    bool published = false;
};

} // namespace Tilewright::Io
