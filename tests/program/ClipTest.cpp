// Points within polygons, from the file of polygons to the pixels.
#include <map>
#include <numeric>

#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <tests/program/ProgramTest.h>

namespace Tilewright::App::Test {
namespace {

using Io::Test::LasBuilder;
using Io::Test::textBytes;

class Clip : public ProgramTest {
protected:
    /// A point in the middle of each cell of 40 x 30, at (500000, 5400000).
    Clip() {
        LasBuilder las;
        las.versionMinor = 4;
        las.format = 6;
        las.globalEncoding = 16;
        las.offset = {500000.0, 5400000.0, 0.0};
        las.records = {{"LASF_Projection", 2112, textBytes(Io::Test::compoundWkt)}};
        las.points.clear();
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x) {
                las.points.emplace_back();
                las.points.back().xyz = {100 * x + 50, 100 * y + 50, x + y};
            }
        save("in.las", las.build());
        GDALAllRegister();
    }

    /// A layer for each pair of a name and a polygon; 0 for no system.
    void saveLayers(const std::string& name, int system,
                    const std::vector<std::pair<const char*, std::string>>& layers) const {
        const GDALDatasetUniquePtr data(GetGDALDriverManager()->GetDriverByName("GPKG")->Create(
            (Folder / name).c_str(), 0, 0, 0, GDT_Unknown, nullptr));
        OGRSpatialReference reference;
        reference.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        if (system != 0)
            reference.importFromEPSG(system);
        for (const auto& [layerName, wkt] : layers) {
            OGRLayer* const layer =
                data->CreateLayer(layerName, system != 0 ? &reference : nullptr, wkbUnknown);
            OGRFeature feature(layer->GetLayerDefn());
            OGRGeometry* geometry = nullptr;
            if (OGRGeometryFactory::createFromWkt(wkt.c_str(), nullptr, &geometry) == OGRERR_NONE)
                feature.SetGeometryDirectly(geometry);
            EXPECT_EQ(layer->CreateFeature(&feature), OGRERR_NONE);
        }
    }

    double pointsIn(const Arguments& more) const {
        Arguments arguments = {"--band", "count", "--nodata", "0"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Outcome outcome = raster(arguments);
        EXPECT_EQ(0, outcome.status) << outcome.err;
        const std::vector<double> counts = readBand("out.tif").values;
        return std::accumulate(counts.begin(), counts.end(), 0.0);
    }

    static constexpr auto square = "POLYGON((500010 5400010,500020 5400010,500020 5400020,500010 5400020,"
                                   "500010 5400010),(500012 5400012,500014.5 5400012,500014.5 5400014.5,"
                                   "500012 5400014.5,500012 5400012))";
};

TEST_F(Clip, TakesThePointsInPolygonsAndNoneInTheirHoles) {
    saveLayers("area.gpkg", 32632, {{"a", square}});
    // The points at 14.5 are on the edge of the hole.
    EXPECT_EQ(100 - 4, pointsIn({"--clip", "area.gpkg"}));
    const Band band = readBand("out.tif");
    EXPECT_EQ(11, band.width) << "the box of the polygons, and room for points on its upper edges";
    EXPECT_EQ(500010.0, band.west);
    EXPECT_EQ(5400021.0, band.north);
    EXPECT_EQ(50 - 4, pointsIn({"--clip", "area.gpkg", "--bounds", "500000", "5400000", "500015", "5400040",
                                "--cell", "5"}));
    saveLayers("none.gpkg", 0, {{"lines", "LINESTRING(0 0,1 1)"}, {"a:b", square}});
    EXPECT_EQ(96, pointsIn({"--clip", "none.gpkg:a:b"}));
}

TEST_F(Clip, TransformsPolygonsIntoTheSystemOfTheCloud) {
    // A line of constant northing is one of nearly constant latitude at the central meridian.
    saveLayers("area.gpkg", 4326,
               {{"a", "POLYGON((9.0000 48.7,9.00014 48.7,9.00014 48.8,9.0000 48.8,9.0000 48.7))"}});
    EXPECT_EQ(10 * 30, pointsIn({"--clip", "area.gpkg"})) << "0.00014 degrees are 10.3 metres";
}

TEST_F(Clip, IsTheSameOnAnyWayThroughTheCloud) {
    saveLayers("area.gpkg", 32632, {{"a", square}});
    const Arguments bands = {"--clip", "area.gpkg", "--band", "Height:Mean", "Height:Median", "--cell", "3"};
    std::map<std::string, std::string> expected;
    for (const Arguments& way : {Arguments{}, {"--threads", "1"}, {"--memory", "64M"}}) {
        Arguments arguments = bands;
        arguments.insert(arguments.end(), way.begin(), way.end());
        ASSERT_EQ(0, raster(arguments).status);
        for (const std::string name : {"out-Height-Mean.tif", "out-Height-Median.tif"})
            EXPECT_EQ(expected.try_emplace(name, textOf(Folder / name)).first->second, textOf(Folder / name));
    }
}

TEST_F(Clip, OfAnOctreeIsThatOfItsPoints) {
    saveLayers("area.gpkg", 0,
               {{"a", "POLYGON((612003 5341002,612009 5341003,612006 5341009.5,612003 5341002))"},
                {"far", "POLYGON((612040 5341002,612041 5341002,612041 5341003,612040 5341002))"}});
    const std::string samples = TILEWRIGHT_TEST_DATA "/laz/";
    for (const std::string name : {"pf7.copc", "pf7"})
        ASSERT_EQ(0, run({"raster", samples + name + ".laz", name + ".tif", "--clip", "area.gpkg:a", "--band",
                          "count", "Height:Max", "Height:Median"})
                         .status);
    for (const std::string band : {"-count.tif", "-Height-Max.tif", "-Height-Median.tif"})
        EXPECT_EQ(readBand("pf7" + band).values, readBand("pf7.copc" + band).values) << band;
    const Outcome far =
        run({"raster", samples + "pf7.copc.laz", "out.tif", "--clip", "area.gpkg:far", "--band", "count"});
    EXPECT_EQ(1, far.status);
    EXPECT_NE(std::string::npos, far.err.find("no points near the polygons")) << far.err;
}

TEST_F(Clip, IsRefusedWhereThePolygonsCannotBeMeant) {
    saveLayers("area.gpkg", 32632, {{"a", square}, {"b", square}});
    saveLayers("lines.gpkg", 32632, {{"a", "LINESTRING(0 0,1 1)"}});
    saveLayers("empty.gpkg", 32632, {{"a", "POLYGON EMPTY"}});
    saveLayers("far.gpkg", 32632, {{"a", "POLYGON((0 0,1 0,1 1,0 0))"}});
    saveLayers("pole.gpkg", 4326, {{"a", "POLYGON((0 0,1 0,1 95,0 0))"}});
    saveLayers("huge.gpkg", 32632,
               {{"a", "POLYGON((-1e300 -1e300,1e300 -1e300,1e300 1e300,-1e300 -1e300))"}});
    saveAs(Folder / "text.txt", "no polygons");
    for (const auto& [area, words] : std::vector<std::pair<std::string, std::string>>{
             {"area.gpkg", "several layers: a, b; choose one of them with area.gpkg:LAYER"},
             {"area.gpkg:c", "has no layer 'c'; it has a, b"},
             {"lines.gpkg", "other things than polygons"},
             {"empty.gpkg", "has no polygons"},
             {"far.gpkg", "no points near the polygons, which lie between 0 0 and 1 1"},
             {"pole.gpkg", "cannot be transformed"},
             {"huge.gpkg", "coordinates that are too large or no numbers"},
             {"text.txt", "is no file of polygons"},
             {"nowhere.gpkg", "nowhere.gpkg: cannot be opened"}}) {
        const Outcome outcome = raster({"--clip", area});
        EXPECT_EQ(1, outcome.status) << area;
        EXPECT_NE(std::string::npos, outcome.err.find(words)) << outcome.err;
        EXPECT_FALSE(fs::exists(Folder / "out.tif"));
    }
}

} // namespace
} // namespace Tilewright::App::Test
