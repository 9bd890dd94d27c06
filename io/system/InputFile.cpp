#include <io/system/InputFile.h>

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

std::string reason(int code) { return std::generic_category().message(code); }

/// Bytes of a file that can be read; else throws InputError.
std::uint64_t sizeOf(int descriptor, const std::string& name) {
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0)
        throw InputError(name + ": cannot be examined: " + reason(errno));
    if (S_ISDIR(status.st_mode))
        throw InputError(name + ": is a directory, not a file");
    if (!S_ISREG(status.st_mode))
        throw InputError(name + ": is not a regular file; save the data to a file first");
    if (status.st_size == 0)
        throw InputError(name + ": is empty");
    return static_cast<std::uint64_t>(status.st_size);
}

} // namespace

InputFile::InputFile(const std::filesystem::path& path)
    : label(path.string()),
      // Without O_NONBLOCK the opening of a pipe would wait for somebody to write into it.
      number(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (number < 0)
        throw InputError(label + ": cannot be opened: " + reason(errno));
    try {
        length = sizeOf(number, label);
    } catch (...) {
        ::close(number);
        throw;
    }
}

InputFile::~InputFile() { ::close(number); }

std::size_t InputFile::read(std::uint64_t offset, std::span<std::byte> room) const {
    std::size_t done = 0;
    while (done < room.size()) {
        const ssize_t n =
            ::pread(number, room.data() + done, room.size() - done, static_cast<off_t>(offset + done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            throw InputError(label + ": cannot be read: " + reason(errno));
        if (n == 0)
            break;
        done += static_cast<std::size_t>(n);
    }
    return done;
}

std::string readDocument(const std::filesystem::path& path) {
    constexpr std::uint64_t longest = std::uint64_t(1) << 30;
    const InputFile file(path);
    if (file.size() > longest)
        throw InputError(file.name() + ": is too long for a document");
    std::string text(file.size(), '\0');
    text.resize(file.read(0, std::as_writable_bytes(std::span(text))));
    return text;
}

} // namespace Tilewright::Io
