#include <io/system/MappedFile.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <string>
#include <system_error>
#include <utility>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <io/system/Errors.h>
#include <io/system/InputFile.h>
#include <io/system/LostPages.h>

namespace Tilewright::Io {

MappedFile::MappedFile(const std::filesystem::path& path) : path(path) {
    const InputFile file(path);
    if (file.size() > std::numeric_limits<std::size_t>::max())
        throw InputError(file.name() + ": is too large for the address space of this program");
    const auto length = static_cast<std::size_t>(file.size());
    struct stat status = {};
    void* const address = ::fstat(file.descriptor(), &status) == 0
                              ? ::mmap(nullptr, length, PROT_READ, MAP_PRIVATE, file.descriptor(), 0)
                              : MAP_FAILED;
    if (address == MAP_FAILED)
        throw InputError(file.name() + ": cannot be read: " + std::generic_category().message(errno));
    content = {static_cast<const std::byte*>(address), length};
    device = status.st_dev;
    inode = status.st_ino;
    try {
        isDamaged = guardPages(content);
    } catch (...) {
        ::munmap(address, length);
        throw;
    }
    advise(0, length, MADV_SEQUENTIAL);
}

MappedFile::~MappedFile() {
    if (content.empty())
        return;
    forgetPages(isDamaged);
    ::munmap(const_cast<std::byte*>(content.data()), content.size());
}

MappedFile::MappedFile(MappedFile&& other) noexcept { swap(other); }

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept {
    swap(other);
    return *this;
}

void MappedFile::swap(MappedFile& other) noexcept {
    std::swap(path, other.path);
    std::swap(device, other.device);
    std::swap(inode, other.inode);
    std::swap(content, other.content);
    std::swap(isDamaged, other.isDamaged);
}

void MappedFile::checkWhole() const {
    // The rest of the page in which the file ends now reads as zeros without any signal. A file that took the
    // place of this one, or nothing there any more, is no harm to the map.
    struct stat status = {};
    const bool isThere =
        ::stat(path.c_str(), &status) == 0 && status.st_dev == device && status.st_ino == inode;
    if (*isDamaged || (isThere && static_cast<std::uint64_t>(status.st_size) < size()))
        throw InputError(path.string() + ": was cut short while it was read");
}

void MappedFile::release(std::uint64_t offset, std::uint64_t length) const noexcept {
    // The system maps the neighbours of a page along with it. Left alone they would add up to the whole file
    // when it is read in many short stretches.
    constexpr std::uint64_t neighbourhood = std::uint64_t{1} << 16;
    const std::uint64_t begin = offset - offset % neighbourhood;
    const std::uint64_t end = offset + std::min(length, size() - std::min(offset, size()));
    advise(begin, end - begin + neighbourhood, MADV_DONTNEED);
}

void MappedFile::advise(std::uint64_t offset, std::uint64_t length, int advice) const noexcept {
    if (offset >= size() || length == 0) {
        return;
    }
    const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    const std::uint64_t end = offset + std::min(length, size() - offset);
    const std::uint64_t begin = offset - offset % page;
    // The result is of no interest: advice that is not taken changes speed and nothing else.
    ::madvise(const_cast<std::byte*>(content.data()) + begin, static_cast<std::size_t>(end - begin), advice);
}

} // namespace Tilewright::Io
