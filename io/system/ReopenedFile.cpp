#include <io/system/ReopenedFile.h>

#include <sys/stat.h>

#include <io/system/Errors.h>
#include <io/system/InputFile.h>

namespace Tilewright::Io {

ReopenedFile::ReopenedFile(const std::filesystem::path& path) : label(path.string()) {
    const InputFile file(path);
    state = stateOf(path);
    state.size = file.size();
}

std::size_t ReopenedFile::read(std::uint64_t offset, std::span<std::byte> room) const {
    const InputFile file(state.path);
    struct stat status = {};
    if (::fstat(file.descriptor(), &status) != 0 || status.st_dev != state.device ||
        status.st_ino != state.inode)
        throw InputError(label + ": was changed while it was read; try again when it is complete");
    return file.read(offset, room);
}

} // namespace Tilewright::Io
