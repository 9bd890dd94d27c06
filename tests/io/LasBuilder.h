/// LasBuilder: LAS files for the tests, written attribute after attribute in the order of the format.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <io/system/Bytes.h>

namespace Tilewright::Io::Test {

using Bytes = std::vector<std::byte>;

template <class T> void poke(Bytes& bytes, std::size_t offset, T value) {
    copyAsLittleEndian<sizeof value>(reinterpret_cast<const std::byte*>(&value), bytes.data() + offset);
}

template <class T, std::size_t n> void poke(Bytes& bytes, std::size_t offset, std::array<T, n> values) {
    for (std::size_t i = 0; i < n; ++i)
        poke(bytes, offset + i * sizeof(T), values[i]);
}

template <class T> void putOne(Bytes& bytes, const T& value) {
    bytes.resize(bytes.size() + sizeof(T));
    poke(bytes, bytes.size() - sizeof(T), value);
}
inline void putOne(Bytes& bytes, const Bytes& more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

template <class... T> void put(Bytes& bytes, const T&... values) { (putOne(bytes, values), ...); }

inline Bytes textBytes(const std::string& text, std::size_t width) {
    Bytes bytes(width);
    std::transform(text.begin(), text.end(), bytes.begin(), [](char c) { return static_cast<std::byte>(c); });
    return bytes;
}
inline Bytes textBytes(const std::string& text) { return textBytes(text, text.size()); }

/// Every attribute that some format has; a record takes those of its own.
struct LasPoint {
    std::array<std::int32_t, 3> xyz = {};
    std::uint16_t intensity = 0;
    unsigned returnNumber = 1, numberOfReturns = 1, scanDirection = 0, edge = 0;
    unsigned classification = 0, synthetic = 0, keyPoint = 0, withheld = 0, overlap = 0, channel = 0;
    std::int16_t scanAngle = 0;
    std::uint8_t userData = 0;
    std::uint16_t source = 0;
    double gpsTime = 0;
    std::array<std::uint16_t, 4> colours = {}; // red, green, blue, near infrared
    std::uint8_t waveIndex = 0;
    std::uint64_t waveOffset = 0;
    std::uint32_t waveSize = 0;
    std::array<float, 4> wave = {};
    Bytes extra;
};

struct LasRecord {
    std::string user;
    std::uint16_t number;
    Bytes contents;
};

class LasBuilder {
public:
    std::uint8_t versionMinor = 2;
    std::uint8_t format = 0;
    std::uint16_t globalEncoding = 0;
    std::array<double, 3> scale = {0.01, 0.01, 0.01};
    std::array<double, 3> offset = {};
    std::vector<LasRecord> records;
    std::vector<LasRecord> extendedRecords;
    std::vector<LasPoint> points = std::vector<LasPoint>(3);

    Bytes build() const {
        Bytes vlrs;
        for (const LasRecord& record : records)
            putRecord<std::uint16_t>(vlrs, record);
        Bytes pointData;
        for (const LasPoint& point : points)
            putPoint(pointData, point);
        const std::size_t recordLength = points.empty() ? 0 : pointData.size() / points.size();
        const std::size_t headerSize = versionMinor >= 4 ? 375 : versionMinor == 3 ? 235 : 227;
        const std::size_t pointOffset = headerSize + vlrs.size();

        Bytes file = textBytes("LASF");
        put(file, std::uint16_t{0}, globalEncoding, Bytes(16), std::uint8_t{1}, versionMinor);
        put(file, textBytes("test", 32), textBytes("LasBuilder", 32), std::uint32_t{0});
        put(file, static_cast<std::uint16_t>(headerSize), static_cast<std::uint32_t>(pointOffset));
        put(file, static_cast<std::uint32_t>(records.size()), format);
        put(file, static_cast<std::uint16_t>(recordLength));
        put(file, static_cast<std::uint32_t>(format <= 5 ? points.size() : 0), Bytes(20), scale, offset);
        put(file, std::array<double, 6>{1e9, -1e9, 1e9, -1e9, 1e9, -1e9}); // a box that is wrong
        if (versionMinor >= 3)
            put(file, std::uint64_t{0});
        if (versionMinor >= 4) {
            put(file, std::uint64_t{pointOffset + pointData.size()});
            put(file, static_cast<std::uint32_t>(extendedRecords.size()));
            put(file, std::uint64_t{points.size()}, Bytes(120));
        }
        put(file, vlrs, pointData);
        for (const LasRecord& record : extendedRecords)
            putRecord<std::uint64_t>(file, record);
        return file;
    }

private:
    template <class Length> static void putRecord(Bytes& bytes, const LasRecord& record) {
        put(bytes, std::uint16_t{0}, textBytes(record.user, 16), record.number,
            static_cast<Length>(record.contents.size()), textBytes("a record", 32), record.contents);
    }

    void putPoint(Bytes& bytes, const LasPoint& p) const {
        put(bytes, p.xyz, p.intensity);
        if (format <= 5) {
            putBits(bytes, {{p.returnNumber, 3}, {p.numberOfReturns, 3}, {p.scanDirection, 1}, {p.edge, 1}});
            putBits(bytes, {{p.classification, 5}, {p.synthetic, 1}, {p.keyPoint, 1}, {p.withheld, 1}});
            put(bytes, static_cast<std::int8_t>(p.scanAngle), p.userData, p.source);
        } else {
            putBits(bytes, {{p.returnNumber, 4}, {p.numberOfReturns, 4}});
            const unsigned flags = p.synthetic | p.keyPoint << 1 | p.withheld << 2 | p.overlap << 3;
            putBits(bytes, {{flags, 4}, {p.channel, 2}, {p.scanDirection, 1}, {p.edge, 1}});
            put(bytes, static_cast<std::uint8_t>(p.classification), p.userData, p.scanAngle, p.source);
        }
        // What follows the core, by format: time, colours, near infrared, wave packet.
        static constexpr std::array parts = {"", "T", "C", "TC", "TW", "TCW", "T", "TC", "TCN", "TW", "TCNW"};
        for (const char part : std::string(parts.at(format)))
            if (part == 'T')
                put(bytes, p.gpsTime);
            else if (part == 'C')
                put(bytes, p.colours[0], p.colours[1], p.colours[2]);
            else if (part == 'N')
                put(bytes, p.colours[3]);
            else
                put(bytes, p.waveIndex, p.waveOffset, p.waveSize, p.wave);
        put(bytes, p.extra);
    }

    static void putBits(Bytes& bytes, const std::vector<std::pair<unsigned, unsigned>>& parts) {
        unsigned byte = 0, shift = 0;
        for (const auto& [value, bits] : parts) {
            byte |= value << shift;
            shift += bits;
        }
        put(bytes, static_cast<std::uint8_t>(byte));
    }
};

} // namespace Tilewright::Io::Test
