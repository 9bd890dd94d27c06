#include <io/system/FileReader.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

constexpr std::size_t bufferBytes = std::size_t{1} << 20;
static_assert(bufferBytes > 2 * FileReader::longestLine);

} // namespace

FileReader::FileReader(const std::filesystem::path& path, StepReport report)
    : file(path), report(std::move(report)),
      buffer(static_cast<std::size_t>(std::min<std::uint64_t>(bufferBytes, file.size() + 1))) {}

bool FileReader::load() {
    if (report && !report(pass * file.size() + loaded, passes * file.size()))
        throw Interruption();
    std::memmove(buffer.data(), buffer.data() + begin, end - begin);
    end -= begin;
    begin = 0;
    // What somebody adds to the file meanwhile is left alone.
    const std::uint64_t room = std::min<std::uint64_t>(buffer.size() - end, file.size() - loaded);
    const std::size_t n = file.read(loaded, std::span(buffer).subspan(end, static_cast<std::size_t>(room)));
    end += n;
    loaded += n;
    return n != 0;
}

bool FileReader::readLine(std::string_view& line) {
    std::size_t searched = 0;
    const std::byte* stop = nullptr;
    do {
        const std::byte* const from = buffer.data() + begin;
        if (end - begin > searched)
            stop = static_cast<const std::byte*>(std::memchr(from + searched, '\n', end - begin - searched));
        searched = end - begin;
    } while (!stop && searched <= longestLine && load());
    const std::byte* const from = buffer.data() + begin;
    const std::size_t length = stop ? static_cast<std::size_t>(stop - from) : end - begin;
    if (length == 0 && !stop)
        return false;
    ++lines;
    if (length > longestLine)
        failInLine("is too long for a line of numbers");
    line = {reinterpret_cast<const char*>(from), length};
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    begin += length + (stop ? 1 : 0);
    return true;
}

const std::byte* FileReader::readBytes(std::size_t count) {
    while (end - begin < count)
        if (!load())
            fail("ends too early; copy or export it again");
    begin += count;
    return buffer.data() + begin - count;
}

void FileReader::skipBytes(std::uint64_t count) {
    while (end - begin < count) {
        count -= end - begin;
        begin = end;
        if (!load())
            fail("ends too early; copy or export it again");
    }
    begin += static_cast<std::size_t>(count);
}

void FileReader::rewind(unsigned nextPass, unsigned ofPasses) {
    pass = nextPass;
    passes = ofPasses;
    begin = end = 0;
    loaded = lines = 0;
}

void FileReader::fail(const std::string& what) const { throw InputError(name() + ": " + what); }

void FileReader::failInLine(const std::string& what) const {
    fail("line " + std::to_string(lines) + ": " + what);
}

} // namespace Tilewright::Io
