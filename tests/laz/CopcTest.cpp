#include <io/formats/las/CopcHierarchy.h>

#include <algorithm>
#include <array>
#include <limits>

#include <gmock/gmock.h>

#include <tests/laz/LazSamples.h>

namespace Tilewright::Io::Test {
namespace {

using testing::HasSubstr;

constexpr ByteRange infoContents = {429, 160};

TEST(CopcInfoTest, TheRecordHasToGiveACubeAndAPage) {
    const LazCloud cloud("pf7.copc");
    EXPECT_TRUE(isCopc(cloud.bytes));
    EXPECT_FALSE(isCopc(LazCloud("pf7").bytes));
    const auto after = [&](std::size_t place, auto value) {
        const auto sound = cloud.slice(infoContents);
        Bytes contents(sound.begin(), sound.end());
        poke(contents, place, value);
        return codingError([&] { readCopcInfo(contents, cloud.bytes.size()); });
    };
    constexpr double infinity = std::numeric_limits<double>::infinity();
    EXPECT_THAT(after(8, -infinity), HasSubstr("no finite cube"));
    EXPECT_THAT(after(24, std::nan("")), HasSubstr("no finite cube"));
    EXPECT_THAT(after(32, -1.0), HasSubstr("not positive"));
    EXPECT_THAT(after(40, std::uint64_t{cloud.bytes.size() + 1}), HasSubstr("after the end"));
    EXPECT_THAT(codingError([&] { readCopcInfo(cloud.slice(429, 159), cloud.bytes.size()); }),
                HasSubstr("is cut off"));
}

/// Hierarchies in a file of 4096 bytes, the first 1024 of which are points.
class CopcHierarchyTest : public testing::Test {
protected:
    void put(std::uint64_t at, std::array<std::int32_t, 4> key, std::uint64_t offset, std::int32_t length,
             std::int32_t count) {
        poke(file, at, key);
        poke(file, at + 16, offset);
        poke(file, at + 24, length);
        poke(file, at + 28, count);
    }

    std::vector<CopcNode> read(ByteRange rootPage) {
        CopcInfo info;
        info.rootPage = rootPage;
        CopcWalk walk;
        walk.readPage = [this](ByteRange page) {
            ++pages;
            return std::span<const std::byte>(file).subspan(page.offset, page.length);
        };
        walk.matters = matters;
        walk.chunks = {0, 1024};
        walk.fileSize = file.size();
        walk.leastChunkBytes = 50;
        return readCopcNodes(info, walk);
    }

    std::string error(ByteRange rootPage) {
        return codingError([&] { read(rootPage); });
    }

    Bytes file = Bytes(4096);
    std::function<bool(const CopcKey&)> matters;
    int pages = 0;
};

TEST_F(CopcHierarchyTest, FollowsLinksOnlyWhereSomethingMatters) {
    put(2048, {0, 0, 0, 0}, 500, 100, 10);
    put(2080, {1, 0, 0, 0}, 3072, 64, -1);
    put(2112, {1, 1, 0, 0}, 3584, 32, -1);
    put(3072, {1, 0, 0, 0}, 0, 0, 0);
    put(3104, {2, 1, 1, 0}, 100, 60, 5);
    put(3584, {1, 1, 0, 0}, 200, 60, 6);
    const std::vector<CopcNode> nodes = read({2048, 96});
    ASSERT_EQ(nodes.size(), 3);
    EXPECT_EQ(nodes[0].key, (CopcKey{2, {1, 1, 0}}));
    EXPECT_EQ(nodes[2].pointCount, 10);
    EXPECT_EQ(pages, 3);
    pages = 0;
    matters = [](const CopcKey& key) { return key.level == 0 || key.place[0] >> (key.level - 1) == 1; };
    EXPECT_EQ(read({2048, 96}).size(), 2);
    EXPECT_EQ(pages, 2);
}

TEST_F(CopcHierarchyTest, PagesThatNeverEndAreAnError) {
    put(2048, {0, 0, 0, 0}, 2048, 32, -1);
    EXPECT_THAT(error({2048, 32}), HasSubstr("twice"));
    // Each a little shorter than the one before, so that none is visited twice.
    for (std::int32_t i = 0; i < 60; ++i)
        put(2048 + 32 * static_cast<std::uint64_t>(i), {i % 31, 0, 0, 0},
            2080 + 32 * static_cast<std::uint64_t>(i), 32 * (63 - i), -1);
    EXPECT_NE(error({2048, 2048}), "no CodingError");
    EXPECT_LT(pages, 4);
}

TEST_F(CopcHierarchyTest, NamesTheNodeThatIsWrong) {
    const auto afterPutting = [&](std::array<std::int32_t, 4> key, std::uint64_t offset, std::int32_t length,
                                  std::int32_t count) {
        put(2048, key, offset, length, count);
        return error({2048, 32});
    };
    EXPECT_THAT(afterPutting({-1, 0, 0, 0}, 0, 60, 1), HasSubstr("-1-0-0-0, which no octree has"));
    EXPECT_THAT(afterPutting({2, 0, 4, 0}, 0, 60, 1), HasSubstr("2-0-4-0, which no octree has"));
    EXPECT_THAT(afterPutting({0, 0, 0, 0}, 965, 60, 1), HasSubstr("outside of the points"));
    EXPECT_THAT(afterPutting({0, 0, 0, 0}, ~std::uint64_t{0}, 60, 1), HasSubstr("outside of the points"));
    EXPECT_THAT(afterPutting({0, 0, 0, 0}, 0, 49, 1), HasSubstr("too few for a chunk"));
    EXPECT_THAT(afterPutting({0, 0, 0, 0}, 0, -5, 1), HasSubstr("-5 bytes"));
    EXPECT_THAT(afterPutting({0, 0, 0, 0}, 0, 60, -2), HasSubstr("-2 points"));
    EXPECT_THAT(afterPutting({0, 0, 0, 0}, 4096, 32, -1), HasSubstr("after the end"));
    EXPECT_THAT(afterPutting({0, 0, 0, 0}, 3072, 33, -1), HasSubstr("no number of entries"));
    EXPECT_THAT(afterPutting({0, 0, 0, 0}, 964, 60, 1), "no CodingError");
}

TEST_F(CopcHierarchyTest, NodesAreOneEachAndShareNothing) {
    put(2048, {0, 0, 0, 0}, 100, 60, 1);
    put(2080, {1, 0, 0, 0}, 159, 60, 1);
    EXPECT_THAT(error({2048, 64}), HasSubstr("0-0-0-0 and 1-0-0-0 the same bytes"));
    put(2080, {0, 0, 0, 0}, 160, 60, 1);
    EXPECT_THAT(error({2048, 64}), HasSubstr("0-0-0-0 twice"));
    put(2080, {1, 0, 0, 0}, 3072, 32, -1);
    put(3072, {1, 1, 0, 0}, 200, 60, 1);
    EXPECT_THAT(error({2048, 64}), HasSubstr("1-1-0-0 on the page of 1-0-0-0"));
}

} // namespace
} // namespace Tilewright::Io::Test
