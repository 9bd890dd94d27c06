#include <io/clouds/PointCloud.h>

#include <gmock/gmock.h>

#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

using testing::AllOf, testing::HasSubstr, testing::Not;
using enum FieldType;

class PlyReaderTest : public FolderTest {
protected:
    std::unique_ptr<PointSource> read(const Bytes& bytes) const {
        saveAs(Top / "points.ply", bytes);
        return openPointFile(Top / "points.ply", {Top, {}});
    }
    std::unique_ptr<PointSource> read(const std::string& text) const { return read(textBytes(text)); }
};

/// An element with a list comes before the vertices, which have one too, and faces after them.
std::string header(const std::string& format) {
    return "ply\nformat " + format +
           " 1.0\ncomment made by hand\nobj_info for a test\n"
           "element camera 2\nproperty list uchar float64 view\nproperty ushort id\n"
           "element sign 1\nproperty short code\n"
           "element vertex 2\nproperty char a\nproperty double z\nproperty uint8 red\n"
           "property list int16 int holes\nproperty short w\nproperty float x\nproperty ushort Intensity\n"
           "property int32 c\nproperty uint d\nproperty float y\nproperty float32 scalar_e\n"
           "property double gps_time\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n";
}

class BinaryWriter {
public:
    explicit BinaryWriter(bool isBigEndian) : isBigEndian(isBigEndian) {}
    template <class... T> BinaryWriter& operator()(T... values) {
        (putOrdered(values), ...);
        return *this;
    }
    Bytes bytes;

private:
    template <class T> void putOrdered(T value) {
        Bytes own;
        putOne(own, value);
        if (isBigEndian)
            std::reverse(own.begin(), own.end());
        putOne(bytes, own);
    }
    bool isBigEndian;
};

Bytes binary(bool isBigEndian) {
    BinaryWriter writer(isBigEndian);
    writer.bytes = textBytes(header(isBigEndian ? "binary_big_endian" : "binary_little_endian"));
    writer(std::uint8_t{2}, 1.0, 2.0, std::uint16_t{7}, std::uint8_t{0}, std::uint16_t{8}, std::int16_t{-1});
    writer(std::int8_t{-128}, 1e10 + 0.5, std::uint8_t{200}, std::int16_t{1}, 99, std::int16_t{-32768}, 1.5F);
    writer(std::uint16_t{65535}, -2147483647 - 1, 4294967295U, -0.25F, 0.1F, 1e300);
    writer(std::int8_t{127}, -2.0, std::uint8_t{0}, std::int16_t{0}, std::int16_t{32767}, 3.0F);
    writer(std::uint16_t{0}, 2147483647, 0U, 4.0F, -1e30F, 0.0);
    return writer.bytes;
}

TEST_F(PlyReaderTest, AllThreeFormatsGiveEveryPropertyExactly) {
    const std::map<std::string, Values> expected = {
        {"a", {Int, {-128, 127}}},
        {"Red", {UnsignedChar, {200, 0}}},
        {"w", {Int, {-32768, 32767}}},
        {"Intensity", {UnsignedShort, {65535, 0}}},
        {"c", {Int, {-2147483648.0, 2147483647}}},
        {"d", {UnsignedInt, {4294967295.0, 0}}},
        {"e", {Float, {0.1F, -1e30F}}},
        {"GpsTime", {Double, {1e300, 0}}},
    };
    const std::string ascii =
        header("ascii") +
        "2 1 2 7\r\n0 8\n-1\n\n"
        "-128 10000000000.5 200.0 1 99 -32768 1.5 65535 -2147483648 4294967295 -.25 0.1 1e300\n"
        "127 -2 0 0 32767 3 0 2147483647 0 4 -1e30 0\n3 0 1 1\n";
    for (const Bytes& bytes : {textBytes(ascii), binary(false), binary(true)}) {
        const auto source = read(bytes);
        EXPECT_EQ(positionsOf(*source), (std::vector{1.5, -0.25, 1e10 + 0.5, 3.0, 4.0, -2.0}));
        EXPECT_EQ(valuesOf(*source), expected);
    }
    // Texts say more digits than a float keeps.
    EXPECT_EQ(
        positionsOf(*read("ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\n"
                          "property float z\nend_header\n5341000.125 0.1 1\n")),
        (std::vector{5341000.125, 0.1, 1.0}));
}

TEST_F(PlyReaderTest, EachFaultGetsOneLine) {
    const Bytes sound = binary(false);
    for (std::size_t length = header("binary_little_endian").size(); length < sound.size(); ++length)
        EXPECT_THAT(messageOf([&] { read(Bytes(sound.begin(), sound.begin() + static_cast<int>(length))); }),
                    testing::AnyOf(HasSubstr("ends too early"), HasSubstr("promises ")));

    const std::string vertex = "element vertex 2\nproperty uchar x\nproperty uchar y\nproperty uchar z\n";
    const std::string ascii = "ply\nformat ascii 1.0\n", little = "ply\nformat binary_little_endian 1.0\n";
    const std::string end = "end_header\n", most = "18446744073709551615";
    std::string longHeader = ascii + vertex;
    for (int i = 0; i < 5000; ++i)
        longHeader += "property char a\n";
    for (const auto& [text, part] : std::vector<std::pair<std::string, std::string>>{
             {ascii + vertex, "cut off inside its header"},
             {"ply\n" + vertex + end, "does not say its format"},
             {ascii + "element vertex -1\n", "line 3: gives no element"},
             {ascii + "property char x\n", "line 3: gives no property of an element"},
             {ascii + vertex + "property half w\n", "line 7: gives a property of no known type"},
             {ascii + vertex + "property list float int w\n", "line 7: counts the values"},
             {ascii + "bounds 1\n", "line 3: has no place in a header: 'bounds'"},
             {longHeader, "4096 can be read"},
             {ascii + "element face 0\n" + end, "has no vertices"},
             {ascii + "element vertex 1\nproperty char x\nproperty char y\n" + end, "has vertices without z"},
             {ascii + vertex + end + "1 2 3\n", "promises 2 of 'vertex', but only 1 are there"},
             {ascii + vertex + end + "1 2 3\n1 2\n", "line 9: has more or fewer values"},
             {ascii + vertex + end + "1 2 3,5\n", "line 8: holds '3,5'"},
             {ascii + vertex + "property uchar a\n" + end + "1 2 3 256\n",
              "line 9: holds '256', which is no number"},
             {ascii + vertex + "property list int int a\n" + end + "1 2 3 -1\n", "line 9: holds '-1'"},
             {ascii + vertex + "property list uint int a\n" + end + "1 2 3 4 1\n",
              "line 9: has more or fewer"},
             {ascii + "element vertex " + most + "\nproperty char x\nproperty char y\nproperty char z\n" +
                  end + "1 2 3\n",
              "promises " + most},
             {little + "element a " + most + "\nproperty char x\n" + vertex + end + "......",
              "promises " + most},
             {little + "element a " + most + "\nproperty list char char b\n" + vertex + end +
                  std::string(99, '\1'),
              "ends too early"},
             {little + vertex + "property list int8 int b\n" + end + "xyz\xFFxyz", "length below zero"},
             {ascii + "element vertex 1\nproperty float x\nproperty float y\nproperty float z\n" + end +
                  "1 inf 3\n",
              "point 1 has a coordinate that is not a finite number"},
         })
        EXPECT_THAT(messageOf([&, text = text] { read(text); }),
                    AllOf(HasSubstr(part), HasSubstr("points.ply: "), Not(HasSubstr("\n"))));
}

} // namespace
} // namespace Tilewright::Io::Test
