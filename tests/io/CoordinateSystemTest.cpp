#include <io/gdal/CoordinateSystem.h>

#include <gmock/gmock.h>

#include <io/system/Errors.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

using testing::AllOf, testing::HasSubstr, testing::Not;

class CoordinateSystemTest : public FolderTest {};

TEST_F(CoordinateSystemTest, PeopleNameSystemsInManyWays) {
    const std::string system = coordinateSystemFromUser("EPSG:25832+5783");
    EXPECT_EQ("ETRS89 / UTM zone 32N + DHHN92 height", systemName(system));
    EXPECT_EQ(std::string::npos, system.find('\n'));
    EXPECT_EQ(system, coordinateSystemFromUser("25832+5783"));
    EXPECT_EQ(system, coordinateSystemFromUser(system));
    std::ofstream(Top / "site.prj") << coordinateSystemFromUser("EPSG:2992");
    EXPECT_EQ("NAD83 / Oregon GIC Lambert (ft)", systemName(coordinateSystemFromUser(Top / "site.prj")));
    EXPECT_NE("", coordinateSystemFromUser("+proj=utm +zone=32 +datum=WGS84"));
    EXPECT_EQ("", systemName(""));
}

TEST_F(CoordinateSystemTest, UnitsOfCoordinatesAndHeightsAreToldApart) {
    const auto units = [](const std::string& text) {
        const std::string system = coordinateSystemFromUser(text);
        return linearUnitOf(system) + "/" + verticalUnitOf(system);
    };
    EXPECT_EQ("metre/", units("EPSG:25832"));
    EXPECT_EQ("metre/metre", units("EPSG:25832+5783"));
    EXPECT_EQ("foot/US survey foot", units("EPSG:2992+6360"));
    EXPECT_EQ("/", units("EPSG:4326")) << "an angle is no length";
    EXPECT_EQ("/metre", units("EPSG:4979")) << "heights over the ellipsoid";
    EXPECT_EQ("metre/", units(R"(LOCAL_CS["site",UNIT["Meter",1]])"));
    EXPECT_EQ("fathom/", units(R"(LOCAL_CS["site",UNIT["fathom",1.8288]])"));
    EXPECT_EQ("", linearUnitOf("no system"));
    EXPECT_EQ("", verticalUnitOf(""));
}

TEST_F(CoordinateSystemTest, LineEndsInTheNamesOfAFileDoNotBreakTheLineOfAMessage) {
    const std::string system = coordinateSystemFromWkt("LOCAL_CS[\"old\r\nsite\",UNIT[\"me\nter\",1]]");
    for (const std::string& text : {system, systemName(system), linearUnitOf(system)})
        EXPECT_THAT(text, AllOf(Not(""), Not(HasSubstr("\r")), Not(HasSubstr("\n"))));
}

TEST_F(CoordinateSystemTest, WhatIsNotUnderstoodIsReportedInOneLine) {
    for (const std::string text : {"", "EPSG:999999", "nosuchfile.prj", "PROJCS[\"half\na", "EPSG:5783",
                                   "https://epsg.io/25832.wkt", "/dev/null"})
        EXPECT_THAT(messageOf<UsageError>([&] { coordinateSystemFromUser(text); }),
                    AllOf(Not(noFailure), Not(HasSubstr("\n"))))
            << text;
}

} // namespace
} // namespace Tilewright::Io::Test
