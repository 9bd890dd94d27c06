/// VirtualFile: a file in one of GDAL's virtual file systems, such as /vsicurl/https://..., /vsis3/... or
/// /vsizip/....
///
/// What is read comes by ranges. Requests that fail for a reason that may pass are tried again, three times
/// unless GDAL_HTTP_MAX_RETRY says otherwise.
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include <io/system/ByteSource.h>

namespace Tilewright::Io {

/// Whether a path lies in a virtual file system.
bool isVirtualPath(const std::filesystem::path& path);

class VirtualFile : public ByteSource {
public:
    /// Throws InputError, with the reason that the file system gives.
    explicit VirtualFile(const std::filesystem::path& path);
    ~VirtualFile() override;

    const std::string& name() const noexcept override { return label; }
    std::uint64_t size() const noexcept override { return length; }
    std::size_t read(std::uint64_t offset, std::span<std::byte> room) const override;

private:
    using Handle = void*;

    Handle take() const;
    void giveBack(Handle handle) const;

    std::string label;
    std::uint64_t length = 0;
    /// A handle is for one thread at a time.
    mutable std::mutex lock;
    mutable std::vector<Handle> idle;
};

} // namespace Tilewright::Io
