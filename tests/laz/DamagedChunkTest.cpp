#include <gmock/gmock.h>

#include <io/formats/las/LayeredHead.h>
#include <tests/laz/LazSamples.h>

namespace Tilewright::Io::Test {
namespace {

using testing::HasSubstr;

class DamagedChunkTest : public testing::TestWithParam<LazSample> {
protected:
    /// How often a chunk that takes long is damaged.
    static constexpr std::size_t attempts = 60;

    /// A copy ends where the chunk does, so that a sanitizer sees what is read after it.
    Bytes chunkBytes(const Chunk& chunk, std::size_t size) const {
        const auto all = cloud.slice(chunk).first(size);
        return {all.begin(), all.end()};
    }

    std::string decode(const Bytes& chunk, std::uint64_t pointCount,
                       ChunkDecoder::Extent extent = ChunkDecoder::Extent::Exact) const {
        return codingError([&] {
            ChunkDecoder decoder(cloud.record);
            decoder.start(chunk, pointCount, extent);
            const Bytes records = decodeChunk(decoder, cloud.recordLength, 64);
            EXPECT_EQ(records.size(), pointCount * cloud.recordLength);
        });
    }

    const LazCloud cloud{GetParam().name};
};

TEST_P(DamagedChunkTest, ACutOneIsAnErrorWhereverItIsCut) {
    for (const Chunk& chunk : cloud.chunks) {
        const std::size_t step = chunk.size < 1000 ? 1 : chunk.size / attempts;
        for (std::size_t size = 0; size < chunk.size; size += step) {
            EXPECT_NE(decode(chunkBytes(chunk, size), chunk.pointCount), "no CodingError") << size;
            EXPECT_NE(decode(chunkBytes(chunk, size), chunk.pointCount, ChunkDecoder::Extent::AtMost),
                      "no CodingError")
                << size;
        }
    }
}

TEST_P(DamagedChunkTest, OneWithAByteTooManyIsAnError) {
    const Chunk& chunk = cloud.chunks.front();
    Bytes bytes = chunkBytes(chunk, chunk.size);
    bytes.push_back({});
    EXPECT_THAT(decode(bytes, chunk.pointCount), HasSubstr("end after " + std::to_string(chunk.size)));
}

TEST_P(DamagedChunkTest, MorePointsThanItHasAreAnError) {
    const Chunk& chunk = cloud.chunks.front();
    const Bytes bytes = chunkBytes(chunk, chunk.size);
    ChunkDecoder decoder(cloud.record);
    EXPECT_NE(codingError([&] {
                  decoder.start(bytes, std::uint64_t{1} << 60);
                  Bytes records(1000 * cloud.recordLength);
                  for (int i = 0; i < 1000; ++i)
                      decoder.decode(records);
              }),
              "no CodingError");
}

INSTANTIATE_TEST_SUITE_P(, DamagedChunkTest, testing::ValuesIn(lazSamples), nameOfSample);

class DamagedHeadTest : public testing::Test {
protected:
    std::string decode() const {
        return codingError([&] {
            ChunkDecoder decoder(cloud.record);
            decoder.start(bytes, cloud.chunks[0].pointCount);
            decodeChunk(decoder, cloud.recordLength);
        });
    }

    template <class T> void pokeHead(std::size_t number, T value) {
        poke(bytes, cloud.recordLength + 4 * number, value);
    }

    LazCloud cloud{"pf7"};
    Bytes bytes{cloud.slice(cloud.chunks[0]).begin(), cloud.slice(cloud.chunks[0]).end()};
};

TEST_F(DamagedHeadTest, ItsNumbersHaveToFitTheChunk) {
    const Bytes sound = bytes;
    pokeHead(0, std::uint32_t{499});
    EXPECT_THAT(decode(), HasSubstr("499 points, and not 500"));
    bytes = sound;
    // Together they are as large as before, modulo 2^32.
    pokeHead(1, cloud.at<std::uint32_t>(cloud.chunks[0].offset + cloud.recordLength + 4) + 5);
    pokeHead(3, std::uint32_t{0xFFFFFFFBU});
    EXPECT_THAT(decode(), HasSubstr("its layers end at byte"));
}

TEST_F(DamagedHeadTest, TheFirstLayerHasToBeThereAndNoneIsTooShort) {
    const auto sizeXy = loadLittleEndian<std::uint32_t>(&bytes[cloud.recordLength + 4]);
    const auto sizeZ = loadLittleEndian<std::uint32_t>(&bytes[cloud.recordLength + 8]);
    pokeHead(1, std::uint32_t{0});
    pokeHead(2, sizeXy + sizeZ);
    EXPECT_THAT(decode(), HasSubstr("end too early"));
    pokeHead(1, sizeXy + sizeZ - 3);
    pokeHead(2, std::uint32_t{3});
    EXPECT_THAT(decode(), HasSubstr("end too early"));
}

TEST_F(DamagedHeadTest, AnIntervalThatEndsBeforeItsValueIsNone) {
    pokeHead(1 + cloud.record.layerCount(), std::uint32_t{0xFFFFFFFFU});
    EXPECT_THAT(decode(), HasSubstr("do not begin as such bytes do"));
}

} // namespace
} // namespace Tilewright::Io::Test
