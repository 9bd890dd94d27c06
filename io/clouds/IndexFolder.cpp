#include <io/clouds/IndexFolder.h>

#include <algorithm>
#include <array>
#include <string_view>

#include <io/gdal/VirtualFile.h>
#include <io/system/Digest.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

std::string nameFor(const fs::path& file) {
    const std::string path = (isVirtualPath(file) ? file : fs::absolute(file).lexically_normal()).string();
    Digest sum;
    sum.add(std::as_bytes(std::span(path)));
    std::string name;
    for (int shift = 60; shift >= 0; shift -= 4)
        name += "0123456789abcdef"[sum.value() >> shift & 15U];
    return name;
}

bool isOf(const FileIndex& index, const FileState& file, std::uint64_t points) {
    return index.bytes == file.size && index.modified == file.modified && index.points == points;
}

/// False if some were not measured.
bool chooseRanges(const std::vector<std::string>& fields, FileIndex& index) {
    std::vector<FieldRange> ranges;
    for (const std::string& field : fields) {
        const auto found = std::ranges::find(index.fields, field);
        if (found == index.fields.end())
            return false;
        ranges.push_back(index.index.ranges[static_cast<std::size_t>(found - index.fields.begin())]);
    }
    index.index.ranges = std::move(ranges);
    index.fields = fields;
    return true;
}

} // namespace

fs::path IndexFolder::placeOf(const fs::path& file) const { return Folder / nameFor(file); }

std::optional<FileIndex> IndexFolder::find(const FileState& file, std::uint64_t points,
                                           const std::vector<std::string>& fields) const {
    const fs::path place = placeOf(file.path);
    std::error_code ignored;
    // Nothing shows that a virtual file has changed but its size.
    if (isVirtualPath(file.path) || !fs::exists(place, ignored))
        return std::nullopt;
    try {
        FileIndex index = readIndex(place);
        if (isOf(index, file, points) && chooseRanges(fields, index))
            return index;
    } catch (const InputError&) {
        // It is made once more.
    }
    return std::nullopt;
}

void IndexFolder::keep(const fs::path& file, const FileIndex& index) const {
    writeIndex(placeOf(file), index);
}

std::vector<Stretch> IndexFolder::read(const FileState& file, std::uint64_t points,
                                       const StretchTest& wanted) const {
    FileIndex index;
    try {
        index = readIndex(placeOf(file.path), wanted);
    } catch (const InputError& fault) {
        throw InputError(std::string(fault.what()) + "; make a new plan");
    }
    if (!isOf(index, file, points))
        throw InputError(placeOf(file.path).string() + ": is the index of another file than " +
                         file.path.string() + "; make a new plan");
    return std::move(index.index.stretches);
}

} // namespace Tilewright::Io
