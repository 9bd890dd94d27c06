/// HiddenFolder: a place beside an output where its files come into being, and from where they are moved when
/// all is complete.
///
/// It lies in the folder of the output, so that each move is a rename, and is shared with no other output or
/// process. What has not been published goes away with the object. Private to the writers.
#pragma once

#include <filesystem>

namespace Tilewright::Io {

class HiddenFolder {
public:
    /// Throws OutputError if `output` is a folder or a device, or if its folder is missing or takes nothing.
    explicit HiddenFolder(const std::filesystem::path& output);
    ~HiddenFolder();
    HiddenFolder(const HiddenFolder&) = delete;
    HiddenFolder& operator=(const HiddenFolder&) = delete;

    const std::filesystem::path& output() const { return target; }
    /// Where the output itself is made, under its final name: some formats name their other files after it,
    /// and put them beside it.
    const std::filesystem::path& file() const { return main; }
    /// For files that do not become part of the output.
    const std::filesystem::path& workFolder() const { return folder; }

    /// Moves the output and all files beside it to the folder of the output, the output itself last, and
    /// removes those that GDAL would take for its companions but that describe an older one. Throws
    /// OutputError if the system refuses. Repeating it does nothing.
    void publish();

private:
    std::filesystem::path target;
    std::filesystem::path folder;
    std::filesystem::path main;
    bool published = false;
};

} // namespace Tilewright::Io
