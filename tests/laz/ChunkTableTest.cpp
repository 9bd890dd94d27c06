#include <io/formats/las/ChunkTable.h>

#include <optional>

#include <gmock/gmock.h>

#include <tests/laz/LazSamples.h>

namespace Tilewright::Io::Test {
namespace {

using testing::HasSubstr;

class ChunkTableTest : public testing::Test {
protected:
    std::vector<Chunk> read(const LazCloud& cloud, const Bytes& table, std::uint64_t points) const {
        return readChunkTable(table, cloud.tableOffset, cloud.pointOffset, points, cloud.record);
    }
    std::string error(const LazCloud& cloud, const Bytes& table, std::uint64_t points) const {
        return codingError([&] { read(cloud, table, points); });
    }
    static Bytes tableOf(const LazCloud& cloud) {
        const auto table = cloud.slice(cloud.tableOffset, cloud.bytes.size() - cloud.tableOffset);
        return {table.begin(), table.end()};
    }

    const LazCloud fixed{"pf7"}, variable{"pf7_variable"};
};

TEST_F(ChunkTableTest, ChunksLieOneAfterTheOtherUpToTheTable) {
    for (const LazCloud* cloud : {&fixed, &variable}) {
        std::uint64_t offset = cloud->pointOffset + 8, point = 0;
        for (const Chunk& chunk : cloud->chunks) {
            EXPECT_EQ(chunk.offset, offset);
            EXPECT_EQ(chunk.firstPoint, point);
            offset += chunk.size;
            point += chunk.pointCount;
        }
        EXPECT_EQ(offset, cloud->tableOffset);
        EXPECT_EQ(point, cloud->pointCount);
    }
    EXPECT_EQ(variable.chunks[0].pointCount, 1);
    EXPECT_EQ(variable.chunks[1].pointCount, 700);
    EXPECT_EQ(fixed.chunks.size(), 3);
    EXPECT_TRUE(read(fixed, tableOf(fixed), 0).empty());
}

TEST_F(ChunkTableTest, NamesWhatDoesNotFitTheFile) {
    Bytes table = tableOf(fixed);
    EXPECT_THAT(error(fixed, table, 1501), HasSubstr("has 3 chunks, but 1501 points in chunks of 500 are 4"));
    EXPECT_THAT(codingError([&] { readChunkTable(table, 100, fixed.pointOffset, 1500, fixed.record); }),
                HasSubstr("lies before the points"));
    EXPECT_THAT(codingError([&] {
                    readChunkTable(table, fixed.tableOffset - 1, fixed.pointOffset, 1500, fixed.record);
                }),
                HasSubstr("chunk 3 of 3 ends inside it"));
    poke(table, 4, std::uint32_t{0xFFFFFFFFU});
    EXPECT_THAT(error(fixed, table, 1500), HasSubstr("4294967295 chunks, more than fit"));
    poke(table, 0, std::uint32_t{1});
    EXPECT_THAT(error(fixed, table, 1500), HasSubstr("is of version 1"));
    table = tableOf(variable);
    poke(table, 4, std::uint32_t{0});
    EXPECT_THAT(error(variable, table, 1500), HasSubstr("has no chunks"));
}

TEST_F(ChunkTableTest, ThePointerSaysWhereItIsOrThatThereIsNone) {
    const ChunkTablePlace place = {1000, 5000};
    EXPECT_EQ(chunkTableOffset(4992, place), 4992);
    EXPECT_EQ(chunkTableOffset(1008, place), 1008);
    for (const std::int64_t missing : {0, 1000, 4993, 100000})
        EXPECT_EQ(chunkTableOffset(missing, place), std::nullopt) << missing;
    for (const std::int64_t wrong : {-1, -2, 1, 999, 1007})
        EXPECT_THAT(codingError([&] { chunkTableOffset(wrong, place); }), HasSubstr("is before its points"));
}

} // namespace
} // namespace Tilewright::Io::Test
