#include <io/formats/las/ChunkDecoder.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include <gmock/gmock.h>

#include <io/formats/las/LayeredHead.h>
#include <io/formats/las/StreamingMedian.h>
#include <tests/laz/LazSamples.h>

namespace Tilewright::Io::Test {
namespace {

class LazSampleTest : public testing::TestWithParam<LazSample> {
protected:
    const LazCloud cloud{GetParam().name};
};

TEST_P(LazSampleTest, DecodesEveryChunkInAnyBatchesToItsLastByte) {
    ASSERT_EQ(cloud.pointCount, GetParam().pointCount);
    for (const std::size_t batch : {1U, 7U, 100000U}) {
        ChunkDecoder decoder(cloud.record);
        Bytes records;
        for (const Chunk& chunk : cloud.chunks) {
            decoder.start(cloud.slice(chunk), chunk.pointCount);
            const Bytes more = decodeChunk(decoder, cloud.recordLength, batch);
            records.insert(records.end(), more.begin(), more.end());
            EXPECT_EQ(decoder.chunkBytes(), chunk.size);
        }
        EXPECT_EQ(records.size(), cloud.pointCount * cloud.recordLength);
        EXPECT_EQ(digest(records), GetParam().digest);
    }
}

TEST_P(LazSampleTest, NothingOfAChunkIsLeftForTheNext) {
    ChunkDecoder decoder(cloud.record);
    for (std::size_t i = cloud.chunks.size(); i-- > 0;) {
        const Chunk& chunk = cloud.chunks[i];
        // One that is given up half way leaves nothing either.
        Bytes half(chunk.pointCount / 2 * cloud.recordLength);
        decoder.start(cloud.slice(chunk), chunk.pointCount);
        decoder.decode(half);
        decoder.start(cloud.slice(chunk), chunk.pointCount);
        EXPECT_EQ(decodeChunk(decoder, cloud.recordLength), decodeChunk(cloud, i));
    }
}

TEST_P(LazSampleTest, ChunksFollowEachOtherWithoutATable) {
    ChunkDecoder decoder(cloud.record);
    auto rest = std::span(cloud.bytes).subspan(cloud.chunks.front().offset);
    for (const Chunk& chunk : cloud.chunks) {
        decoder.start(rest, chunk.pointCount, ChunkDecoder::Extent::AtMost);
        decodeChunk(decoder, cloud.recordLength);
        ASSERT_EQ(decoder.chunkBytes(), chunk.size);
        rest = rest.subspan(chunk.size);
    }
}

TEST_P(LazSampleTest, DecodesFromAFileThroughWindowsThatAreFarShorter) {
    const MemoryBytes file(cloud.bytes, "file");
    ChunkDecoder decoder(cloud.record);
    for (std::size_t i = 0; i < cloud.chunks.size(); ++i) {
        const Chunk& chunk = cloud.chunks[i];
        decoder.start(ChunkBytes(file, {chunk.offset, chunk.size}, 2), chunk.pointCount);
        EXPECT_EQ(decodeChunk(decoder, cloud.recordLength, 70), decodeChunk(cloud, i));
        EXPECT_EQ(decoder.chunkBytes(), chunk.size);
    }
}

INSTANTIATE_TEST_SUITE_P(, LazSampleTest, testing::ValuesIn(lazSamples), nameOfSample);

class LayeredSampleTest : public testing::TestWithParam<const char*> {
protected:
    const LazCloud cloud{GetParam()};
};

TEST_P(LayeredSampleTest, DecodesWhatIsWantedAndReadsNothingElse) {
    const Chunk& chunk = cloud.chunks.back();
    const Bytes all = decodeChunk(cloud, cloud.chunks.size() - 1);
    const LayeredHead head = readLayeredHead(cloud.slice(chunk), cloud.record);
    for (std::size_t byte = 0; byte < cloud.recordLength; ++byte) {
        ByteSelection wanted(cloud.recordLength);
        wanted.add(byte, 1);
        // Whatever is not needed is as wrong as it can be.
        Bytes needed(chunk.size, std::byte{0xFF});
        for (const ByteRange range : head.neededBytes(wanted))
            std::ranges::copy(cloud.slice(chunk.offset + range.offset, range.length),
                              needed.begin() + static_cast<std::ptrdiff_t>(range.offset));
        ChunkDecoder decoder(cloud.record, wanted);
        decoder.start(needed, chunk.pointCount);
        const Bytes records = decodeChunk(decoder, cloud.recordLength);
        ASSERT_EQ(records.size(), all.size());
        for (std::size_t i = 0; i < records.size(); i += cloud.recordLength) {
            ASSERT_EQ(std::memcmp(&records[i], &all[i], 8), 0) << "x, y";
            ASSERT_EQ(records[i + 14], all[i + 14]) << "returns";
            ASSERT_EQ(records[i + byte], all[i + byte])
                << "byte " << byte << " of point " << i / cloud.recordLength;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, LayeredSampleTest,
                         testing::Values("pf6_extra", "pf7", "pf8_channels", "pf9", "pf10", "one_point_pf7"));

TEST(ChunkDecoderTest, Version4DiffersOnlyWhereTheScannerChannelChanges) {
    const auto decodeAs4 = [](const char* name) {
        LazCloud cloud(name);
        const Bytes expected = decodeChunk(cloud, 0);
        for (LazItem& item : cloud.record.items)
            item.version = 4;
        return codingError([&] { EXPECT_EQ(decodeChunk(cloud, 0), expected); });
    };
    EXPECT_EQ(decodeAs4("pf8"), "no CodingError");
    EXPECT_NE(decodeAs4("pf8_channels"), "no CodingError");
}

TEST(StreamingMedianTest, DropsTheExtremeOppositeToWhereTheLastValueFell) {
    StreamingMedian median;
    const auto after = [&](std::int32_t value) {
        median.add(value);
        return median.median();
    };
    // The five begin as zeros, without the greatest of which 10 makes room for the least to go next.
    EXPECT_EQ(after(10), 0);
    EXPECT_EQ(after(20), 0);
    EXPECT_EQ(after(30), 10);
    EXPECT_EQ(after(5), 10);
    EXPECT_EQ(after(std::numeric_limits<std::int32_t>::min()), 5);
    EXPECT_EQ(after(std::numeric_limits<std::int32_t>::max()), 5);
}

} // namespace
} // namespace Tilewright::Io::Test
