#include <io/clouds/PointCloud.h>

#include <cmath>

#include <gmock/gmock.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

using testing::AllOf, testing::HasSubstr, testing::Not;
using enum FieldType;

class VectorReaderTest : public FolderTest {
protected:
    std::unique_ptr<PointSource> open(const std::string& name) const {
        return openPointFile(Top / name, {Top, {}});
    }

    /// All fields have one type, and in all features the same value.
    struct Layer {
        const char* name;
        int system;
        OGRwkbGeometryType geometryType;
        OGRFieldType fieldType;
        std::vector<const char*> fields, geometries;
        double value;
    };

    static void addLayer(GDALDataset& data, const Layer& wanted) {
        OGRSpatialReference reference;
        reference.importFromEPSG(wanted.system);
        OGRLayer* const layer = data.CreateLayer(wanted.name, &reference, wanted.geometryType);
        for (const char* field : wanted.fields) {
            OGRFieldDefn definition(field, wanted.fieldType);
            layer->CreateField(&definition);
        }
        for (const char* wkt : wanted.geometries) {
            OGRFeature feature(layer->GetLayerDefn());
            OGRGeometry* geometry = nullptr;
            OGRGeometryFactory::createFromWkt(wkt, nullptr, &geometry);
            feature.SetGeometryDirectly(geometry);
            for (int i = 0; i < feature.GetFieldCount(); ++i)
                feature.SetField(i, wanted.value);
            ASSERT_EQ(layer->CreateFeature(&feature), OGRERR_NONE);
        }
    }

    GDALDatasetUniquePtr create(const std::string& name) const {
        GDALAllRegister();
        return GDALDatasetUniquePtr(GetGDALDriverManager()->GetDriverByName("GPKG")->Create(
            (Top / name).c_str(), 0, 0, 0, GDT_Unknown, nullptr));
    }

    static std::string geoJson(const std::string& features) {
        return R"({"type":"FeatureCollection","features":[)" + features + "]}";
    }
};

TEST_F(VectorReaderTest, AllLayersOfPointsComeWithTheAttributesTheyShare) {
    {
        const GDALDatasetUniquePtr data = create("points.gpkg");
        addLayer(*data,
                 {"area", 32633, wkbPolygon, OFTInteger, {"code"}, {"POLYGON ((0 0,1 0,1 1,0 0))"}, 1});
        addLayer(*data, {"single",
                         32632,
                         wkbPoint25D,
                         OFTInteger64,
                         {"class", "own", "code"},
                         {"POINT Z (1.5 -2 3)", "POINT EMPTY", "POINT Z (4 5 6)"},
                         255});
        addLayer(*data, {"many",
                         32632,
                         wkbMultiPoint25D,
                         OFTInteger,
                         {"code", "class"},
                         {"MULTIPOINT Z ((7 8 9),(10 11 12))"},
                         -70000});
    }
    const auto source = open("points.gpkg");
    EXPECT_EQ(positionsOf(*source), (std::vector<double>{1.5, -2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
    const std::map<std::string, Values> expected = {
        {"Classification", {Int, {255, 255, -70000, -70000}}},
        {"code", {Int, {255, 255, -70000, -70000}}},
    };
    EXPECT_EQ(valuesOf(*source), expected);
    EXPECT_THAT(source->coordinateSystem(),
                AllOf(testing::StartsWith("PROJCRS["), HasSubstr("UTM zone 32N"), Not(HasSubstr("\n"))));
}

TEST_F(VectorReaderTest, AttributesKeepTheirTypesAndMissingValuesAreNotZero) {
    saveAs(Top / "points.geojson", geoJson(R"(
        {"type":"Feature","geometry":{"type":"Point","coordinates":[9.5,48.25,312.125]},
         "properties":{"Intensity":7,"real":2.0,"text":"a","holes":5}},
        {"type":"Feature","geometry":null,"properties":{"Intensity":8,"real":1.0,"text":"b","holes":5}},
        {"type":"Feature","geometry":{"type":"Point","coordinates":[9.75,48,0]},
         "properties":{"Intensity":9,"real":0.1,"text":"c","holes":null}})"));
    const auto source = open("points.geojson");
    EXPECT_EQ(positionsOf(*source), (std::vector{9.5, 48.25, 312.125, 9.75, 48.0, 0.0}));
    std::map<std::string, Values> values = valuesOf(*source);
    EXPECT_TRUE(std::isnan(values["holes"].second.at(1)));
    values["holes"].second.pop_back();
    EXPECT_EQ(values, (std::map<std::string, Values>{{"Intensity", {UnsignedShort, {7, 9}}},
                                                     {"real", {Double, {2, 0.1}}},
                                                     {"holes", {Double, {5}}}}));
}

TEST_F(VectorReaderTest, WhatGivesNoPointsIsRefusedInOneLine) {
    const std::string flat =
        R"({"type":"Feature","geometry":{"type":"Point","coordinates":[1,2]},"properties":{}})";
    const std::string line =
        R"({"type":"Feature","geometry":{"type":"LineString","coordinates":[[1,2,3],[4,5,6]]},"properties":{}})";
    const std::string point =
        R"({"type":"Feature","geometry":{"type":"Point","coordinates":[1,2,3]},"properties":{}})";
    saveAs(Top / "flat.geojson", geoJson(flat));
    saveAs(Top / "line.geojson", geoJson(line));
    saveAs(Top / "mixed.geojson", geoJson(point + "," + line));
    saveAs(Top / "broken.geojson", geoJson(point).substr(0, 80));
    {
        const GDALDatasetUniquePtr data = create("systems.gpkg");
        addLayer(*data, {"a", 32632, wkbPoint25D, OFTInteger, {}, {"POINT Z (1 2 3)"}, 0});
        addLayer(*data, {"b", 32633, wkbPoint25D, OFTInteger, {}, {"POINT Z (1 2 3)"}, 0});
        const GDALDatasetUniquePtr raster(GetGDALDriverManager()->GetDriverByName("GTiff")->Create(
            (Top / "raster.tif").c_str(), 2, 2, 1, GDT_Byte, nullptr));
    }
    // A pdal that is installed here would take its turn.
    const PathOfPrograms path((Top / "nothing").string());
    for (const auto& [name, part] : {std::pair{"flat.geojson", "has points without heights"},
                                     {"line.geojson", "has no layer of points, but one of"},
                                     {"mixed.geojson", "has other things than points in it"},
                                     {"broken.geojson", "cannot be opened: "},
                                     {"systems.gpkg", "UTM zone 32N and WGS 84 / UTM zone 33N"},
                                     {"raster.tif", "is of no kind that can be read"}})
        EXPECT_THAT(messageOf([&, name = name] { open(name); }),
                    AllOf(HasSubstr(std::string(name) + ": "), HasSubstr(part), Not(HasSubstr("\n"))));
}

} // namespace
} // namespace Tilewright::Io::Test
