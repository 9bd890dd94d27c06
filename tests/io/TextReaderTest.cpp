#include <io/clouds/PointCloud.h>

#include <gmock/gmock.h>

#include <io/system/StepReport.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

using testing::AllOf, testing::ElementsAre, testing::HasSubstr, testing::Not;
using enum FieldType;
using All = std::map<std::string, Values>;

class TextReaderTest : public FolderTest {
protected:
    std::unique_ptr<PointSource> read(const std::string& text, const StepReport& report = {}) const {
        saveAs(Top / "points.txt", text);
        return openPointFile(Top / "points.txt", {Top, report});
    }
};

TEST_F(TextReaderTest, EverySeparatorAndEveryWayToNameColumnsGiveTheSamePoints) {
    const All named = {{"Intensity", {UnsignedShort, {7, 9}}}};
    for (const char* text : {
             "1.5 -2 3e2 7\n4 5 6 9\n",
             "  1.5\t-2   3e2 7 \r\n\r\n4 5 6\t \t9",
             "\xEF\xBB\xBF"
             "1.5,-2,+300,7\n4,5,6,9\n",
             "X,Y,Z,intensity\n1.5, -2, 300, 7\n4,5,6,9\n",
             "\"Northing\";\"EASTING\";\"Intensity\";\"Height\"\n-2;1.5;7;300\n5;4;9;6\n",
             "lon\tlat\televation\tscalar_Intensity\n1.5\t-2\t300\t7\n4\t5\t6\t9\n",
             "2\n1.5 -2 300 7\n4 5 6 9\n",
             "# made by hand\n//Intensity X Y Z\n2\n7 1.5 -2 300\n# half of it\n9 4 5 6\n",
             "x y z name intensity\n1.5 -2 300 \"a b\" 7\n4 5 6 \"\" 9\n",
         }) {
        const auto source = read(text);
        EXPECT_EQ(positionsOf(*source), (std::vector{1.5, -2.0, 300.0, 4.0, 5.0, 6.0})) << text;
        EXPECT_EQ(valuesOf(*source), named) << text;
    }
    EXPECT_EQ(read("x,y,z,Class\n")->pointCount(), 0U);
}

TEST_F(TextReaderTest, ColumnsGetTheTypeThatHoldsAllTheirValues) {
    const auto source = read("x,y,z,class,R,gps_time,z-score,big,bigger,wide,Return Number,height,class\n"
                             "0,0,0,2.0,65535,5,-1,4294967295,18446744073709551615,-1,300,1.25,1\n"
                             "0,0,0,31,0,6,2147483647,0,0,4294967295,1,1e300,1.5\n");
    const All expected = {
        {"Classification", {UnsignedChar, {2, 31}}},
        {"Red", {UnsignedShort, {65535, 0}}},
        {"GpsTime", {Double, {5, 6}}},
        {"z-score", {Int, {-1, 2147483647}}},
        {"big", {UnsignedInt, {4294967295, 0}}},
        {"bigger", {UnsignedLongLong, {18446744073709551615.0, 0}}},
        {"wide", {Double, {-1, 4294967295}}},
        {"ReturnNumber", {Int, {300, 1}}}, // more than a byte holds
        {"height", {Double, {1.25, 1e300}}},
        {"Classification_2", {Double, {1, 1.5}}},
    };
    EXPECT_EQ(valuesOf(*source), expected);
    const All unnamed = {{"Column4", {Int, {1}}}, {"Column6", {Double, {0.5}}}};
    EXPECT_EQ(valuesOf(*read("0 0 0 1 abc .5")), unnamed);
}

// Lines cross the blocks in which the file is read.
TEST_F(TextReaderTest, LargeTextsComeThroughWhole) {
    constexpr std::size_t count = 70000;
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += std::to_string(i) + ".25 0.1 -" + std::to_string(i) + " " + std::to_string(i % 65536) + "\n";
    std::uint64_t last = 0, end = 0;
    const auto source = read(text, [&](std::uint64_t done, std::uint64_t total) {
        EXPECT_LE(last, done);
        last = done;
        end = total;
        return true;
    });
    EXPECT_EQ(last, end);
    ASSERT_EQ(source->pointCount(), count);
    const std::vector<double> xyz = positionsOf(*source);
    const std::vector<double> intensity = valuesOf(*source).at("Intensity").second;
    for (std::size_t i = 0; i < count; ++i) {
        const auto number = static_cast<double>(i);
        ASSERT_EQ((std::array{xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]}),
                  (std::array{number + 0.25, 0.1, -number}));
        ASSERT_EQ(intensity[i], i % 65536);
    }
    EXPECT_THROW(read(text, [](std::uint64_t done, std::uint64_t) { return done == 0; }), Interruption);
}

TEST_F(TextReaderTest, EachFaultGetsOneLineThatSaysWhere) {
    const std::string longLine(70000, '1');
    for (const auto& [text, part] : std::vector<std::pair<std::string, std::string>>{
             {"", "is empty"},
             {"1 2\n3 4\n", "line 1: has no x, y and z"},
             {"a,b,c\n1,2,3\n", "line 1: names no columns x, y and z"},
             {"1 2 3\n\n1 2\n", "line 3: has 2 values, but there are 3 columns"},
             {"1 2 3\n1 2 3x\n", "line 2: z is '3x', which is not a number"},
             {"1;2;3\n1;2,5;3\n", "line 2: y is '2,5', which is not a number; the decimal separator"},
             {"1,5;2,5;3,5\n", "line 1: x is '1,5'"},
             {"1 2 3\n1 nan 3\n", "line 2: y is 'nan', which is not finite"},
             {"1 1e999 3\n", "line 1: y is '1e999'"},
             {"1 2 0x10\n", "line 1: z is '0x10'"},
             {"x,y,z,i\n1,2,3,\n1,2,3,4\n", "line 2: i has no value"},
             {"x,y,z,i\n1,2,3,4\n1,2,3,a\a\n", "line 3: i is 'a?', which is not a number"},
             {"x,y,z\n1,\"2,3\n", "line 2: has a quote"},
             {"3\n1 2 3\n", "promises 3 points, but 1 are there"},
             {"1 2 3\n" + longLine, "line 2: is too long"},
             {"\xFF\xFE"
              "1",
              "UTF-16"},
         })
        EXPECT_THAT(messageOf([&, text = text] { read(text); }),
                    AllOf(HasSubstr(part), HasSubstr("points.txt: "), Not(HasSubstr("\n"))));
}

} // namespace
} // namespace Tilewright::Io::Test
