#include <io/system/ScratchFile.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

std::string reason(int code) { return std::generic_category().message(code); }

/// File systems that can't make a file without a name get one with a name that is taken away at once.
int openNameless(const std::filesystem::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor >= 0)
        return descriptor;
    std::string name = (folder / ".tilewright-XXXXXX").string();
    const int named = ::mkostemp(name.data(), O_CLOEXEC);
    if (named >= 0)
        ::unlink(name.c_str());
    return named;
}

} // namespace

ScratchFile::ScratchFile(const std::filesystem::path& folder)
    : folder(folder), descriptor(openNameless(folder)) {
    if (descriptor < 0)
        throw OutputError(folder.string() + ": takes no scratch file (" + reason(errno) +
                          "); name another folder with --scratch");
}

ScratchFile::~ScratchFile() { ::close(descriptor); }

void ScratchFile::write(std::uint64_t offset, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            throw OutputError(folder.string() + ": the scratch file can't be written (" + reason(errno) +
                              "); name a folder with more room with --scratch");
        offset += static_cast<std::uint64_t>(n);
        bytes = bytes.subspan(static_cast<std::size_t>(n));
    }
}

void ScratchFile::read(std::uint64_t offset, std::span<std::byte> bytes) const {
    while (!bytes.empty()) {
        const ssize_t n = ::pread(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            throw InputError(folder.string() + ": the scratch file can't be read back (" +
                             (n < 0 ? reason(errno) : std::string("it is too short")) + ")");
        offset += static_cast<std::uint64_t>(n);
        bytes = bytes.subspan(static_cast<std::size_t>(n));
    }
}

} // namespace Tilewright::Io
