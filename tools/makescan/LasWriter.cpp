#include "LasWriter.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace Tilewright::MakeScan {

namespace {

namespace fs = std::filesystem;

constexpr std::uint16_t headerSize = 375;
constexpr std::uint16_t recordHeaderSize = 54;
constexpr std::uint16_t pointSize = 36;
constexpr std::size_t bufferSize = 1 << 20;
constexpr double scale = 0.001;
constexpr std::array<double, 3> origin{612000, 5341000, 0}; // of the scene's south-west corner

constexpr std::string_view coordinateSystem =
    R"(COMPD_CS["WGS 84 / UTM zone 32N + EGM96 height",)"
    R"(PROJCS["WGS 84 / UTM zone 32N",GEOGCS["WGS 84",DATUM["WGS_1984",)"
    R"(SPHEROID["WGS 84",6378137,298.257223563,AUTHORITY["EPSG","7030"]],AUTHORITY["EPSG","6326"]],)"
    R"(PRIMEM["Greenwich",0,AUTHORITY["EPSG","8901"]],)"
    R"(UNIT["degree",0.0174532925199433,AUTHORITY["EPSG","9122"]],AUTHORITY["EPSG","4326"]],)"
    R"(PROJECTION["Transverse_Mercator"],PARAMETER["latitude_of_origin",0],PARAMETER["central_meridian",9],)"
    R"(PARAMETER["scale_factor",0.9996],PARAMETER["false_easting",500000],PARAMETER["false_northing",0],)"
    R"(UNIT["metre",1,AUTHORITY["EPSG","9001"]],AXIS["Easting",EAST],AXIS["Northing",NORTH],)"
    R"(AUTHORITY["EPSG","32632"]],)"
    R"(VERT_CS["EGM96 height",VERT_DATUM["EGM96 geoid",2005,AUTHORITY["EPSG","5171"]],)"
    R"(UNIT["metre",1,AUTHORITY["EPSG","9001"]],AXIS["Gravity-related height",UP],AUTHORITY["EPSG","5773"]]])";
constexpr std::size_t wktSize = coordinateSystem.size() + 1; // with a zero at its end

/// A hidden name in the same folder, so that the finished file only needs a rename.
fs::path partOf(const fs::path& path) {
    std::string name(".");
    name += path.filename().string();
    name += ".part";
    return path.parent_path() / name;
}

void addCoordinateSystem(ByteBuffer& head) {
    head.number(std::uint16_t(0));
    head.text("LASF_Projection", 16);
    head.number(std::uint16_t(2112));
    head.number(static_cast<std::uint16_t>(wktSize));
    head.text("OGC WKT", 32);
    head.text(coordinateSystem, wktSize);
}

} // namespace

LasWriter::LasWriter(const fs::path& path)
    : path_(path), part_(partOf(path)), file_(part_, std::ios::binary | std::ios::trunc) {
    writeHead();
    if (!file_) {
        fail();
    }
}

LasWriter::~LasWriter() {
    if (!complete_) {
        file_.close();
        std::error_code ignored;
        fs::remove(part_, ignored);
    }
}

void LasWriter::add(const Shot& shot, std::span<const Echo> echoes) {
    for (std::size_t i = 0; i < echoes.size(); ++i) {
        addPoint(shot, echoes[i], i + 1, echoes.size());
    }
}

void LasWriter::finish() {
    buffer_.writeTo(file_);
    file_.seekp(0);
    writeHead();
    file_.close();
    std::error_code error;
    if (file_) {
        fs::rename(part_, path_, error);
    }
    if (!file_ || error) {
        fail();
    }
    complete_ = true;
}

void LasWriter::fail() const {
    throw std::runtime_error(path_.string() + ": cannot be written; check the folder and the free space");
}

void LasWriter::addPoint(const Shot& shot, const Echo& echo, std::size_t number, std::size_t count) {
    const std::array<double, 3> place{echo.x, echo.y, echo.z};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto stored = static_cast<std::int32_t>(std::lround(place[axis] / scale));
        buffer_.number(stored);
        least_[axis] = std::min(least_[axis], stored);
        greatest_[axis] = std::max(greatest_[axis], stored);
    }
    buffer_.number(static_cast<std::uint16_t>(std::clamp(echo.strength, 0.0, 1.0) * 65535));
    buffer_.number(static_cast<std::uint8_t>(number | count << 4));
    const int rightwards = 0x40; // the mirror only ever turns this way
    buffer_.number(
        static_cast<std::uint8_t>((shot.overlap ? 0x08 : 0) | rightwards | (shot.edge ? 0x80 : 0)));
    buffer_.number(static_cast<std::uint8_t>(echo.kind));
    buffer_.number(std::uint8_t(0)); // user data
    buffer_.number(static_cast<std::int16_t>(std::lround(shot.angle / 0.006)));
    buffer_.number(shot.strip);
    buffer_.number(shot.time);
    for (double part : {echo.colour.red, echo.colour.green, echo.colour.blue}) {
        buffer_.number(static_cast<std::uint16_t>(std::clamp(part, 0.0, 255.0) * 257));
    }
    ++points_;
    ++pointsOfReturn_[number - 1];
    if (buffer_.size() >= bufferSize) {
        buffer_.writeTo(file_);
    }
}

/// Written twice: first to reserve its place, and at the end with what the points turned out to be.
void LasWriter::writeHead() {
    ByteBuffer head;
    addHeader(head);
    addCoordinateSystem(head);
    head.writeTo(file_);
}

void LasWriter::addHeader(ByteBuffer& head) const {
    head.text("LASF", 4);
    head.number(std::uint16_t(0));    // file source
    head.number(std::uint16_t(0x11)); // adjusted GPS time, coordinate system as WKT
    head.text("", 16);                // GUID
    head.number(std::uint8_t(1));
    head.number(std::uint8_t(4));
    head.text("SYNTHETIC", 32);
    head.text("tilewright-makescan", 32);
    head.number(std::uint16_t(96)); // a fixed day, as equal calls give equal files
    head.number(std::uint16_t(2024));
    head.number(headerSize);
    head.number(static_cast<std::uint32_t>(headerSize + recordHeaderSize + wktSize));
    head.number(std::uint32_t(1)); // variable length records
    head.number(std::uint8_t(7));
    head.number(pointSize);
    head.text("", 4 + 5 * 4); // counts for older readers, who do not know this point format anyway
    for (int axis = 0; axis < 3; ++axis) {
        head.number(scale);
    }
    for (double along : origin) {
        head.number(along);
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
        head.number(origin[axis] + scale * greatest_[axis]);
        head.number(origin[axis] + scale * least_[axis]);
    }
    head.text("", 8 + 8 + 4); // no waveforms, no extended records
    head.number(points_);
    for (std::uint64_t count : pointsOfReturn_) {
        head.number(count);
    }
}

} // namespace Tilewright::MakeScan
