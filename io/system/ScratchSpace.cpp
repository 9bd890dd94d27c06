#include <io/system/ScratchSpace.h>

#include <algorithm>
#include <utility>

namespace Tilewright::Io {

namespace {

constexpr std::size_t mostMemory = std::size_t{1} << 24;

} // namespace

ScratchSpace::ScratchSpace(std::filesystem::path folder) : path(std::move(folder)) {}

ScratchStretch ScratchSpace::keep(std::span<const std::byte> bytes) {
    const std::lock_guard lock(mutex);
    if (bytes.size() <= mostMemory - usedMemory) {
        usedMemory += bytes.size();
        auto& copy = inMemory.emplace_back(std::make_unique_for_overwrite<std::byte[]>(bytes.size()));
        std::ranges::copy(bytes, copy.get());
        return {copy.get(), 0};
    }
    if (!file)
        file.emplace(path);
    file->write(usedFile, bytes);
    usedFile += bytes.size();
    return {nullptr, usedFile - bytes.size()};
}

const std::byte* ScratchSpace::read(const ScratchStretch& stretch, std::uint64_t first,
                                    std::span<std::byte> room) const {
    if (stretch.memory)
        return stretch.memory + first;
    // Somebody has kept the stretch before, so the file is there and stays.
    file->read(stretch.offset + first, room);
    return room.data();
}

} // namespace Tilewright::Io
