#include <io/formats/las/CopcInfo.h>

#include <algorithm>
#include <cmath>
#include <string>

#include <io/formats/las/CodingError.h>

namespace Tilewright::Io {

namespace {

constexpr std::size_t headerSize = 375;
constexpr std::size_t recordPrefix = 54;
constexpr std::size_t infoLength = 160;

[[noreturn]] void fail(const std::string& what) { throw CodingError("its COPC record " + what); }

} // namespace

bool CopcKey::isValid() const noexcept {
    if (level < 0 || level > greatestLevel)
        return false;
    return std::all_of(place.begin(), place.end(), [&](std::int32_t coordinate) {
        return coordinate >= 0 && coordinate < std::int32_t{1} << level;
    });
}

bool CopcKey::isWithin(const CopcKey& other) const noexcept {
    if (level < other.level)
        return false;
    const std::int32_t levels = level - other.level;
    return std::equal(place.begin(), place.end(), other.place.begin(),
                      [&](std::int32_t inner, std::int32_t outer) { return inner >> levels == outer; });
}

CopcBox CopcInfo::box(const CopcKey& key) const {
    const double side = std::ldexp(2 * halfSize, -key.level);
    CopcBox box = {};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        box.low[axis] = centre[axis] - halfSize + key.place[axis] * side;
        box.high[axis] = box.low[axis] + side;
    }
    return box;
}

double CopcInfo::spacingAt(std::int32_t level) const { return std::ldexp(spacing, -level); }

bool isCopc(std::span<const std::byte> file) {
    if (file.size() < headerSize + recordPrefix + infoLength || loadText(file.first(4)) != "LASF")
        return false;
    return loadText(file.subspan(headerSize + 2, 16)) == CopcInfo::userId &&
           loadLittleEndian<std::uint16_t>(&file[headerSize + 18]) == CopcInfo::recordId;
}

CopcInfo readCopcInfo(std::span<const std::byte> contents, std::uint64_t fileSize) {
    if (contents.size() < infoLength)
        fail("is cut off: it has " + std::to_string(contents.size()) + " of " + std::to_string(infoLength) +
             " bytes");
    const auto real = [&](std::size_t place) { return loadLittleEndian<double>(&contents[place]); };
    CopcInfo info;
    info.centre = {real(0), real(8), real(16)};
    info.halfSize = real(24);
    info.spacing = real(32);
    info.rootPage = {loadLittleEndian<std::uint64_t>(&contents[40]),
                     loadLittleEndian<std::uint64_t>(&contents[48])};
    info.leastGpsTime = real(56);
    info.greatestGpsTime = real(64);
    for (const double centre : info.centre) {
        if (!std::isfinite(centre) || !std::isfinite(std::abs(centre) + 2 * info.halfSize))
            fail("gives no finite cube");
    }
    if (!(info.halfSize > 0) || !(info.spacing > 0) || !std::isfinite(info.spacing))
        fail("gives a cube or a spacing that is not positive");
    if (info.rootPage.offset > fileSize || info.rootPage.length > fileSize - info.rootPage.offset)
        fail("places the hierarchy after the end of the file");
    return info;
}

} // namespace Tilewright::Io
