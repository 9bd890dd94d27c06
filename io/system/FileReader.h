/// FileReader: a file from front to back, in lines or in bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <io/system/InputFile.h>
#include <io/system/StepReport.h>

namespace Tilewright::Io {

/// What is taken stays valid until the next is taken. All operations throw Interruption when `report` asks
/// to stop.
class FileReader {
public:
    /// The longest line that is read. Longer ones are no lines of numbers.
    static constexpr std::size_t longestLine = std::size_t{1} << 16;

    FileReader(const std::filesystem::path& path, StepReport report);

    const std::string& name() const noexcept { return file.name(); }
    std::uint64_t remaining() const noexcept { return file.size() - offset(); }

    /// The next line without its end, \n or \r\n. False at the end of the file.
    bool readLine(std::string_view& line);
    /// Of the line that was read last, from 1.
    std::uint64_t lineNumber() const noexcept { return lines; }

    /// The next bytes, at most longestLine of them. Throws InputError if there are not so many.
    const std::byte* readBytes(std::size_t count);
    void skipBytes(std::uint64_t count);

    /// Begins again from the front. `report` sees all passes as one; they count from 0.
    void rewind(unsigned pass, unsigned passes);

    [[noreturn]] void fail(const std::string& what) const;
    [[noreturn]] void failInLine(const std::string& what) const;

private:
    std::uint64_t offset() const noexcept { return loaded - (end - begin); }
    /// Loads what comes next, after what is not yet taken; false at the end of the file.
    bool load();

    InputFile file;
    StepReport report;
    unsigned pass = 0, passes = 1;
    std::vector<std::byte> buffer;
    std::size_t begin = 0, end = 0; ///< what is loaded and not taken, in `buffer`
    std::uint64_t loaded = 0;       ///< bytes of the file so far
    std::uint64_t lines = 0;
};

} // namespace Tilewright::Io
