#include <io/gdal/VirtualFile.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include <cpl_conv.h>
#include <cpl_string.h>
#include <cpl_vsi.h>
#include <cpl_vsi_error.h>

#include <io/gdal/Gdal.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

/// Options for this thread where nobody has set others.
class NetworkOptions {
public:
    NetworkOptions() {
        set(retries, "GDAL_HTTP_MAX_RETRY", "3");
        set(delay, "GDAL_HTTP_RETRY_DELAY", "1");
        // A server that says nothing any more.
        set(slowness, "GDAL_HTTP_LOW_SPEED_LIMIT", "1");
        set(patience, "GDAL_HTTP_LOW_SPEED_TIME", "60");
        // The other files of a folder are of no interest.
        set(listing, "GDAL_DISABLE_READDIR_ON_OPEN", "EMPTY_DIR");
    }

private:
    static void set(std::optional<ThreadOption>& option, const char* key, const char* value) {
        if (!CPLGetConfigOption(key, nullptr))
            option.emplace(key, value);
    }

    std::optional<ThreadOption> retries, delay, slowness, patience, listing;
};

std::string lastReason(const GdalMessages& messages) {
    const char* const text = VSIGetLastErrorMsg();
    return text && *text ? text : messages.failed() ? messages.text() : "no such file";
}

VSILFILE* fileOf(void* handle) { return static_cast<VSILFILE*>(handle); }

} // namespace

bool isVirtualPath(const std::filesystem::path& path) {
    const std::string text = path.string();
    if (!text.starts_with("/vsi"))
        return false;
    const CPLStringList prefixes(VSIGetFileSystemsPrefixes());
    for (int i = 0; i < prefixes.Count(); ++i)
        if (std::string_view(prefixes[i]).starts_with("/vsi") && text.starts_with(prefixes[i]))
            return true;
    return false;
}

VirtualFile::VirtualFile(const std::filesystem::path& path) : label(path.string()) {
    const Handle handle = take();
    const GdalMessages messages;
    const NetworkOptions options;
    VSILFILE* const file = fileOf(handle);
    const bool isSized = VSIFSeekL(file, 0, SEEK_END) == 0;
    length = isSized ? VSIFTellL(file) : 0;
    giveBack(handle);
    if (length == 0)
        throw InputError(label + ": is empty");
}

VirtualFile::~VirtualFile() {
    for (const Handle handle : idle)
        VSIFCloseL(fileOf(handle));
}

VirtualFile::Handle VirtualFile::take() const {
    {
        const std::lock_guard guard(lock);
        if (!idle.empty()) {
            const Handle handle = idle.back();
            idle.pop_back();
            return handle;
        }
    }
    const GdalMessages messages;
    const NetworkOptions options;
    VSIErrorReset();
    VSILFILE* const file = VSIFOpenExL(label.c_str(), "rb", TRUE);
    if (!file)
        throw InputError(label + ": cannot be opened: " + lastReason(messages));
    return file;
}

void VirtualFile::giveBack(Handle handle) const {
    const std::lock_guard guard(lock);
    idle.push_back(handle);
}

std::size_t VirtualFile::read(std::uint64_t offset, std::span<std::byte> room) const {
    const std::uint64_t begin = std::min(offset, length);
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(room.size(), length - begin));
    if (wanted == 0)
        return 0;
    const Handle handle = take();
    const GdalMessages messages;
    const NetworkOptions options;
    VSIErrorReset();
    std::size_t done = 0;
    if (VSIFSeekL(fileOf(handle), begin, SEEK_SET) == 0)
        done = VSIFReadL(room.data(), 1, wanted, fileOf(handle));
    giveBack(handle);
    if (done != wanted)
        throw InputError(label + ": cannot be read at byte " + std::to_string(begin + done) + ": " +
                         (messages.failed() ? messages.text() : "the file system gives no more"));
    return done;
}

} // namespace Tilewright::Io
