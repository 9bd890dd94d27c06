#include <io/MappedFile.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <io/Errors.h>

namespace Tilewright::Io {

namespace {

class Descriptor {
public:
    explicit Descriptor(int number) : number(number) {}
    ~Descriptor() {
        if (number >= 0) {
            ::close(number);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    const int number;
};

std::string reason(int code) { return std::generic_category().message(code); }

} // namespace

MappedFile::MappedFile(const std::filesystem::path& path) {
    const std::string name = path.string();
    // Without O_NONBLOCK the opening of a pipe would wait for somebody to write into it.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.number < 0) {
        throw InputError(name + ": cannot be opened: " + reason(errno));
    }
    struct stat status = {};
    if (::fstat(file.number, &status) != 0) {
        throw InputError(name + ": cannot be examined: " + reason(errno));
    }
    if (S_ISDIR(status.st_mode)) {
        throw InputError(name + ": is a directory, not a file");
    }
    if (!S_ISREG(status.st_mode)) {
        throw InputError(name + ": is not a regular file; save the data to a file first");
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size == 0) {
        throw InputError(name + ": is empty");
    }
    if (size > std::numeric_limits<std::size_t>::max()) {
        throw InputError(name + ": is too large for the address space of this program");
    }
    const auto length = static_cast<std::size_t>(size);
    void* address = ::mmap(nullptr, length, PROT_READ, MAP_PRIVATE, file.number, 0);
    if (address == MAP_FAILED) {
        throw InputError(name + ": cannot be read: " + reason(errno));
    }
    content = {static_cast<const std::byte*>(address), length};
    advise(0, length, MADV_SEQUENTIAL);
}

MappedFile::~MappedFile() {
    if (!content.empty()) {
        ::munmap(const_cast<std::byte*>(content.data()), content.size());
    }
}

MappedFile::MappedFile(MappedFile&& other) noexcept : content(std::exchange(other.content, {})) {}

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept {
    std::swap(content, other.content);
    return *this;
}

void MappedFile::release(std::uint64_t offset, std::uint64_t length) const noexcept {
    advise(offset, length, MADV_DONTNEED);
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
