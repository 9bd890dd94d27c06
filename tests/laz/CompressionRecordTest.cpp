#include <io/formats/las/CompressionRecord.h>

#include <gmock/gmock.h>

#include <tests/laz/LazSamples.h>

namespace Tilewright::Io::Test {
namespace {

using testing::HasSubstr;

class CompressionRecordTest : public testing::Test {
protected:
    explicit CompressionRecordTest(const char* name = "pf7") : cloud(name) { restore(); }

    void restore() {
        const auto sound = cloud.slice(cloud.recordContents);
        contents = {sound.begin(), sound.end()};
    }

    template <class T> std::string afterPoking(std::size_t place, T value) {
        poke(contents, place, value);
        const std::string message = read(cloud.pointFormat, cloud.recordLength);
        restore();
        return message;
    }

    std::string read(unsigned pointFormat, std::size_t recordLength) const {
        return codingError([&] { readCompressionRecord(contents, pointFormat, recordLength); });
    }

    LazCloud cloud;
    Bytes contents;
};

TEST_F(CompressionRecordTest, SaysHowThePointsAreEncoded) {
    const CompressionRecord record = readCompressionRecord(contents, 7, 36);
    EXPECT_TRUE(record.isLayered());
    EXPECT_EQ(record.chunkSize, 500);
    EXPECT_EQ(record.layerCount(), 10);
    EXPECT_EQ(record.leastChunkBytes(1), 36 + 4 + 40);
    EXPECT_FALSE(record.isCompatibilityMode);
    EXPECT_TRUE(LazCloud("pf7_variable").record.hasVariableChunks());
    EXPECT_FALSE(LazCloud("pf3_v1_pointwise").record.isChunked());
}

TEST_F(CompressionRecordTest, NamesWhatCannotBeRead) {
    EXPECT_THAT(afterPoking(0, std::uint16_t{2}), HasSubstr("points of format 7 do not go with"));
    EXPECT_THAT(afterPoking(2, std::uint16_t{1}), HasSubstr("names coder 1"));
    EXPECT_THAT(afterPoking(12, std::uint32_t{0}), HasSubstr("chunks of no points"));
    EXPECT_THAT(afterPoking(32, std::uint16_t{0}), HasSubstr("does not have the items"));
    EXPECT_THAT(afterPoking(32, std::uint16_t{3}), HasSubstr("too few for 3 items"));
    EXPECT_THAT(afterPoking(34, std::uint16_t{5}), HasSubstr("item of type 5"));
    EXPECT_THAT(afterPoking(36, std::uint16_t{31}), HasSubstr("POINT14 of 31 bytes"));
    EXPECT_THAT(afterPoking(38, std::uint16_t{5}), HasSubstr("POINT14 of version 5; versions 2 to 4"));
    EXPECT_THAT(read(6, 30), HasSubstr("does not have the items of points of format 6"));
    EXPECT_THAT(read(11, 36), HasSubstr("format 11"));
    for (std::size_t size = 0; size < contents.size(); ++size) {
        contents.resize(size);
        EXPECT_THAT(read(7, 36), HasSubstr("is cut off"));
        restore();
    }
}

TEST_F(CompressionRecordTest, ExtraBytesMakeUpTheRestOfTheRecord) {
    const LazCloud extra("pf6_extra");
    const auto sound = extra.slice(extra.recordContents);
    contents = {sound.begin(), sound.end()};
    EXPECT_EQ(read(6, extra.recordLength), "no CodingError");
    EXPECT_THAT(read(6, extra.recordLength + 1), HasSubstr("but points take"));
    poke(contents, 42, std::uint16_t{0});
    EXPECT_THAT(read(6, extra.recordLength), HasSubstr("BYTE14 of 0 bytes"));
}

} // namespace
} // namespace Tilewright::Io::Test
