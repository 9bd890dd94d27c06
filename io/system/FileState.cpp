#include <io/system/FileState.h>

#include <cerrno>
#include <string>
#include <system_error>

#include <sys/stat.h>

#include <io/system/Errors.h>

namespace Tilewright::Io {

FileState stateOf(const std::filesystem::path& path) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
        const std::string text =
            path.string() + ": cannot be opened: " + std::generic_category().message(errno);
        if (errno == ENOENT)
            throw MissingFileError(text);
        throw FileError(text);
    }
    return {path,
            status.st_dev,
            status.st_ino,
            static_cast<std::uint64_t>(status.st_size),
            {status.st_mtim.tv_sec, status.st_mtim.tv_nsec},
            {status.st_ctim.tv_sec, status.st_ctim.tv_nsec}};
}

} // namespace Tilewright::Io
