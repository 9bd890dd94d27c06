#include <io/outputs/NewFile.h>

#include <cerrno>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

fs::path folderOf(const fs::path& path) {
    const fs::path folder = path.parent_path();
    return folder.empty() ? fs::path(".") : folder;
}

/// A file system that cannot sync a folder has nothing to lose there.
void syncFolder(const fs::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    ::fsync(descriptor);
    ::close(descriptor);
}

} // namespace

NewFile::NewFile(const fs::path& path) : Path(path) {
    // Other processes, on other machines too, may be writing the same file.
    constexpr int mostAttempts = 1000;
    std::string stem = ".";
    stem.append(path.filename().string()).append(".").append(std::to_string(::getpid())).append("-");
    for (int i = 0; Descriptor < 0 && i < mostAttempts; ++i) {
        Hidden = folderOf(path) / (stem + std::to_string(i));
        Descriptor = ::open(Hidden.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (Descriptor < 0 && errno != EEXIST)
            break;
    }
    if (Descriptor < 0)
        fail(errno);
}

NewFile::~NewFile() {
    if (Descriptor < 0)
        return;
    ::close(Descriptor);
    ::unlink(Hidden.c_str());
}

void NewFile::write(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(Descriptor, bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            fail(errno);
        bytes = bytes.subspan(static_cast<std::size_t>(n));
    }
}

void NewFile::publish() {
    if (::fsync(Descriptor) != 0 || ::rename(Hidden.c_str(), Path.c_str()) != 0)
        fail(errno);
    ::close(Descriptor);
    Descriptor = -1;
    syncFolder(folderOf(Path));
}

void NewFile::fail(int code) const {
    throw OutputError(Path.string() + ": cannot be written: " + std::generic_category().message(code));
}

} // namespace Tilewright::Io
