#include <io/system/ReopenedFile.h>

#include <list>
#include <mutex>
#include <unordered_map>

#include <sys/stat.h>

#include <io/system/Errors.h>
#include <io/system/InputFile.h>

namespace Tilewright::Io {

namespace {

/// The files that were read last, the latest first. One that is being read stays open until it has been.
class OpenFiles {
public:
    using File = std::shared_ptr<const InputFile>;

    /// Null if it is not open.
    File find(const ReopenedFile* owner) {
        const std::lock_guard guard(lock);
        const auto found = places.find(owner);
        if (found == places.end())
            return nullptr;
        files.splice(files.begin(), files, found->second);
        return files.front().file;
    }

    void keep(const ReopenedFile* owner, const File& file) {
        // Closed without the lock.
        File oldest;
        const std::lock_guard guard(lock);
        if (places.contains(owner))
            return;
        files.push_front({owner, file});
        places[owner] = files.begin();
        if (files.size() > ReopenedFile::mostOpenFiles) {
            oldest = std::move(files.back().file);
            places.erase(files.back().owner);
            files.pop_back();
        }
    }

    void close(const ReopenedFile* owner) {
        const std::lock_guard guard(lock);
        if (const auto found = places.find(owner); found != places.end()) {
            files.erase(found->second);
            places.erase(found);
        }
    }

private:
    struct Entry {
        const ReopenedFile* owner;
        File file;
    };

    std::mutex lock;
    std::list<Entry> files;
    std::unordered_map<const ReopenedFile*, std::list<Entry>::iterator> places;
};

/// Never destroyed, as clouds may live until the process ends.
OpenFiles& openFiles() {
    static OpenFiles& files = *new OpenFiles;
    return files;
}

} // namespace

ReopenedFile::ReopenedFile(const std::filesystem::path& path) : label(path.string()) {
    const InputFile file(path);
    state = stateOf(path);
    state.size = file.size();
}

ReopenedFile::~ReopenedFile() { openFiles().close(this); }

std::shared_ptr<const InputFile> ReopenedFile::open() const {
    if (auto file = openFiles().find(this))
        return file;
    auto file = std::make_shared<const InputFile>(state.path);
    struct stat status = {};
    if (::fstat(file->descriptor(), &status) != 0 || status.st_dev != state.device ||
        status.st_ino != state.inode)
        throw InputError(label + ": was changed while it was read; try again when it is complete");
    openFiles().keep(this, file);
    return file;
}

std::size_t ReopenedFile::read(std::uint64_t offset, std::span<std::byte> room) const {
    return open()->read(offset, room);
}

} // namespace Tilewright::Io
