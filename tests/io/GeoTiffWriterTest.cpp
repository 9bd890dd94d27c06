#include <io/GeoTiffWriter.h>

#include <cmath>
#include <csignal>
#include <limits>
#include <numeric>

#include <ogr_spatialref.h>
#include <sys/resource.h>

#include <io/Errors.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

bool isSparse(GDALRasterBand& band, int blockColumn, int blockRow) {
    const std::string item = "BLOCK_OFFSET_" + std::to_string(blockColumn) + "_" + std::to_string(blockRow);
    return band.GetMetadataItem(item.c_str(), "TIFF") == nullptr;
}

RasterGeometry geometryOf(std::uint64_t width, std::uint64_t height) {
    return {width, height, 0.0, 0.0, 1.0, 1.0, {}};
}

template <class T> BandDescription bandOf(std::optional<NoData> nodata = {}) {
    return {{}, pixelTypeOf<T>, nodata, {}, {}};
}

class GeoTiffWriterTest : public FolderTest {
protected:
    fs::path file(const char* name = "out.tif") const { return Top / name; }
    Names filesLeft() const { return namesIn(Top); }

    template <class T> void expectExact(NoData nodata) const {
        SCOPED_TRACE(testing::internal::GetTypeName<T>());
        using Limits = std::numeric_limits<T>;
        const std::vector<T> values = {Limits::lowest(), Limits::max(), Limits::min(), T(Limits::max() / 3)};
        GeoTiffWriter writer(file(), geometryOf(2, 2), bandOf<T>(nodata));
        writer.write<T>(0, 0, 2, 2, values);
        using Other = std::conditional_t<std::is_same_v<T, int>, float, int>;
        EXPECT_THROW(writer.write<Other>(0, 0, 1, 1, std::vector<Other>(1)), std::invalid_argument);
        writer.finish();

        const auto dataset = openRaster(file());
        GDALRasterBand& raster = *dataset->GetRasterBand(1);
        const GDALDataType type = raster.GetRasterDataType();
        EXPECT_EQ(values, readAll<T>(raster, type));
        EXPECT_EQ(std::is_integral_v<T>, bool(GDALDataTypeIsInteger(type)));
        EXPECT_EQ(int(sizeof(T)), GDALGetDataTypeSizeBytes(type));
        EXPECT_EQ(Limits::lowest() < T(0), bool(GDALDataTypeIsSigned(type)));
        if (std::holds_alternative<double>(nodata))
            EXPECT_EQ(std::get<double>(nodata), raster.GetNoDataValue());
        else
            EXPECT_EQ(std::get<1>(nodata), raster.GetNoDataValueAsUInt64());
    }
};

TEST_F(GeoTiffWriterTest, DescribesTheRasterForOtherPrograms) {
    const RasterGeometry geometry = {300, 20, 612345.123456789, 5341000.1, 0.1, 1.0 / 3, compoundWkt};
    BandDescription band = bandOf<float>();
    band.name = "Height:Mean:Zdir";
    band.unit = "metre";
    band.metadata = {{"TIFFTAG_SOFTWARE", "tests"}};
    GeoTiffWriter(file(), geometry, band).finish();

    const auto dataset = openRaster(file());
    GDALRasterBand& raster = *dataset->GetRasterBand(1);
    std::array<double, 6> transform = {};
    ASSERT_EQ(CE_None, dataset->GetGeoTransform(transform.data()));
    EXPECT_EQ((std::array{612345.123456789, 0.1, 0.0, 5341000.1, 0.0, -1.0 / 3}), transform);
    EXPECT_STREQ("Area", dataset->GetMetadataItem("AREA_OR_POINT"));
    EXPECT_STREQ("tests", dataset->GetMetadataItem("TIFFTAG_SOFTWARE"));
    EXPECT_STREQ("Height:Mean:Zdir", raster.GetDescription());
    EXPECT_STREQ("metre", raster.GetUnitType());
    std::pair<int, int> block;
    raster.GetBlockSize(&block.first, &block.second);
    EXPECT_EQ((std::pair{256, 256}), block);

    const OGRSpatialReference* system = dataset->GetSpatialRef();
    ASSERT_NE(nullptr, system);
    EXPECT_TRUE(system->IsCompound());
    EXPECT_STREQ("32632", system->GetAuthorityCode("PROJCS"));
    EXPECT_STREQ("5773", system->GetAuthorityCode("VERT_CS"));
}

TEST_F(GeoTiffWriterTest, RowZeroIsNorthernmostAndWindowsMayComeInAnyOrder) {
    const std::ptrdiff_t width = 600;
    std::vector<int> values(600 * 300);
    std::iota(values.begin(), values.end(), 1);
    // Across block borders, and several of them in one block: column, row, columns, rows.
    GeoTiffWriter writer(file(), geometryOf(600, 300), bandOf<int>());
    for (const auto& [column, row, columns, rows] : std::vector<std::array<unsigned, 4>>{
             {500, 100, 100, 200}, {0, 0, 600, 100}, {0, 100, 255, 200}, {255, 100, 245, 200}}) {
        std::vector<int> part;
        for (std::ptrdiff_t r = row; r < row + rows; ++r) {
            const auto first = values.begin() + r * width + column;
            part.insert(part.end(), first, first + columns);
        }
        writer.write<int>(column, row, columns, rows, part);
    }
    for (const std::uint64_t outside : {std::uint64_t(600), std::numeric_limits<std::uint64_t>::max()})
        EXPECT_THROW(writer.write<int>(outside, 0, 1, 1, std::vector<int>(1)), std::invalid_argument);
    writer.finish();
    EXPECT_EQ(values, readAll<int>(*openRaster(file())->GetRasterBand(1), GDT_Int32));
}

TEST_F(GeoTiffWriterTest, BlocksWithoutDataTakeNoSpaceAndReadAsNodataOrZero) {
    for (const auto& nodata : {std::optional<NoData>(-9999.0), {NaN}, {}}) {
        const float blank = nodata ? static_cast<float>(std::get<double>(*nodata)) : 0.0F;
        GeoTiffWriter writer(file(), geometryOf(700, 700), bandOf<float>(nodata));
        writer.write<float>(0, 0, 700, 700, std::vector<float>(700 * 700, blank));
        writer.write<float>(300, 300, 1, 1, std::vector<float>{5});
        // The last block of a row is narrower than the others, and data may be taken back.
        for (const float value : {6.0F, blank})
            writer.write<float>(699, 0, 1, 1, std::vector<float>{value});
        writer.write<float>(699, 1, 1, 1, std::vector<float>{8});
        writer.finish();

        const auto dataset = openRaster(file());
        GDALRasterBand& raster = *dataset->GetRasterBand(1);
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 3; ++column) {
                const bool written = (row == 1 && column == 1) || (row == 0 && column == 2);
                EXPECT_EQ(!written, isSparse(raster, column, row)) << column << ", " << row;
            }
        const std::vector<float> values = readAll<float>(raster, GDT_Float32);
        for (std::size_t i = 0; i < values.size(); ++i) {
            const float expected = i == 300 * 700 + 300 ? 5.0F : i == 700 + 699 ? 8.0F : blank;
            ASSERT_TRUE(values[i] == expected || (std::isnan(values[i]) && std::isnan(expected))) << i;
        }
    }
}

TEST_F(GeoTiffWriterTest, RasterBeyondFourGigabytesIsASmallBigTiffWhileItIsEmpty) {
    GeoTiffWriter writer(file(), geometryOf(100000, 60000), bandOf<float>(NoData(-1.0)));
    writer.write<float>(99999, 59999, 1, 1, std::vector<float>{7});
    writer.write<float>(51455, 25855, 1, 1, std::vector<float>{8});
    writer.finish();
    EXPECT_LT(fs::file_size(file()), 8U << 20);
    EXPECT_EQ(43, textOf(file())[2]) << "the version number of a BigTIFF";
    const auto dataset = openRaster(file());
    for (const auto& [column, row, expected] :
         {std::array{99999, 59999, 7}, {99998, 59999, -1}, {51455, 25855, 8}, {51456, 25855, -1}}) {
        float value = 0;
        GDALRasterBand& raster = *dataset->GetRasterBand(1);
        ASSERT_EQ(CE_None, raster.RasterIO(GF_Read, column, row, 1, 1, &value, 1, 1, GDT_Float32, 0, 0));
        EXPECT_EQ(static_cast<float>(expected), value) << column << ", " << row;
    }
}

TEST_F(GeoTiffWriterTest, EveryTypeKeepsItsExtremesAndItsNodataExactly) {
    expectExact<float>(double(std::numeric_limits<float>::max()));
    expectExact<double>(std::numeric_limits<double>::max());
    expectExact<unsigned char>(255.0);
    expectExact<unsigned short>(65535.0);
    expectExact<int>(2147483647.0);
    expectExact<unsigned int>(4294967295.0);
    expectExact<unsigned long long>(~0ULL); // beyond what a double can name
}

TEST_F(GeoTiffWriterTest, WhatNoFileCanHoldIsRefused) {
    for (const BandDescription& band :
         {bandOf<unsigned char>(-1.0), bandOf<unsigned short>(0.5), bandOf<int>(NaN), bandOf<int>(1ULL << 31),
          bandOf<float>(1e39), bandOf<unsigned long long>(0x1p64)})
        EXPECT_THROW(GeoTiffWriter(file(), geometryOf(2, 2), band), OutputError);
    RasterGeometry southUp = geometryOf(5, 5), nonsense = southUp;
    southUp.pixelHeight = -1;
    nonsense.wkt = "PROJCS[\"half a";
    const std::uint64_t huge = std::uint64_t(1) << 31;
    for (const RasterGeometry& geometry :
         {geometryOf(0, 5), geometryOf(5, huge), geometryOf(2 * huge + 5, 5) /* 5 in 32 bits */,
          geometryOf(huge - 1, huge - 1), southUp, nonsense})
        EXPECT_THROW(GeoTiffWriter(file(), geometry, bandOf<float>()), OutputError);
    EXPECT_EQ(Names{}, filesLeft());

    // A float pixel that was set from the same decimal text has to match.
    GeoTiffWriter(file(), geometryOf(2, 2), bandOf<float>(0.1)).finish();
    EXPECT_EQ(double(0.1F), openRaster(file())->GetRasterBand(1)->GetNoDataValue());
}

TEST_F(GeoTiffWriterTest, OlderOutputStaysUntilTheNewOneIsCompleteAndGoesWithWhatDescribedIt) {
    for (const char* name : {"out.tif", "out.tif.aux.xml", "out.tif.ovr", "out.tif.txt"})
        std::ofstream(file(name)) << "older";
    const Names older = filesLeft();
    {
        GeoTiffWriter writer(file(), geometryOf(300, 300), bandOf<int>());
        writer.write<int>(0, 0, 300, 300, std::vector<int>(300 * 300, 3));
        EXPECT_THROW(writer.publish(), std::logic_error);
        writer.close();
        EXPECT_THROW(writer.write<int>(0, 0, 1, 1, std::vector<int>{3}), std::logic_error);
    }
    EXPECT_EQ("older", textOf(file()));
    EXPECT_EQ(older, filesLeft());
    GeoTiffWriter writer(file(), geometryOf(1, 1), bandOf<int>());
    writer.finish();
    writer.finish();
    EXPECT_EQ((Names{"out.tif", "out.tif.txt"}), filesLeft());
    EXPECT_EQ(1, openRaster(file())->GetRasterXSize());
}

TEST_F(GeoTiffWriterTest, FullDiskIsReportedWhereverItStrikes) {
    const auto run = [&] {
        RasterGeometry geometry = geometryOf(600, 600);
        geometry.wkt = compoundWkt;
        std::vector<GeoTiffWriter> writers;
        writers.emplace_back(file("a.tif"), geometryOf(1, 1), bandOf<float>());
        writers.emplace_back(file("b.tif"), geometry, bandOf<float>(NoData(-1.0)));
        writers.back().write<float>(0, 0, 600, 600, std::vector<float>(360000, 2.5F));
        finishAll(writers);
    };
    run();
    const std::size_t size = fs::file_size(file("b.tif"));
    fs::remove(file("a.tif"));
    fs::remove(file("b.tif"));
    // GDAL meets a limit on the size of files like a disk without space.
    rlimit former = {};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &former));
    std::signal(SIGXFSZ, SIG_IGN);
    for (const std::size_t room : {std::size_t(0), std::size_t(100), size / 3, size - 20000, size - 1}) {
        const rlimit limit = {room, former.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        testing::internal::CaptureStderr();
        try {
            run();
            ADD_FAILURE() << "no error with room for " << room << " of " << size << " bytes";
        } catch (const OutputError& error) {
            EXPECT_NE(std::string::npos, std::string(error.what()).find(".tif: ")) << error.what();
            EXPECT_EQ(std::string::npos, std::string(error.what()).find('\n')) << error.what();
        }
        EXPECT_EQ("", testing::internal::GetCapturedStderr());
        EXPECT_EQ(Names{}, filesLeft()) << "room for " << room;
    }
    ::setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, SIG_DFL);
}

TEST(BandFileName, NamesEachBandOfARun) {
    EXPECT_EQ("out/dem.tif", bandFileName("out/dem", "Height", 1));
    EXPECT_EQ("dem-Height.TIFF", bandFileName("dem.TIFF", "Height", 2));
    EXPECT_EQ("a.b/c-_.._point_source_ID.tif", bandFileName("a.b/c", "/../point source ID", 2));
    EXPECT_EQ("dem-H\xc3\xb6he.tif", bandFileName("dem", "H\xc3\xb6he", 3));
}

} // namespace
} // namespace Tilewright::Io::Test
