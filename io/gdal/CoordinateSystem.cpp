#include <io/gdal/CoordinateSystem.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include <cpl_conv.h>
#include <cpl_vsi.h>
#include <gdal_priv.h>
#include <ogr_spatialref.h>

#include <io/gdal/Gdal.h>
#include <io/system/Bytes.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

/// No real coordinate system comes near this size, and parsers should not have to read gigabytes of noise.
constexpr std::size_t largestRecord = std::size_t{1} << 20;

std::string asWkt2(const OGRSpatialReference& system) {
    // Keys that say next to nothing become a local system without a name.
    if (system.IsEmpty() || (system.IsLocal() && (!system.GetName() || EQUAL(system.GetName(), "unnamed")))) {
        return {};
    }
    const std::array<const char*, 3> options = {"FORMAT=WKT2_2019", "MULTILINE=NO", nullptr};
    char* text = nullptr;
    const OGRErr outcome = system.exportToWkt(&text, options.data());
    std::string wkt = outcome == OGRERR_NONE && text ? text : "";
    CPLFree(text);
    // Names in a file may contain anything, but the result is one line.
    std::ranges::replace_if(
        wkt, [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
    return wkt;
}

/// A file in memory with a unique name, which lives as long as the object.
class MemoryFile {
public:
    explicit MemoryFile(std::vector<std::byte> contents) : contents(std::move(contents)) {
        static std::atomic<unsigned long long> serial = 0;
        path = "/vsimem/tilewright-geokeys-" + std::to_string(++serial) + ".tif";
        VSILFILE* handle = VSIFileFromMemBuffer(path.c_str(), reinterpret_cast<GByte*>(this->contents.data()),
                                                this->contents.size(), FALSE);
        if (handle) {
            VSIFCloseL(handle);
        }
    }
    ~MemoryFile() { VSIUnlink(path.c_str()); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    const char* name() const { return path.c_str(); }

private:
    std::vector<std::byte> contents;
    std::string path;
};

/// Writes a TIFF of one directory: little-endian, with values of more than four bytes after the directory.
class TiffBuilder {
public:
    void addShort(std::uint16_t tag, std::uint16_t value) { add(tag, 3, 1, bytesOf(value)); }
    void addLong(std::uint16_t tag, std::uint32_t value) { add(tag, 4, 1, bytesOf(value)); }
    void addShorts(std::uint16_t tag, std::vector<std::byte> values) {
        addArray(tag, 3, 2, std::move(values));
    }
    void addDoubles(std::uint16_t tag, std::vector<std::byte> values) {
        addArray(tag, 12, 8, std::move(values));
    }
    void addText(std::uint16_t tag, std::vector<std::byte> text) { addArray(tag, 2, 1, std::move(text)); }

    std::vector<std::byte> build() const {
        std::vector<std::byte> file;
        const auto append = [&file](const auto& bytes) {
            file.insert(file.end(), bytes.begin(), bytes.end());
        };
        append(bytesOf(std::uint32_t{0x002A4949}));
        append(bytesOf(std::uint32_t{8}));
        append(bytesOf(static_cast<std::uint16_t>(entries.size())));
        const std::size_t directoryEnd = 8 + 2 + 12 * entries.size() + 4;
        std::vector<std::byte> behind;
        for (const Entry& entry : entries) {
            append(bytesOf(entry.tag));
            append(bytesOf(entry.type));
            append(bytesOf(entry.count));
            std::vector<std::byte> value = entry.value;
            if (value.size() > 4) {
                value = bytesOf(static_cast<std::uint32_t>(directoryEnd + behind.size()));
                behind.insert(behind.end(), entry.value.begin(), entry.value.end());
            }
            value.resize(4);
            append(value);
        }
        append(bytesOf(std::uint32_t{0}));
        append(behind);
        return file;
    }

private:
    struct Entry {
        std::uint16_t tag;
        std::uint16_t type;
        std::uint32_t count;
        std::vector<std::byte> value;
    };

    template <class T> static std::vector<std::byte> bytesOf(T value) {
        std::vector<std::byte> bytes;
        for (std::size_t i = 0; i < sizeof(T); ++i) {
            bytes.push_back(static_cast<std::byte>(value >> (8 * i) & 0xFFU));
        }
        return bytes;
    }

    void addArray(std::uint16_t tag, std::uint16_t type, std::size_t size, std::vector<std::byte> values) {
        const auto count = static_cast<std::uint32_t>(values.size() / size);
        values.resize(count * size);
        if (count != 0) {
            add(tag, type, count, std::move(values));
        }
    }

    void add(std::uint16_t tag, std::uint16_t type, std::uint32_t count, std::vector<std::byte> value) {
        entries.push_back({tag, type, count, std::move(value)});
    }

    std::vector<Entry> entries;
};

constexpr std::uint16_t directoryTag = 34735;
constexpr std::uint16_t numbersTag = 34736;
constexpr std::uint16_t textsTag = 34737;

/// The directory without keys whose values lie outside the records; empty if no key remains.
std::vector<std::byte> soundKeys(const GeoKeys& keys) {
    constexpr std::size_t entrySize = 8; // four shorts: key, place, count, value
    std::vector<std::byte> sound;
    if (keys.directory.size() < entrySize) {
        return sound;
    }
    const auto promised = loadLittleEndian<std::uint16_t>(keys.directory.data() + 6);
    const std::size_t count = std::min<std::size_t>(promised, keys.directory.size() / entrySize - 1);
    sound.assign(keys.directory.begin(), keys.directory.begin() + entrySize);
    std::uint16_t kept = 0;
    for (std::size_t i = 1; i <= count; ++i) {
        const auto entry = keys.directory.subspan(i * entrySize, entrySize);
        const auto key = loadLittleEndian<std::uint16_t>(entry.data());
        const auto place = loadLittleEndian<std::uint16_t>(entry.data() + 2);
        const std::size_t values = loadLittleEndian<std::uint16_t>(entry.data() + 4);
        const std::size_t end = loadLittleEndian<std::uint16_t>(entry.data() + 6) + values;
        const bool inside = place == 0            ? true
                            : place == numbersTag ? end <= keys.numbers.size() / sizeof(double)
                            : place == textsTag   ? end <= keys.texts.size()
                                                  : false;
        // Some writers pad the directory with entries of key zero.
        if (key != 0 && inside) {
            sound.insert(sound.end(), entry.begin(), entry.end());
            ++kept;
        }
    }
    sound[6] = static_cast<std::byte>(kept & 0xFFU);
    sound[7] = static_cast<std::byte>(kept >> 8U);
    return kept != 0 ? sound : std::vector<std::byte>{};
}

OGRSpatialReference parsed(const std::string& wkt) {
    OGRSpatialReference system;
    if (wkt.empty() || system.importFromWkt(wkt.c_str()) != OGRERR_NONE)
        system.Clear();
    return system;
}

/// Files spell the same unit in many ways, so the usual units are recognised by their length in metres.
std::string unitName(double metres, const char* name) {
    const auto is = [&](double length) { return std::abs(metres / length - 1) < 1e-9; };
    if (is(1.0))
        return "metre";
    if (is(0.3048))
        return "foot";
    if (is(1200.0 / 3937.0))
        return "US survey foot";
    const bool named = name && *name && !EQUAL(name, "unknown") && !EQUAL(name, "unnamed");
    return named ? name : "";
}

/// Enough of a text to recognise it in a message of one line.
std::string excerpt(const std::string& text) {
    constexpr std::size_t enough = 60;
    const std::size_t end = std::min({text.find('\n'), text.size(), enough});
    return "'" + text.substr(0, end) + (end < text.size() ? "...'" : "'");
}

} // namespace

std::string coordinateSystemFromWkt(std::string_view wkt) {
    const std::string text(wkt.substr(0, std::min(wkt.find('\0'), wkt.size())));
    if (text.empty() || text.size() > largestRecord) {
        return {};
    }
    const GdalMessages unheard;
    OGRSpatialReference system;
    return system.importFromWkt(text.c_str()) == OGRERR_NONE ? asWkt2(system) : std::string();
}

std::string coordinateSystemFromGeoKeys(const GeoKeys& keys) {
    if (std::max({keys.directory.size(), keys.numbers.size(), keys.texts.size()}) > largestRecord) {
        return {};
    }
    std::vector<std::byte> directory = soundKeys(keys);
    if (directory.empty()) {
        return {};
    }
    std::vector<std::byte> texts(keys.texts.begin(), keys.texts.end());
    if (!texts.empty()) {
        texts.push_back(std::byte{0});
    }

    // The keys come with one grey pixel.
    TiffBuilder tiff;
    tiff.addShort(256, 1); // width
    tiff.addShort(257, 1); // height
    tiff.addShort(258, 8); // bits of a sample
    tiff.addShort(259, 1); // no compression
    tiff.addShort(262, 1); // black is zero
    tiff.addLong(273, 0);  // where the pixel is: any byte will do
    tiff.addShort(277, 1); // samples of a pixel
    tiff.addShort(278, 1); // rows of a strip
    tiff.addLong(279, 1);  // bytes of a strip
    tiff.addShorts(directoryTag, std::move(directory));
    tiff.addDoubles(numbersTag, {keys.numbers.begin(), keys.numbers.end()});
    tiff.addText(textsTag, std::move(texts));

    driverFor("GTiff"); // must be registered
    const GdalMessages unheard;
    const ThreadOption compound("GTIFF_REPORT_COMPD_CS", "YES");
    const MemoryFile file(tiff.build());
    const std::array<const char*, 2> drivers = {"GTiff", nullptr};
    const std::array<const char*, 1> noSiblings = {nullptr};
    const GDALDatasetUniquePtr dataset(GDALDataset::Open(file.name(), GDAL_OF_RASTER | GDAL_OF_READONLY,
                                                         drivers.data(), nullptr, noSiblings.data()));
    const OGRSpatialReference* system = dataset ? dataset->GetSpatialRef() : nullptr;
    return system ? asWkt2(*system) : std::string();
}

namespace {

bool isSame(std::string_view a, std::string_view b, bool withHeights) {
    if (a == b)
        return true;
    const GdalMessages unheard;
    OGRSpatialReference first, second;
    if (first.importFromWkt(std::string(a).c_str()) != OGRERR_NONE ||
        second.importFromWkt(std::string(b).c_str()) != OGRERR_NONE)
        return false;
    if (!withHeights) {
        first.StripVertical();
        second.StripVertical();
    }
    const std::array options = {"CRITERION=EQUIVALENT_EXCEPT_AXIS_ORDER_GEOGCRS",
                                "IGNORE_DATA_AXIS_TO_SRS_AXIS_MAPPING=YES",
                                static_cast<const char*>(nullptr)};
    return first.IsSame(&second, options.data()) != FALSE;
}

} // namespace

bool isSameCoordinateSystem(std::string_view a, std::string_view b) { return isSame(a, b, true); }

bool isSameWithoutHeights(std::string_view a, std::string_view b) { return isSame(a, b, false); }

std::string coordinateSystemFromUser(const std::string& text) {
    const bool codes = !text.empty() && text.find_first_not_of("0123456789+") == std::string::npos;
    const std::array<const char*, 3> options = {"ALLOW_NETWORK_ACCESS=NO", "ALLOW_FILE_ACCESS=YES", nullptr};
    const GdalMessages messages;
    OGRSpatialReference system;
    const OGRErr outcome = system.SetFromUserInput(((codes ? "EPSG:" : "") + text).c_str(), options.data());
    const std::string wkt = outcome == OGRERR_NONE ? asWkt2(system) : std::string();
    if (wkt.empty())
        throw UsageError(
            "the coordinate system " + excerpt(text) + " cannot be understood" +
            (messages.failed() ? " (" + messages.text() + ")" : std::string()) +
            "; give it like EPSG:25832 or EPSG:25832+5783, as WKT, or as the name of a .prj file");
    if (system.IsVertical() && !system.IsCompound())
        throw UsageError(
            "the coordinate system '" + text +
            "' is for heights alone; put the system of the coordinates in front, like EPSG:25832+5783");
    return wkt;
}

std::string linearUnitOf(const std::string& wkt) {
    const GdalMessages unheard;
    const OGRSpatialReference system = parsed(wkt);
    if (system.IsEmpty() || system.IsGeographic())
        return {};
    const char* name = nullptr;
    const double metres = system.GetLinearUnits(&name);
    return unitName(metres, name);
}

std::string verticalUnitOf(const std::string& wkt) {
    const GdalMessages unheard;
    const OGRSpatialReference system = parsed(wkt);
    if (system.IsCompound()) {
        const char* name = nullptr;
        const double metres = system.GetTargetLinearUnits("VERT_CS", &name);
        return unitName(metres, name);
    }
    double metres = 0;
    if (system.GetAxesCount() == 3 && system.GetAxis(nullptr, 2, nullptr, &metres))
        return unitName(metres, nullptr);
    return {};
}

std::string coordinateUnitOf(const std::string& wkt) {
    const GdalMessages unheard;
    const OGRSpatialReference system = parsed(wkt);
    if (system.IsEmpty() || !system.IsGeographic())
        return linearUnitOf(wkt);
    const char* name = nullptr;
    system.GetAngularUnits(&name);
    return name ? name : "";
}

std::string systemName(const std::string& wkt) {
    const GdalMessages unheard;
    const OGRSpatialReference system = parsed(wkt);
    const char* name = system.IsEmpty() ? nullptr : system.GetName();
    return name ? name : "";
}

} // namespace Tilewright::Io
