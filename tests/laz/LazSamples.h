/// LazSamples: the compressed files in tests/data/laz, and their chunks.
#pragma once

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <io/formats/las/ChunkDecoder.h>
#include <io/formats/las/ChunkTable.h>
#include <io/formats/las/CodingError.h>
#include <io/formats/las/CompressionRecord.h>
#include <io/records/PointSource.h>
#include <io/system/Bytes.h>
#include <tests/io/LasBuilder.h>

namespace Tilewright::Io::Test {

/// A file, and the FNV-1a digest of its records, which another program decompressed.
struct LazSample {
    const char* name;
    std::uint64_t pointCount;
    std::uint64_t digest;
};

inline constexpr LazSample lazSamples[] = {
    {"one_point_pf3", 1, 0x4b87bdc28f8151ddU},
    {"one_point_pf7", 1, 0x5b77e03135f05a10U},
    {"pf0", 1500, 0x599611362a7eea3eU},
    {"pf1", 1500, 0xbd056f1bd4cf8fdcU},
    {"pf10", 1500, 0x0584fc80ab9d1672U},
    {"pf1_extra", 1200, 0x21df63d23cc064a7U},
    {"pf2", 1500, 0xc79766deb46ea7fdU},
    {"pf3", 1500, 0x587b330aee91a2ffU},
    {"pf3_v1_pointwise", 1500, 0x587b330aee91a2ffU},
    {"pf3_variable", 1500, 0x587b330aee91a2ffU},
    {"pf4", 1500, 0xaab998fd27093f8aU},
    {"pf5", 1500, 0x3f83c2761b105981U},
    {"pf6", 1500, 0x23018b222866df2cU},
    {"pf6_extra", 1200, 0x7df1775089c8e45cU},
    {"pf7.copc", 5000, 0x9ba1685f9861c4dfU},
    {"pf7", 1500, 0xcd4c83f3e1c60ebaU},
    {"pf7_variable", 1500, 0xcd4c83f3e1c60ebaU},
    {"pf8", 1500, 0x652c0c6e97637946U},
    {"pf8_channels", 1200, 0x09967ecf8fc262bfU},
    {"pf9", 1500, 0x60d8014c2c084c64U},
};

inline std::uint64_t digest(std::span<const std::byte> bytes) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const std::byte byte : bytes)
        hash = (hash ^ std::to_integer<std::uint64_t>(byte)) * 0x100000001b3U;
    return hash;
}

/// What the tests need to know of a compressed file, taken from the places where sound files have it.
inline std::string nameOfSample(const testing::TestParamInfo<LazSample>& info) {
    std::string name = info.param.name;
    std::ranges::replace(name, '.', '_');
    return name;
}

struct LazCloud {
    explicit LazCloud(const std::string& name) {
        std::ifstream file(std::string(TILEWRIGHT_TEST_DATA "/laz/") + name + ".laz", std::ios::binary);
        if (!file)
            throw std::runtime_error("no sample " + name);
        const std::vector<char> text((std::istreambuf_iterator<char>(file)), {});
        bytes = textBytes({text.data(), text.size()});
        pointOffset = at<std::uint32_t>(96);
        pointFormat = at<std::uint8_t>(104) & 0x3FU;
        recordLength = at<std::uint16_t>(105);
        pointCount = at<std::uint8_t>(25) >= 4 ? at<std::uint64_t>(247) : at<std::uint32_t>(107);
        std::size_t position = at<std::uint16_t>(94);
        while (loadText(slice(position + 2, 16)) != CompressionRecord::userId)
            position += 54U + at<std::uint16_t>(position + 20);
        recordContents = {position + 54, at<std::uint16_t>(position + 20)};
        record = readCompressionRecord(slice(recordContents), pointFormat, recordLength);
        if (record.isChunked()) {
            tableOffset = at<std::uint64_t>(pointOffset);
            chunks = readChunkTable(slice(tableOffset, bytes.size() - tableOffset), tableOffset, pointOffset,
                                    pointCount, record);
        } else {
            chunks = {{pointOffset, bytes.size() - pointOffset, 0, pointCount}};
        }
    }

    template <class T> T at(std::uint64_t offset) const { return loadLittleEndian<T>(bytes.data() + offset); }
    std::span<const std::byte> slice(std::uint64_t offset, std::uint64_t length) const {
        return std::span(bytes).subspan(offset, length);
    }
    std::span<const std::byte> slice(ByteRange range) const { return slice(range.offset, range.length); }
    std::span<const std::byte> slice(const Chunk& chunk) const { return slice(chunk.offset, chunk.size); }

    Bytes bytes;
    std::uint64_t pointOffset = 0, tableOffset = 0, pointCount = 0;
    unsigned pointFormat = 0;
    std::size_t recordLength = 0;
    ByteRange recordContents;
    CompressionRecord record;
    std::vector<Chunk> chunks;
};

/// All points of a chunk, so many at a time.
inline Bytes decodeChunk(ChunkDecoder& decoder, std::size_t recordLength, std::size_t batch = 1000) {
    Bytes records, part(batch * recordLength);
    while (decoder.remaining() != 0) {
        const std::size_t count = decoder.decode(part);
        records.insert(records.end(), part.begin(),
                       part.begin() + static_cast<std::ptrdiff_t>(count * recordLength));
    }
    return records;
}

inline Bytes decodeChunk(const LazCloud& cloud, std::size_t chunk) {
    ChunkDecoder decoder(cloud.record);
    decoder.start(cloud.slice(cloud.chunks[chunk]), cloud.chunks[chunk].pointCount);
    return decodeChunk(decoder, cloud.recordLength);
}

inline Bytes recordsOf(const PointSource& source, std::uint64_t first, std::uint64_t count) {
    Bytes records;
    source.visit(first, count, [&](const std::byte* from, std::size_t n) {
        records.insert(records.end(), from, from + n * source.format().recordLength);
    });
    return records;
}

inline Bytes recordsOf(const PointSource& source) { return recordsOf(source, 0, source.pointCount()); }

/// What an action says that fails as it should.
template <class Action> std::string codingError(const Action& action) {
    try {
        action();
    } catch (const CodingError& error) {
        return error.what();
    }
    return "no CodingError";
}

} // namespace Tilewright::Io::Test
