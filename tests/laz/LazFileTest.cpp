#include <io/formats/las/LazFile.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>

#include <gmock/gmock.h>

#include <tests/laz/LazSamples.h>

namespace Tilewright::Io::Test {
namespace {

using testing::AllOf, testing::HasSubstr, testing::IsEmpty, testing::Not, testing::StartsWith;

/// A file in memory that counts what is read of it.
class CountedFile : public ByteSource {
public:
    explicit CountedFile(Bytes bytes) : bytes(std::move(bytes)), memory(this->bytes, "cloud.laz") {}

    const std::string& name() const noexcept override { return memory.name(); }
    std::uint64_t size() const noexcept override { return memory.size(); }
    std::size_t read(std::uint64_t offset, std::span<std::byte> room) const override {
        count += room.size();
        return memory.read(offset, room);
    }

    mutable std::atomic<std::size_t> count = 0;

private:
    Bytes bytes;
    MemoryBytes memory;
};

std::unique_ptr<LazFile> open(const Bytes& bytes) {
    return std::make_unique<LazFile>(std::make_unique<CountedFile>(bytes));
}

/// What is wrong with a file, found by the time that all of it has been read.
std::string fault(const Bytes& bytes) {
    try {
        recordsOf(*open(bytes));
    } catch (const InputError& error) {
        return error.what();
    }
    return "none";
}

class LazFileTest : public testing::TestWithParam<LazSample> {
protected:
    const LazCloud cloud{GetParam().name};
};

TEST_P(LazFileTest, HandsOutTheRecordsOfTheUncompressedFile) {
    const auto file = open(cloud.bytes);
    EXPECT_EQ(file->pointCount(), GetParam().pointCount);
    EXPECT_EQ(digest(recordsOf(*file)), GetParam().digest);
    EXPECT_THAT(file->notes(), IsEmpty());
    const PointBounds box = file->bounds(0, file->pointCount());
    EXPECT_EQ(file->statedBounds()->low, box.low);
    EXPECT_EQ(file->statedBounds()->high, box.high);
}

TEST_P(LazFileTest, ReadsAnyStretchOnSeveralThreads) {
    const auto file = open(cloud.bytes);
    const Bytes all = recordsOf(*file);
    const std::size_t length = cloud.recordLength;
    const auto work = [&](std::uint64_t step) {
        // Forward, back and across the chunks.
        for (std::uint64_t i = 0; i < 40; ++i) {
            const std::uint64_t first = i * step % file->pointCount();
            const std::uint64_t count = std::min(1 + i * 17, file->pointCount() - first);
            const auto part = recordsOf(*file, first, count);
            const auto expected = std::span(all).subspan(first * length, count * length);
            ASSERT_TRUE(std::ranges::equal(part, expected)) << first << " " << count;
        }
    };
    std::vector<std::jthread> threads;
    for (const std::uint64_t step : {37U, 501U, 1401U})
        threads.emplace_back(work, step);
}

TEST_P(LazFileTest, AttributesAloneAreThoseOfTheWholeRecords) {
    const auto file = open(cloud.bytes);
    const Bytes all = recordsOf(*file);
    const auto count = static_cast<std::size_t>(file->pointCount());
    for (const PointField& field : file->format().fields) {
        std::vector<double> expected(count), values(count);
        decodeField(file->format(), field, all.data(), std::span(expected));
        file->read(0, count, nullptr, std::array{FieldColumn{&field, std::span(values)}});
        // Numbers that are none differ from themselves.
        EXPECT_EQ(0, std::memcmp(values.data(), expected.data(), count * sizeof(double))) << field.name;
    }
}

INSTANTIATE_TEST_SUITE_P(, LazFileTest, testing::ValuesIn(lazSamples), nameOfSample);

class ChunkPlacesTest : public testing::TestWithParam<const char*> {
protected:
    Bytes withPointer(std::int64_t pointer) const {
        Bytes bytes = cloud.bytes;
        poke(bytes, cloud.pointOffset, pointer);
        return bytes;
    }

    const LazCloud cloud{GetParam()};
    const std::string expected = std::to_string(digest(recordsOf(*open(cloud.bytes))));
};

TEST_P(ChunkPlacesTest, ATableMayBeNamedAtTheEndOrBeMissing) {
    Bytes atEnd = withPointer(-1);
    put(atEnd, std::uint64_t{cloud.tableOffset});
    EXPECT_EQ(std::to_string(digest(recordsOf(*open(atEnd)))), expected);
    for (const std::int64_t pointer :
         {std::int64_t{0}, std::int64_t(cloud.pointOffset), std::int64_t(cloud.bytes.size())}) {
        Bytes bytes = withPointer(pointer);
        EXPECT_EQ(std::to_string(digest(recordsOf(*open(bytes)))), expected) << pointer;
        bytes.resize(cloud.tableOffset);
        EXPECT_EQ(std::to_string(digest(recordsOf(*open(bytes)))), expected);
        bytes.resize(bytes.size() - 100);
        EXPECT_THAT(fault(bytes),
                    AllOf(StartsWith("cloud.laz: chunk "), HasSubstr("is damaged"), HasSubstr("is cut off")));
    }
}

INSTANTIATE_TEST_SUITE_P(, ChunkPlacesTest, testing::Values("pf3", "pf1_extra", "pf7", "pf7_variable"));

TEST(LazFileFaultTest, NamesFileAndChunk) {
    const LazCloud cloud("pf3");
    Bytes bytes = cloud.bytes;
    const Chunk& second = cloud.chunks.at(1);
    for (std::uint64_t i = 100; i < 200; ++i)
        poke(bytes, second.offset + i, std::uint8_t{0xFF});
    EXPECT_THAT(fault(bytes), StartsWith("cloud.laz: chunk 2 of 3 of its compressed points is damaged: "));
    // The other chunks are none the worse.
    const auto file = open(bytes);
    EXPECT_EQ(recordsOf(*file, 0, 500), decodeChunk(cloud, 0));
    EXPECT_EQ(recordsOf(*file, 1000, 500), decodeChunk(cloud, 2));
}

TEST(LazFileFaultTest, NamesTheFileWhereNothingCanBeRead) {
    const LazCloud cloud("pf3"), variable("pf3_variable");
    const auto after = [](const LazCloud& sound, std::uint64_t place, auto value) {
        Bytes bytes = sound.bytes;
        poke(bytes, place, value);
        return fault(bytes);
    };
    const std::uint64_t contents = cloud.recordContents.offset;
    EXPECT_THAT(after(cloud, contents, std::uint16_t{7}),
                AllOf(StartsWith("cloud.laz: cannot be read: "), HasSubstr("names compressor 7")));
    EXPECT_THAT(after(cloud, cloud.tableOffset + 4, std::uint32_t{9}), HasSubstr("chunk table has 9 chunks"));
    EXPECT_THAT(after(variable, variable.pointOffset, std::int64_t{0}), HasSubstr("has no chunk table"));
    EXPECT_THAT(after(cloud, 104, std::uint8_t{3}), HasSubstr("its point format says that it is not"));
    // A file of which only the beginning is there.
    Bytes bytes = cloud.bytes;
    bytes.resize(cloud.pointOffset + 4);
    EXPECT_THAT(fault(bytes), HasSubstr("cut off before its first point"));
}

TEST(LazFileFaultTest, OfTwoNumbersOfPointsTheSmallerCounts) {
    const LazCloud cloud("pf7_variable");
    const Bytes all = recordsOf(*open(cloud.bytes));
    for (const std::uint64_t points : {1499U, 800U, 701U, 700U, 1U, 2000U}) {
        Bytes bytes = cloud.bytes;
        poke(bytes, 247, points);
        const auto file = open(bytes);
        const std::uint64_t count = std::min<std::uint64_t>(points, 1500);
        ASSERT_EQ(file->pointCount(), count);
        EXPECT_TRUE(std::ranges::equal(recordsOf(*file), std::span(all).first(count * cloud.recordLength)));
        ASSERT_EQ(file->notes().size(), 1U);
        EXPECT_THAT(file->notes()[0], AllOf(HasSubstr("1500 points in its chunks"),
                                            HasSubstr(std::to_string(points) + " by its header")));
        const std::vector<SourcePiece> pieces = file->pieces();
        EXPECT_EQ(pieces.back().first + pieces.back().count, count);
    }
}

TEST(LayeredFileTest, ReadsNothingOfLayersThatNobodyWants) {
    const LazCloud cloud("pf8");
    auto counted = std::make_unique<CountedFile>(cloud.bytes);
    const CountedFile& bytes = *counted;
    const LazFile file(std::move(counted));
    const auto readBy = [&](const auto& action) {
        const std::size_t before = bytes.count;
        action();
        return bytes.count - before;
    };
    const std::size_t all = readBy([&] { recordsOf(file); });
    const std::size_t positions = readBy([&] { file.bounds(0, file.pointCount()); });
    EXPECT_LT(positions, all / 2);
}

TEST(LayeredFileTest, GoesOnWhereTheLastVisitEnded) {
    const LazCloud cloud("pf7");
    auto counted = std::make_unique<CountedFile>(cloud.bytes);
    const CountedFile& bytes = *counted;
    const LazFile file(std::move(counted));
    recordsOf(file, 0, 100);
    const std::size_t before = bytes.count;
    recordsOf(file, 100, 100);
    recordsOf(file, 300, 200);
    EXPECT_EQ(bytes.count, before) << "the chunk was read again";
    recordsOf(file, 299, 1);
    EXPECT_GT(bytes.count, before);
}

TEST(CopcPiecesTest, HoldTheirPointsAndAreReadAlone) {
    const LazCloud cloud("pf7.copc");
    auto counted = std::make_unique<CountedFile>(cloud.bytes);
    const CountedFile& bytes = *counted;
    const auto file = std::make_unique<LazFile>(std::move(counted));
    const std::vector<SourcePiece> pieces = file->pieces();
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const std::size_t before = bytes.count;
        EXPECT_EQ(recordsOf(*file, pieces[i].first, pieces[i].count), decodeChunk(cloud, i));
        EXPECT_EQ(bytes.count - before, cloud.chunks[i].size);
    }
    ASSERT_EQ(pieces.size(), cloud.chunks.size());
    double sides = 0;
    for (const SourcePiece& piece : pieces) {
        ASSERT_TRUE(piece.statedBox);
        const PointBounds box = file->bounds(piece.first, piece.count);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            EXPECT_GE(box.low[axis], piece.statedBox->low[axis]);
            EXPECT_LE(box.high[axis], piece.statedBox->high[axis]);
        }
        sides += piece.statedBox->high[0] - piece.statedBox->low[0];
    }
    const double root = 2 * file->octree()->info.halfSize;
    EXPECT_NEAR(sides, root * (1 + 0.5 * static_cast<double>(pieces.size() - 1)), 1);
    EXPECT_EQ(file->octree()->deepestLevel(), 1);
}

TEST(CopcPiecesTest, NodesAreChunks) {
    const LazCloud cloud("pf7.copc");
    const std::uint64_t page = cloud.at<std::uint64_t>(429 + 40);
    Bytes bytes = cloud.bytes;
    poke(bytes, page + 28, cloud.at<std::int32_t>(page + 28) + 1);
    EXPECT_THAT(fault(bytes), AllOf(StartsWith("cloud.laz: cannot be read: its COPC hierarchy has a node of"),
                                    HasSubstr("which is no chunk of the file")));
}

} // namespace
} // namespace Tilewright::Io::Test
