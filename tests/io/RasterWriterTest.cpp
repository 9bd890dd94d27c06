#include <io/rasters/RasterWriter.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>

#include <gmock/gmock.h>
#include <ogr_spatialref.h>
#include <sys/wait.h>
#include <unistd.h>

#include <io/rasters/RasterFormat.h>
#include <io/system/Errors.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

using testing::AllOf, testing::HasSubstr, testing::Not;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

bool isSparse(GDALRasterBand& band, int blockColumn, int blockRow) {
    const std::string item = "BLOCK_OFFSET_" + std::to_string(blockColumn) + "_" + std::to_string(blockRow);
    return band.GetMetadataItem(item.c_str(), "TIFF") == nullptr;
}

template <class T>
RasterDescription rasterOf(std::uint64_t width, std::uint64_t height, std::optional<NoData> nodata = {}) {
    RasterDescription description;
    description.geometry = {width, height, 0.0, 0.0, 1.0, 1.0, {}};
    description.type = pixelTypeOf<T>;
    description.nodata = nodata;
    description.bands.resize(1);
    return description;
}

RasterDescription picture(std::uint64_t width, std::uint64_t height) {
    RasterDescription description = rasterOf<unsigned char>(width, height);
    description.bands.clear();
    for (const BandColour colour : {BandColour::Red, BandColour::Green, BandColour::Blue, BandColour::Alpha})
        description.bands.push_back({{}, {}, colour, {}});
    return description;
}

void finish(RasterWriter& writer) { finishAll({&writer, 1}); }

class RasterWriterTest : public FolderTest {
protected:
    fs::path file(const std::string& name = "out.tif") const { return Top / name; }
    Names filesLeft() const { return namesIn(Top); }

    /// The first band and all others alike.
    template <class T>
    RasterWriter save(const RasterDescription& description, const std::vector<T>& values) const {
        RasterWriter writer(file(), description);
        for (std::size_t band = 0; band < description.bands.size(); ++band)
            writer.write<T>(band, 0, 0, description.geometry.width, description.geometry.height, values);
        finish(writer);
        return writer;
    }

    template <class T> std::vector<T> pixels(int band = 1) const { return pixelsOf<T>(file(), band); }

    template <class T> void expectExact(NoData nodata) const {
        SCOPED_TRACE(testing::internal::GetTypeName<T>());
        using Limits = std::numeric_limits<T>;
        const std::vector<T> values = {Limits::lowest(), Limits::max(), Limits::min(), T(Limits::max() / 3)};
        RasterWriter writer(file(), rasterOf<T>(2, 2, nodata));
        using Other = std::conditional_t<std::is_same_v<T, int>, float, int>;
        EXPECT_THROW(writer.write<Other>(0, 0, 0, 1, 1, std::vector<Other>(1)), std::invalid_argument);
        writer.write<T>(0, 0, 0, 2, 2, values);
        finish(writer);

        EXPECT_EQ(values, pixels<T>());
        const auto dataset = openRaster(file());
        GDALRasterBand& raster = *dataset->GetRasterBand(1);
        EXPECT_EQ(gdalType(pixelTypeOf<T>), raster.GetRasterDataType());
        if (std::holds_alternative<double>(nodata))
            EXPECT_EQ(std::get<double>(nodata), raster.GetNoDataValue());
        else
            EXPECT_EQ(std::get<1>(nodata), raster.GetNoDataValueAsUInt64());
    }
};

TEST_F(RasterWriterTest, DescribesTheRasterForOtherPrograms) {
    RasterDescription description = rasterOf<float>(300, 20, -9999.0);
    description.geometry = {300, 20, 612345.123456789, 5341000.1, 0.1, 1.0 / 3, compoundWkt};
    description.bands = {{"Height:Mean:Zdir", "metre", BandColour::Undefined, {{"REQUEST", "first"}}},
                         {"Count", {}, BandColour::Undefined, {}},
                         {"Alpha", {}, BandColour::Alpha, {}}};
    RasterWriter writer(file(), description);
    writer.write<float>(0, 10, 10, 1, 1, std::vector<float>{-2});
    writer.write<float>(0, 11, 10, 1, 1, std::vector<float>{4});
    writer.addMetadata("TIFFTAG_SOFTWARE", "tests");
    finish(writer);

    const auto dataset = openRaster(file());
    std::array<double, 6> transform = {};
    ASSERT_EQ(CE_None, dataset->GetGeoTransform(transform.data()));
    EXPECT_EQ((std::array{612345.123456789, 0.1, 0.0, 5341000.1, 0.0, -1.0 / 3}), transform);
    EXPECT_STREQ("tests", dataset->GetMetadataItem("TIFFTAG_SOFTWARE"));
    EXPECT_STREQ("BAND", dataset->GetMetadataItem("INTERLEAVE", "IMAGE_STRUCTURE"));
    GDALRasterBand& raster = *dataset->GetRasterBand(1);
    EXPECT_STREQ("Height:Mean:Zdir", raster.GetDescription());
    EXPECT_STREQ("first", raster.GetMetadataItem("REQUEST"));
    std::pair<int, int> block;
    raster.GetBlockSize(&block.first, &block.second);
    EXPECT_EQ((std::pair{256, 256}), block);
    double least, greatest, mean, deviation;
    ASSERT_EQ(CE_None, raster.GetStatistics(false, false, &least, &greatest, &mean, &deviation));
    EXPECT_EQ((std::array{-2.0, 4.0, 1.0, 3.0}), (std::array{least, greatest, mean, deviation}));
    EXPECT_STREQ("0.03333", raster.GetMetadataItem("STATISTICS_VALID_PERCENT"));
    EXPECT_EQ(nullptr, dataset->GetRasterBand(2)->GetMetadataItem("STATISTICS_MEAN"));
    EXPECT_EQ(GCI_AlphaBand, dataset->GetRasterBand(3)->GetColorInterpretation());
    EXPECT_EQ(std::vector<float>(6000), pixels<float>(3)) << "alpha that nobody wrote is no nodata";

    const OGRSpatialReference* system = dataset->GetSpatialRef();
    ASSERT_NE(nullptr, system);
    EXPECT_TRUE(system->IsCompound());
    EXPECT_STREQ("32632", system->GetAuthorityCode("PROJCS"));
    EXPECT_STREQ("5773", system->GetAuthorityCode("VERT_CS"));
}

TEST_F(RasterWriterTest, RowZeroIsNorthernmostAndWindowsMayComeInAnyOrder) {
    const std::ptrdiff_t width = 600;
    std::vector<int> values(600 * 300);
    std::iota(values.begin(), values.end(), 1);
    RasterWriter writer(file(), rasterOf<int>(600, 300));
    const auto write = [&](unsigned column, unsigned row, unsigned columns, unsigned rows) {
        std::vector<int> part;
        for (std::ptrdiff_t r = row; r < row + rows; ++r) {
            const auto first = values.begin() + r * width + column;
            part.insert(part.end(), first, first + columns);
        }
        writer.write<int>(0, column, row, columns, rows, part);
    };
    // Across block borders, several of them in one block, and pixels that come again.
    write(500, 100, 100, 200);
    write(0, 0, 600, 100);
    write(0, 100, 255, 200);
    write(255, 100, 245, 200);
    write(0, 0, 300, 300);
    writer.write<int>(0, 300, 5, 1, 1, std::vector<int>{-1});
    write(256, 0, 256, 256);
    for (const std::uint64_t outside : {std::uint64_t(600), std::numeric_limits<std::uint64_t>::max()})
        EXPECT_THROW(writer.write<int>(0, outside, 0, 1, 1, std::vector<int>(1)), std::invalid_argument);
    finish(writer);
    EXPECT_EQ(values, pixels<int>());
    EXPECT_EQ(180000U, writer.statistics(0).count) << "pixels that came twice count once";
}

TEST_F(RasterWriterTest, BlocksWithoutDataTakeNoSpaceAndReadAsNodataOrZero) {
    for (const auto& nodata : {std::optional<NoData>(-9999.0), {NaN}, {}}) {
        const float blank = nodata ? static_cast<float>(std::get<double>(*nodata)) : 0.0F;
        RasterWriter writer(file(), rasterOf<float>(700, 700, nodata));
        writer.write<float>(0, 0, 0, 700, 700, std::vector<float>(700 * 700, blank));
        writer.write<float>(0, 300, 300, 1, 1, std::vector<float>{5});
        // The last block of a row is narrower than the others, and data may be taken back.
        for (const float value : {6.0F, blank})
            writer.write<float>(0, 699, 0, 1, 1, std::vector<float>{value});
        writer.write<float>(0, 699, 1, 1, 1, std::vector<float>{8});
        finish(writer);

        const auto dataset = openRaster(file());
        GDALRasterBand& raster = *dataset->GetRasterBand(1);
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 3; ++column) {
                const bool written = (row == 1 && column == 1) || (row == 0 && column == 2);
                EXPECT_EQ(!written, isSparse(raster, column, row)) << column << ", " << row;
            }
        const std::vector<float> values = pixels<float>();
        for (std::size_t i = 0; i < values.size(); ++i) {
            const float expected = i == 300 * 700 + 300 ? 5.0F : i == 700 + 699 ? 8.0F : blank;
            ASSERT_THAT(values[i], testing::NanSensitiveFloatEq(expected)) << i;
        }
        EXPECT_EQ(nodata ? 2U : 490000U, writer.statistics(0).count);
    }
}

TEST_F(RasterWriterTest, RasterBeyondFourGigabytesIsASmallBigTiffWhileItIsEmpty) {
    RasterWriter writer(file(), rasterOf<float>(100000, 60000, -1.0));
    writer.write<float>(0, 99999, 59999, 1, 1, std::vector<float>{7});
    finish(writer);
    EXPECT_LT(fs::file_size(file()), 8U << 20);
    EXPECT_EQ(43, textOf(file())[2]) << "the version number of a BigTIFF";
}

TEST_F(RasterWriterTest, EveryTypeKeepsItsExtremesAndItsNodataExactly) {
    expectExact<float>(double(std::numeric_limits<float>::max()));
    expectExact<double>(std::numeric_limits<double>::max());
    expectExact<unsigned char>(255.0);
    expectExact<unsigned short>(65535.0);
    expectExact<int>(2147483647.0);
    expectExact<unsigned int>(4294967295.0);
    expectExact<unsigned long long>(~0ULL); // beyond what a double can name
}

TEST_F(RasterWriterTest, WhatNoFileCanHoldIsRefused) {
    std::vector<RasterDescription> wrong = {rasterOf<unsigned char>(2, 2, -1.0),
                                            rasterOf<unsigned short>(2, 2, 0.5),
                                            rasterOf<int>(2, 2, NaN),
                                            rasterOf<float>(2, 2, 1e39),
                                            rasterOf<unsigned long long>(2, 2, 0x1p64),
                                            rasterOf<float>(0, 5),
                                            rasterOf<float>(5, 1ULL << 31),
                                            rasterOf<float>((2ULL << 31) + 5, 5),
                                            rasterOf<float>((1ULL << 31) - 1, (1ULL << 31) - 1),
                                            rasterOf<float>(5, 5) /* south is up */,
                                            rasterOf<float>(5, 5) /* no such system */};
    wrong[9].geometry.pixelHeight = -1;
    wrong[10].geometry.wkt = "PROJCS[\"half a";
    for (const RasterDescription& description : wrong)
        EXPECT_THROW(RasterWriter(file(), description), OutputError);
    EXPECT_THROW(RasterWriter(Top, rasterOf<float>(5, 5)), OutputError);
    EXPECT_THROW(RasterWriter("/dev/null", rasterOf<float>(5, 5)), OutputError);
    EXPECT_THROW(RasterWriter("/proc/out.tif", rasterOf<float>(5, 5)), OutputError);
    EXPECT_EQ(Names{}, filesLeft());

    // A float pixel that was set from the same decimal text has to match.
    save<float>(rasterOf<float>(1, 1, 0.1), {1});
    EXPECT_EQ(double(0.1F), openRaster(file())->GetRasterBand(1)->GetNoDataValue());
}

TEST_F(RasterWriterTest, OlderOutputStaysUntilTheNewOneIsCompleteAndGoesWithWhatDescribedIt) {
    for (const char* name : {"out.tif", "out.tif.ovr", "out.tif.txt"})
        saveAs(file(name), olderRaster);
    saveAs(file("out.tif.aux.xml"), "<PAMDataset></PAMDataset>");
    const Names older = filesLeft();
    {
        RasterWriter writer(file(), rasterOf<int>(300, 300));
        writer.write<int>(0, 0, 0, 300, 300, std::vector<int>(300 * 300, 3));
        EXPECT_THROW(writer.publish(), std::logic_error);
        writer.close();
        EXPECT_EQ(300, openRaster(writer.hiddenPath())->GetRasterXSize());
        EXPECT_THROW(writer.write<int>(0, 0, 0, 1, 1, std::vector<int>{3}), std::logic_error);
    }
    EXPECT_EQ(olderRaster, textOf(file()));
    EXPECT_EQ(older, filesLeft());
    RasterWriter writer(file(), rasterOf<int>(1, 1));
    finish(writer);
    finish(writer);
    EXPECT_EQ((Names{"out.tif", "out.tif.txt"}), filesLeft());
    EXPECT_EQ(1, openRaster(file())->GetRasterXSize());
}

TEST_F(RasterWriterTest, WhatAKilledProcessLeftBehindGoesAndWhatAnotherOneWorksOnStays) {
    fs::create_directories(file(".out.tif.part-backup") / "mine"); // only has such a name
    fs::create_directory(file(".out.tif.part-killed"));            // while it was removed
    fs::permissions(file(".out.tif.part-killed"), fs::perms::owner_all | fs::perms::sticky_bit);
    const pid_t child = ::fork();
    if (child == 0) {
        RasterWriter abandoned(file(), rasterOf<int>(1, 1));
        ::_exit(0); // Leaves without clearing up.
    }
    ::waitpid(child, nullptr, 0);
    EXPECT_EQ(2U, filesLeft().size());
    RasterWriter first(file(), rasterOf<int>(1, 1)), second(file(), rasterOf<int>(2, 2));
    EXPECT_EQ(3U, filesLeft().size()) << "that of the child has gone";
    finish(second);
    finish(first);
    EXPECT_EQ((Names{".out.tif.part-backup", "out.tif"}), filesLeft());
    EXPECT_EQ(1, openRaster(file())->GetRasterXSize()) << "the last one remains";
}

TEST_F(RasterWriterTest, FileThatAppearsMeanwhileStaysAndAllElseIsTakenBack) {
    for (const bool mayReplace : {false, true}) {
        SCOPED_TRACE(mayReplace);
        const OutputGuard guard({}, mayReplace);
        RasterDescription grid = rasterOf<float>(2, 2, -1.0);
        grid.geometry.wkt = compoundWkt;
        grid.driver = "AAIGrid";
        if (mayReplace)
            saveAs(file("a.tif"), olderRaster);
        std::vector<RasterWriter> writers;
        writers.emplace_back(file("a.tif"), rasterOf<int>(1, 1), guard);
        writers.emplace_back(file("b.asc"), grid, guard);
        EXPECT_EQ(3U, writers[1].places().size()) << "with its system and its texts";
        saveAs(file("b.prj"), "mine");
        EXPECT_THROW(finishAll(writers), OutputError);
        EXPECT_EQ("mine", textOf(file("b.prj")));
        writers.clear();
        EXPECT_EQ(mayReplace ? (Names{"a.tif", "b.prj"}) : Names{"b.prj"}, filesLeft());
        EXPECT_EQ(mayReplace ? olderRaster : "", textOf(file("a.tif")));
        fs::remove(file("b.prj"));
    }
}

// Some of the drivers say nothing when a disk is full.
TEST_F(RasterWriterTest, FullDiskIsReportedWhereverItStrikes) {
    // No format can make noise much smaller.
    std::vector<unsigned char> noise(512 * 512);
    std::mt19937 random;
    std::ranges::generate(noise, [&] { return static_cast<unsigned char>(random()); });
    for (const std::string driver : {"GTiff", "ENVI", "GIF", "PNG", "JPEG"}) {
        RasterDescription description = rasterOf<unsigned char>(512, 512);
        description.driver = driver;
        if (driver == "ENVI")
            description.geometry.wkt = compoundWkt;
        const auto run = [&] {
            std::vector<RasterWriter> writers;
            writers.emplace_back(file("a.tif"), rasterOf<float>(1, 1));
            writers.emplace_back(file("b.tif"), description);
            writers.back().write<unsigned char>(0, 0, 0, 512, 512, noise);
            finishAll(writers);
        };
        run();
        const std::size_t size = fs::file_size(file("b.tif"));
        for (const std::string& name : filesLeft())
            fs::remove(file(name));
        for (const std::size_t missing : {size, size - 100, size / 2, std::size_t(5000), std::size_t(200),
                                          std::size_t(30), std::size_t(2), std::size_t(1)}) {
            const FileSizeLimit limit(size - missing);
            testing::internal::CaptureStderr();
            const std::string message = messageOf<OutputError>(run);
            EXPECT_EQ("", testing::internal::GetCapturedStderr());
            EXPECT_THAT(message, AllOf(HasSubstr(".tif: "), Not(HasSubstr("\n"))))
                << driver << ", " << missing;
            EXPECT_EQ(Names{}, filesLeft()) << driver << ", " << missing;
        }
    }
}

TEST_F(RasterWriterTest, PicturesAreWhatEveryViewerTakesForPictures) {
    RasterWriter writer(file(), picture(600, 300));
    std::vector<std::vector<unsigned char>> bands(4, std::vector<unsigned char>(180000));
    for (std::size_t i = 0; i < 180000; ++i)
        for (std::size_t band = 0; band < 4 && i % 600 < 200; ++band)
            bands[band][i] = static_cast<unsigned char>(band == 3 ? 255 : 10 * (band + 1) + i % 7);
    // Band after band, in strips that end within blocks.
    for (std::size_t band = 0; band < 4; ++band)
        for (std::size_t row = 0; row < 300; row += 100)
            writer.write<unsigned char>(band, 0, row, 600, 100, {bands[band].data() + row * 600, 60000});
    finish(writer);

    EXPECT_EQ(60000U, writer.statistics(0).count) << "what is transparent is no data";
    EXPECT_EQ(10, writer.statistics(0).least);
    const auto dataset = openRaster(file());
    EXPECT_STREQ("PIXEL", dataset->GetMetadataItem("INTERLEAVE", "IMAGE_STRUCTURE"));
    for (int band = 0; band < 4; ++band) {
        GDALRasterBand& raster = *dataset->GetRasterBand(band + 1);
        EXPECT_EQ(GCI_RedBand + band, raster.GetColorInterpretation());
        EXPECT_EQ(bands[static_cast<std::size_t>(band)], readAll<unsigned char>(raster));
        EXPECT_TRUE(isSparse(raster, 1, 0));
    }
}

TEST_F(RasterWriterTest, StatisticsAreThoseOfTheDataInWhateverOrderTheyCome) {
    std::vector<double> values(700 * 500), data;
    std::mt19937_64 random;
    for (double& value : values) {
        const std::uint64_t noise = random();
        value = noise >> 62 == 0 ? -9999.0 : noise >> 62 == 1 ? NaN : 4e6 + double(noise >> 50);
        if (value >= 0)
            data.push_back(value - 4e6);
    }
    const auto count = static_cast<double>(data.size());
    const double mean = std::accumulate(data.begin(), data.end(), 0.0) / count;
    const double squares = std::transform_reduce(data.begin(), data.end(), 0.0, std::plus(),
                                                 [&](double value) { return std::pow(value - mean, 2); });
    RasterWriter forth(file("a.tif"), rasterOf<double>(700, 500, -9999.0));
    RasterWriter back(file("b.tif"), rasterOf<double>(700, 500, -9999.0));
    forth.write<double>(0, 0, 0, 700, 500, values);
    back.write<double>(0, 0, 300, 700, 200, {values.data() + 210000, 140000});
    back.write<double>(0, 0, 0, 700, 300, {values.data(), 210000});
    forth.close(), back.close();
    const BandStatistics one = forth.statistics(0), other = back.statistics(0);
    EXPECT_EQ(data.size(), one.count);
    EXPECT_NEAR(4e6 + mean, one.mean, 1e-8) << "sums of other order differ in the last digits";
    EXPECT_NEAR(std::sqrt(squares / count), one.deviation, 1e-8);
    EXPECT_EQ(one.mean, other.mean);
    EXPECT_EQ(one.deviation, other.deviation);
}

TEST_F(RasterWriterTest, CreationOptionsReachTheDriverAndTypesGetTheirPredictor) {
    std::vector<int> values(300 * 300);
    std::iota(values.begin(), values.end(), 0);
    RasterDescription integers = rasterOf<int>(300, 300), floats = rasterOf<float>(300, 300);
    integers.creationOptions = {"compress=zstd", "BLOCKXSIZE=128", "BLOCKYSIZE=64"};
    save<int>(integers, values);
    EXPECT_EQ(values, pixels<int>());
    const auto structure = [&](const char* key) {
        const auto dataset = openRaster(file());
        const char* const text = dataset->GetMetadataItem(key, "IMAGE_STRUCTURE");
        return std::string(text ? text : "");
    };
    EXPECT_EQ("ZSTD", structure("COMPRESSION"));
    EXPECT_EQ("2", structure("PREDICTOR"));
    floats.creationOptions = {"COMPRESS=LZW", "TILED=NO"};
    save<float>(floats, std::vector<float>(values.begin(), values.end()));
    EXPECT_EQ("3", structure("PREDICTOR"));
    fs::remove(file());

    for (const char* option : {"COMPRESS=TIGHT", "NOSUCHTHING=1", "COMPRESS", "=YES"}) {
        floats.creationOptions = {option};
        EXPECT_THROW(RasterWriter(file(), floats), UsageError) << option;
    }
    EXPECT_EQ(Names{}, filesLeft());
}

TEST_F(RasterWriterTest, OtherFormatsAppearWithAllTheirFiles) {
    RasterDescription heights = rasterOf<float>(300, 300, -9999.0);
    heights.geometry.wkt = compoundWkt;
    const auto run = [&](const char* driver, const std::string& name) {
        heights.driver = driver;
        RasterWriter writer(file(name), heights);
        writer.write<float>(0, 0, 0, 300, 300, std::vector<float>(90000, 1.5F));
        finish(writer);
    };
    run("AAIGrid", "out.asc");
    EXPECT_EQ((Names{"out.asc", "out.asc.aux.xml", "out.prj"}), filesLeft());
    EXPECT_EQ(std::vector<float>(90000, 1.5F), pixelsOf<float>(file("out.asc")));
    heights.creationOptions = {"COMPRESS=DEFLATE"};
    run("cog", "out.tif");
    const auto cog = openRaster(file());
    EXPECT_STREQ("COG", cog->GetMetadataItem("LAYOUT", "IMAGE_STRUCTURE"));
    EXPECT_STREQ("3", cog->GetMetadataItem("PREDICTOR", "IMAGE_STRUCTURE"));
    EXPECT_STREQ("1.5", cog->GetRasterBand(1)->GetMetadataItem("STATISTICS_MEAN"));

    const Names before = filesLeft();
    heights.creationOptions.clear();
    for (const char* driver : {"NoSuchFormat", "VRT", "AIG"})
        EXPECT_THROW(run(driver, "out.png"), UsageError) << driver;
    EXPECT_THAT(messageOf<OutputError>([&] { run("PNG", "out.png"); }),
                AllOf(HasSubstr("Float32"), Not(HasSubstr("\n"))));
    EXPECT_EQ(before, filesLeft());
}

TEST_F(RasterWriterTest, FilledHolesAreNearDataAndDataStayAsTheyAre) {
    // A wall of doubles that are no floats, then a wide hole, then a wall again.
    const auto heightAt = [](std::size_t column) {
        return column < 40 ? 0.1 : column >= 260 ? 0.3 : -9999.0;
    };
    std::vector<double> values(300 * 300);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = heightAt(i % 300);
    for (const bool compressed : {false, true}) {
        RasterDescription description = rasterOf<double>(300, 300, -9999.0);
        description.fillDistance = 10;
        if (compressed)
            description.creationOptions = {"COMPRESS=DEFLATE"};
        const RasterWriter writer = save<double>(description, values);
        const std::vector<double> filled = pixels<double>();
        for (std::size_t i = 0; i < values.size(); ++i) {
            const std::size_t column = i % 300;
            const double expected = column < 50 ? 0.1 : column >= 250 ? 0.3 : -9999.0;
            if (column < 40 || column >= 260)
                ASSERT_EQ(expected, filled[i]) << column;
            else
                ASSERT_NEAR(expected, filled[i], 1e-6) << column; // single precision
        }
        EXPECT_EQ(300U * 100, writer.statistics(0).count);
        EXPECT_EQ(300U * 20, writer.statistics(0).filledHoles);
        EXPECT_EQ(Names{"out.tif"}, filesLeft());
    }

    RasterDescription colours = picture(20, 1);
    colours.fillDistance = 3;
    save<unsigned char>(colours, {9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    const std::vector<unsigned char> expected = {9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 0, 0, 0, 0, 0, 0, 0};
    for (const int band : {1, 4})
        EXPECT_EQ(expected, pixels<unsigned char>(band));
}

TEST_F(RasterWriterTest, OverviewsAverageMeasuresAndNotClasses) {
    std::vector<unsigned char> values(700 * 700, 2);
    for (std::size_t i = 0; i < values.size(); i += 2)
        values[i] = i / 700 % 2 == 0 ? 6 : 2;
    RasterDescription description = rasterOf<unsigned char>(700, 700);
    description.overviews = true;
    for (const bool classes : {false, true}) {
        description.resampling = classes ? Resampling::ByType : Resampling::Average;
        save<unsigned char>(description, values);
        const auto dataset = openRaster(file());
        GDALRasterBand& band = *dataset->GetRasterBand(1);
        ASSERT_EQ(2, band.GetOverviewCount());
        EXPECT_EQ(std::vector<unsigned char>(350 * 350, classes ? 2 : 3),
                  readAll<unsigned char>(*band.GetOverview(0)));
        EXPECT_EQ(Names{"out.tif"}, filesLeft());
    }
}

// GDAL 3.6 spoils several of them if it makes them at once.
TEST_F(RasterWriterTest, OverviewsOf64BitIntegersCanBeRead) {
    RasterDescription description = rasterOf<unsigned long long>(1100, 700, 5ULL);
    description.overviews = true;
    save<unsigned long long>(description, std::vector<unsigned long long>(1100 * 700, 1ULL << 40));
    const auto dataset = openRaster(file());
    ASSERT_EQ(3, dataset->GetRasterBand(1)->GetOverviewCount());
    EXPECT_EQ(std::vector<unsigned long long>(138 * 88, 1ULL << 40),
              readAll<unsigned long long>(*dataset->GetRasterBand(1)->GetOverview(2)));
}

TEST(RasterFormat, GoesByTheNameOfTheOutput) {
    EXPECT_EQ("out/dem.tif", bandFileName("out/dem", "Height", 1));
    EXPECT_EQ("dem-Height.TIFF", bandFileName("dem.TIFF", "Height", 2));
    EXPECT_EQ("dem_0.5-Height.tif", bandFileName("dem_0.5", "Height", 2));
    EXPECT_EQ("a.b/c-_.._point_source_ID.png", bandFileName("a.b/c.png", "/../point source ID", 2));

    for (const auto& [driver, name, expected] : {std::array{"", "a.b/c.PNG", "PNG"},
                                                 {"", "dem.asc", "AAIGrid"},
                                                 {"", "dem_0.5", "GTiff"},
                                                 {"XYZ", "dem.xyz", "XYZ"},
                                                 {"cog", "dem.png", "COG"}})
        EXPECT_EQ(expected, driverOf(driver, name)) << name;
    for (const auto& [driver, name] : {std::pair{"", "dem.nosuchthing"},
                                       {"", "-"},
                                       {"", "scan.las"},
                                       {"GTiff", "scan.laz"},
                                       {"NoSuchFormat", "dem.tif"}})
        EXPECT_THROW(driverOf(driver, name), UsageError) << name;
}

} // namespace
} // namespace Tilewright::Io::Test
