// A raster made in parts, whatever happens to them, against the raster made at once.
#include <io/parts/Parts.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <random>
#include <sstream>
#include <thread>

#include <gdal_priv.h>
#include <gmock/gmock.h>

#include <io/parts/PartsLayout.h>
#include <io/system/Errors.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

using testing::EndsWith, testing::HasSubstr;

class PartsTest : public FolderTest {
protected:
    PartsTest() : Job(Top / "job") {
        Request.inputs = {(Top / "scan.las").string()};
        Request.bands = {"Height:Median", "Intensity:Mean", "UserData:Max", "Classification:Min", "count"};
        Request.threads = 2;
        fs::create_directory(Top / "whole");
        fs::create_directory(Top / "joined");
    }

    /// Over 3 x 3 blocks; only those in the east have the user data 255.
    void saveScan(bool inOrder) const {
        std::mt19937 random(3);
        LasBuilder las;
        las.points.assign(20000, {});
        for (std::size_t i = 0; i < las.points.size(); ++i) {
            LasPoint& p = las.points[i];
            const auto along = inOrder ? static_cast<int>(i * 3) : static_cast<int>(random() % 60000);
            p.xyz = {static_cast<int>(random() % 60000), along, static_cast<int>(random() % 9000)};
            p.intensity = static_cast<std::uint16_t>(random());
            p.classification = static_cast<unsigned>(random() % 3);
            p.userData = static_cast<std::uint8_t>(random() % (p.xyz[0] > 40000 ? 256 : 200));
        }
        saveAs(Top / "scan.las", las.build());
    }

    RasterRequest into(const char* folder) const {
        RasterRequest request = Request;
        request.output = (Top / folder / "out.tif").string();
        return request;
    }

    std::uint64_t plan(std::uint64_t parts) const { return planParts(into("joined"), Job, parts).parts; }

    void expectSame() const {
        const Names names = namesIn(Top / "whole");
        ASSERT_EQ(names, namesIn(Top / "joined"));
        ASSERT_FALSE(names.empty());
        for (const std::string& name : names)
            EXPECT_EQ(textOf(Top / "whole" / name), textOf(Top / "joined" / name)) << name;
    }

    void expectSameIn(std::uint64_t parts, std::uint64_t blocks = 9) {
        SCOPED_TRACE(parts);
        const std::uint64_t count = plan(parts);
        EXPECT_EQ(count, std::min(parts, blocks));
        for (std::uint64_t part = count; part != 0; --part)
            EXPECT_EQ(makePart(Job, part), PartOutcome::Made);
        joinParts(Job);
        expectSame();
        EXPECT_FALSE(fs::exists(Job));
        for (const std::string& name : namesIn(Top / "joined"))
            fs::remove(Top / "joined" / name);
    }

    fs::path groundOfJob() const {
        for (const std::string& name : namesIn(Job))
            if (name.starts_with("ground-"))
                return Job / name;
        return {};
    }

    RasterRequest Request;
    fs::path Job;
};

TEST_F(PartsTest, AreTheRasterTogetherHoweverManyTheyAre) {
    for (const bool inOrder : {true, false}) {
        SCOPED_TRACE(inOrder);
        saveScan(inOrder);
        fs::remove_all(Top / "whole");
        fs::create_directory(Top / "whole");
        runRaster(into("whole"));
        for (const std::uint64_t parts : {1U, 4U, 100U})
            expectSameIn(parts);
    }
}

TEST_F(PartsTest, AreTheRasterTogetherWhateverItsShape) {
    using Bounds = std::array<double, 4>;
    struct Shape {
        std::vector<std::string> bands;
        Bounds bounds;
        std::uint64_t blocks;
        std::vector<std::string> creationOptions = {};
    };
    const std::vector<std::string> inOnePass = {"Height:Mean", "UserData:Max", "count[2@Classification]"};
    const Bounds all = {0.0, 0.0, 600.0, 600.0};
    const std::vector<Shape> shapes = {
        {inOnePass, all, 25},
        {{"Height:Median", "Intensity:Mean"}, all, 25, {"BLOCKXSIZE=512", "BLOCKYSIZE=512"}},
        {inOnePass, {10.0, 7.0, 590.0, 60.0}, 5},
        {inOnePass, {30.0, 0.0, 90.0, 600.0}, 5},
    };
    saveScan(true);
    Request.cell = {{0.5, 0.5}};
    Request.overwrite = true;
    for (const Shape& shape : shapes) {
        Request.bands = shape.bands;
        Request.bounds = shape.bounds;
        Request.creationOptions = shape.creationOptions;
        for (const bool isStack : {false, true}) {
            SCOPED_TRACE(shape.bands.front() + " " + std::to_string(isStack));
            Request.stack = isStack;
            fs::remove_all(Top / "whole");
            fs::create_directory(Top / "whole");
            runRaster(into("whole"));
            expectSameIn(isStack ? 7 : 23, shape.blocks);
        }
    }
}

TEST_F(PartsTest, AgreeAboutNoDataSelectionsAndAStack) {
    saveScan(true);
    Request.stack = true;
    Request.selections = {"1:2@Classification", "2.5:@Height"};
    Request.bounds = {{33.3, 20.0, 500.5, 480.0}};
    saveAs(Top / "area.csv", "id,WKT\n1,\"POLYGON((10 10,560 20,300 590,10 10))\"\n");
    Request.clip = (Top / "area.csv").string();
    Request.fill = 2.0;
    for (const std::optional<double> nodata : {std::optional<double>(), {7.0}}) {
        Request.nodata = nodata;
        Request.overwrite = true;
        const std::vector<std::string> notes = runRaster(into("whole")).notes;
        plan(3);
        for (std::uint64_t part = 1; part <= 3; ++part)
            makePart(Job, part);
        EXPECT_EQ(joinParts(Job).notes.size(), notes.size());
        expectSame();
    }
}

TEST_F(PartsTest, AreMadeOnceOrAgainWhenTheyAreDamaged) {
    saveScan(true);
    runRaster(into("whole"));
    plan(4);
    const auto fault = [&] { return messageOf([&] { joinParts(Job, {.keepsJob = true}); }); };
    EXPECT_THAT(fault(), HasSubstr("parts 1-4 of 4 are missing"));
    EXPECT_THROW(makePart(Job, 0), UsageError);
    EXPECT_THROW(makePart(Job, 5), UsageError);
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 3; ++i)
            threads.emplace_back([&] { makePart(Job, 2); });
    }
    EXPECT_EQ(makePart(Job, 2), PartOutcome::WasThere);
    makePart(Job, 4);
    EXPECT_THAT(fault(), HasSubstr("parts 1, 3 of 4 are missing"));
    makePart(Job, 1);
    makePart(Job, 3);

    const fs::path pixels = Job / "parts" / "3";
    const std::string sound = textOf(pixels);
    for (const std::size_t at : {std::size_t(3), std::size_t(14), std::size_t(30), sound.size() - 1}) {
        std::string damaged = sound;
        damaged[at] = static_cast<char>(damaged[at] ^ 64);
        saveAs(pixels, damaged);
        EXPECT_THAT(fault(), EndsWith("parts/3: is damaged; make this part once more")) << at;
        EXPECT_EQ(namesIn(Top / "joined"), Names{});
    }
    saveAs(pixels, sound.substr(0, sound.size() / 2));
    EXPECT_THAT(fault(), HasSubstr("is damaged"));
    saveAs(Job / "parts" / "1.json", "{");
    EXPECT_THAT(fault(), HasSubstr("part 1 of 4 is missing"));
    EXPECT_EQ(makePart(Job, 1), PartOutcome::Made);
    EXPECT_EQ(makePart(Job, 3), PartOutcome::Made);
    joinParts(Job, {.keepsJob = true});
    EXPECT_TRUE(fs::exists(Job / "plan.json"));
    EXPECT_THROW(fault(), OutputError) << "the files are there";
    joinParts(Job, {.overwrite = true});
    expectSame();
}

TEST_F(PartsTest, AreRefusedForAnotherCloudAndSayWhy) {
    saveScan(true);
    plan(3);
    makePart(Job, 1);
    saveScan(false);
    EXPECT_THAT(messageOf([&] { makePart(Job, 2); }), HasSubstr("has changed since the plan was made"));
    const std::vector<PartStatus> status = statusOfParts(Job);
    ASSERT_EQ(status.size(), 3U);
    EXPECT_EQ(status[0].state, PartStatus::State::Done);
    EXPECT_EQ(status[1].state, PartStatus::State::Failed);
    EXPECT_THAT(status[1].failure, HasSubstr("scan.las: has changed"));
    EXPECT_EQ(status[2].state, PartStatus::State::Missing);
    EXPECT_THROW(statusOfParts(Top), InputError);
}

TEST_F(PartsTest, AreRefusedForADamagedIndexUntilANewPlan) {
    saveScan(true);
    plan(3);
    makePart(Job, 1);
    const fs::path index = *fs::directory_iterator(Job / "index");
    std::string damaged = textOf(index);
    damaged[damaged.size() / 2] ^= 1;
    saveAs(index, damaged);
    EXPECT_THAT(messageOf([&] { makePart(Job, 2); }), EndsWith("; make a new plan"));
    fs::remove(index);
    EXPECT_THAT(messageOf([&] { makePart(Job, 2); }), EndsWith("; make a new plan"));
    saveAs(index, damaged);
    plan(3);
    EXPECT_EQ(makePart(Job, 1), PartOutcome::WasThere);
    EXPECT_EQ(makePart(Job, 2), PartOutcome::Made);
}

TEST_F(PartsTest, ArePlannedAgainWithWhatIsKnown) {
    saveScan(true);
    plan(4);
    const std::string first = textOf(Job / "plan.json");
    const fs::path index = *fs::directory_iterator(Job / "index");
    const auto indexed = fs::last_write_time(index);
    makePart(Job, 2);
    plan(4);
    EXPECT_EQ(textOf(Job / "plan.json"), first);
    EXPECT_EQ(makePart(Job, 2), PartOutcome::WasThere);
    EXPECT_THROW(plan(3), OutputError);
    EXPECT_EQ(textOf(Job / "plan.json"), first);
    Request.overwrite = true;
    plan(3);
    EXPECT_EQ(makePart(Job, 2), PartOutcome::Made);
    fs::remove(Job / "plan.json");
    plan(4);
    EXPECT_EQ(fs::last_write_time(index), indexed);
    for (std::uint64_t part = 1; part <= 4; ++part)
        EXPECT_EQ(makePart(Job, part), PartOutcome::Made);
    joinParts(Job);
    runRaster(into("whole"));
    expectSame();
    EXPECT_FALSE(fs::exists(Job));
    Request.bands = {"Nonsense:Mean"};
    EXPECT_THROW(plan(4), InputError);
    EXPECT_FALSE(fs::exists(Job)) << "nothing was learned";
}

TEST_F(PartsTest, OpenOnlyTheFilesThatReachIntoThem) {
    std::vector<fs::path> files;
    // Beside each other from west to east; the last one has other fields.
    for (unsigned i = 0; i < 4; ++i) {
        std::mt19937 random(i);
        LasBuilder las;
        las.format = i == 3 ? 3 : 1;
        las.points.assign(5000, {});
        for (LasPoint& p : las.points)
            p.xyz = {static_cast<int>(20000 * i + random() % 20000), static_cast<int>(random() % 30000), 7};
        files.push_back(Top / (std::to_string(i) + ".las"));
        saveAs(files.back(), las.build());
    }
    Request.inputs = {(Top / "*.las").string()};
    Request.bands = {"Height:Mean", "Intensity:Median", "Height:IDW(20)"};
    runRaster(into("whole"));
    const std::uint64_t parts = plan(100);
    for (std::uint64_t part = 1; part <= parts; ++part)
        makePart(Job, part);
    joinParts(Job, {.keepsJob = true});
    expectSame();

    saveAs(files[3], "gone");
    for (const char* const name : {"1", "1.json"})
        fs::remove(Job / "parts" / name);
    EXPECT_EQ(makePart(Job, 1), PartOutcome::Made) << "the north-west";
    for (const std::string& name : namesIn(Top / "joined"))
        fs::remove(Top / "joined" / name);
    EXPECT_THAT(messageOf([&] { joinParts(Job, {.keepsJob = true}); }),
                HasSubstr("3.las: has changed since the plan"));
    EXPECT_EQ(namesIn(Top / "joined"), Names{});
}

TEST_F(PartsTest, KnowPolygonsAndTheGround) {
    saveScan(true);
    RasterRequest ground = Request;
    ground.bands = {"Height:Mean"};
    ground.cell = {{4.0, 4.0}};
    // Some points have none.
    ground.bounds = {{0.0, 0.0, 500.0, 600.0}};
    ground.output = (Top / "ground.tif").string();
    runRaster(ground);
    const fs::path area = Top / "area.csv";
    saveAs(area, "id,WKT\n1,\"POLYGON((10 10,560 20,300 590,10 10))\"\n");
    Request.clip = area.string();
    Request.bands = {"HeightAboveGround:Median", "HeightAboveGround:Max[:30@HeightAboveGround]", "count"};
    Request.overwrite = true;
    for (const bool isFound : {true, false}) {
        SCOPED_TRACE(isFound);
        Request.ground = isFound ? "" : ground.output;
        Request.groundClasses = isFound ? "2" : "";
        const RasterReport whole = runRaster(into("whole"));
        plan(4);
        const std::string first = textOf(Job / "plan.json");
        plan(4);
        EXPECT_EQ(textOf(Job / "plan.json"), first);
        for (std::uint64_t part = 1; part <= 4; ++part)
            makePart(Job, part);
        const RasterReport joined = joinParts(Job, {.keepsJob = true});
        EXPECT_EQ(joined.rastered, whole.rastered);
        EXPECT_EQ(joined.withoutGround, whole.withoutGround);
        EXPECT_EQ(whole.withoutGround != 0, !isFound);
        expectSame();
        fs::remove(Job / "parts" / "2.json");
        const fs::path surface = isFound ? groundOfJob() : fs::path(ground.output);
        for (const fs::path& path : {area, surface}) {
            const auto time = fs::last_write_time(path);
            fs::last_write_time(path, time + std::chrono::seconds(1));
            EXPECT_THAT(messageOf([&] { makePart(Job, 2); }),
                        HasSubstr(path.filename().string() + ": has changed since the plan"));
            fs::last_write_time(path, time);
        }
        EXPECT_EQ(makePart(Job, 2), PartOutcome::Made);
        joinParts(Job);
        EXPECT_FALSE(fs::exists(Job));
    }
}

/// A cloud of 40 x 30 blocks whose stretches are of that size, in cells, beside each other.
CloudIndex stretchesOf(std::uint64_t columns, std::uint64_t rows) {
    CloudIndex index;
    const double width = 40 * 256.0, height = 30 * 256.0;
    const auto across = static_cast<double>(columns), down = static_cast<double>(rows);
    for (double y = 0.0; y < height; y += down)
        for (double x = 0.0; x < width; x += across)
            index.stretches.push_back(
                {0, 0, columns * rows * 8, {x + 0.1, y + 0.1}, {x + across - 0.1, y + down - 0.1}});
    return index;
}

TEST(PartsLayoutTest, FitsThePartsToTheLinesOfTheCloud) {
    const BlockLattice lattice({0.0, 40 * 256.0 - 0.5, 1.0, 0.0, {}}, {0.0, 30 * 256.0 - 0.5, 1.0, 0.0, {}});
    const auto shapesOf = [&](const CloudIndex& index, std::uint64_t parts) {
        const std::vector<BlockRectangle> all = shareBlocks(index, lattice, parts);
        EXPECT_EQ(all.size(), parts);
        std::uint64_t blocks = 0;
        BlockRectangle most;
        for (const BlockRectangle& part : all) {
            blocks += part.count();
            most.east = std::max(most.east, part.across());
            most.south = std::max(most.south, part.down());
            EXPECT_LT(part.count(), 3 * lattice.blocks().count() / parts);
        }
        EXPECT_EQ(blocks, lattice.blocks().count());
        return most;
    };
    // Lines along the rows, lines along the columns, and files of 5 x 5 blocks in no order.
    const BlockRectangle alongRows = shapesOf(stretchesOf(10240, 64), 20);
    EXPECT_EQ(alongRows.east, 40U);
    const BlockRectangle alongColumns = shapesOf(stretchesOf(64, 7680), 20);
    EXPECT_EQ(alongColumns.south, 30U);
    const BlockRectangle unordered = shapesOf(stretchesOf(1280, 1280), 48);
    EXPECT_EQ(unordered.east, 5U);
    EXPECT_EQ(unordered.south, 5U);
    // One file over all, and none.
    EXPECT_LE(shapesOf(stretchesOf(40 * 256, 30 * 256), 12).east, 20U);
    EXPECT_LE(shapesOf({}, 12).south, 14U);
    shapesOf(stretchesOf(1280, 1280), 1200);
}

/// All pixels as numbers, and what is said of them.
std::string rasterText(const fs::path& path) {
    const GDALDatasetUniquePtr data(GDALDataset::Open(path.c_str(), GDAL_OF_RASTER | GDAL_OF_VERBOSE_ERROR));
    if (!data)
        return "none";
    std::ostringstream text;
    text.precision(17);
    std::array<double, 6> place;
    data->GetGeoTransform(place.data());
    for (const double number : place)
        text << number << ' ';
    const int width = data->GetRasterXSize(), height = data->GetRasterYSize();
    text << width << 'x' << height << data->GetProjectionRef() << '\n';
    for (const char* const key : {"POINTS", "RASTERED_POINTS", "TIFFTAG_SOFTWARE", "AREA_OR_POINT"})
        text << key << data->GetMetadataItem(key) << '\n';
    std::vector<double> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (GDALRasterBand* const band : data->GetBands()) {
        text << band->GetDescription() << band->GetUnitType() << band->GetRasterDataType()
             << band->GetColorInterpretation() << band->GetMetadataItem("REQUEST") << '\n';
        int hasNoData = 0;
        const double nodata = band->GetNoDataValue(&hasNoData);
        text << hasNoData << ' ' << nodata << '\n';
        std::array<double, 4> statistics = {};
        EXPECT_EQ(
            band->GetStatistics(FALSE, FALSE, &statistics[0], &statistics[1], &statistics[2], &statistics[3]),
            CE_None);
        text << static_cast<float>(statistics[0]) << ' ' << static_cast<float>(statistics[1]) << ' '
             << static_cast<float>(statistics[2]) << ' ' << static_cast<float>(statistics[3]) << '\n';
        EXPECT_EQ(band->RasterIO(GF_Read, 0, 0, width, height, pixels.data(), width, height, GDT_Float64, 0,
                                 0, nullptr),
                  CE_None);
        for (const double pixel : pixels)
            text << pixel << ' ';
    }
    return text.str();
}

TEST_F(PartsTest, MayStayWhereTheyAre) {
    saveScan(true);
    Request.bounds = {{30.0, 0.0, 570.0, 600.0}};
    for (const bool isStack : {false, true}) {
        Request.stack = isStack;
        Request.overwrite = true;
        runRaster(into("whole"));
        const std::uint64_t parts = plan(isStack ? 2 : 5);
        for (std::uint64_t part = 1; part <= parts; ++part)
            makePart(Job, part);
        joinPartsAsVrt(Job);
        const RasterReport report = joinPartsAsVrt(Job);
        EXPECT_EQ(report.rastered, runRaster(into("whole")).rastered);
        std::size_t count = 0;
        for (const std::string& name : namesIn(Top / "whole")) {
            fs::path vrt = Top / "joined" / name;
            vrt.replace_extension(".vrt");
            EXPECT_EQ(rasterText(vrt), rasterText(Top / "whole" / name)) << name;
            ++count;
        }
        EXPECT_EQ(count, isStack ? 1U : Request.bands.size());
        for (const char* const folder : {"whole", "joined"}) {
            fs::remove_all(Top / folder);
            fs::create_directory(Top / folder);
        }
    }
    Request.fill = 2.0;
    plan(5);
    for (std::uint64_t part = 1; part <= 5; ++part)
        makePart(Job, part);
    EXPECT_THROW(joinPartsAsVrt(Job), UsageError);
}

TEST_F(PartsTest, FindTheFilesMeasuredThatWereSharedOut) {
    saveScan(true);
    for (const char* const name : {"second.las", "third.las"}) {
        fs::copy_file(Top / "scan.las", Top / name);
        Request.inputs.push_back((Top / name).string());
    }
    measureShare(into("joined"), Job, 2, 2);
    EXPECT_EQ(namesIn(Job / "index").size(), 1U);
    measureShare(into("joined"), Job, 1, 2);
    measureShare(into("joined"), Job, 4, 4);
    EXPECT_EQ(namesIn(Job / "index").size(), 3U);
    // Progress comes from several threads.
    std::atomic<bool> hasMeasured = false;
    planParts(into("joined"), Job, 4, [&](std::string_view step, auto done, auto...) {
        if (step == "measuring" && done != 0)
            hasMeasured = true;
        return true;
    });
    EXPECT_FALSE(hasMeasured);
    // Whatever is wrong shows when it is planned.
    Request.bands = {"Nope:Mean"};
    fs::remove_all(Job);
    measureShare(into("joined"), Job, 1, 1);
    EXPECT_FALSE(fs::exists(Job));
    EXPECT_THROW(planParts(into("joined"), Job, 4), InputError);
}

TEST_F(PartsTest, StopWhenAskedToAndLeaveNothing) {
    saveScan(true);
    plan(3);
    const RunProgress stop = [](auto...) { return false; };
    EXPECT_THROW(makePart(Job, 2, stop), Interruption);
    EXPECT_EQ(namesIn(Job / "parts"), Names{});
    for (std::uint64_t part = 1; part <= 3; ++part)
        makePart(Job, part);
    EXPECT_THROW(joinParts(Job, {}, stop), Interruption);
    EXPECT_EQ(namesIn(Top / "joined"), Names{});
    EXPECT_TRUE(fs::exists(Job / "plan.json"));
}

} // namespace
} // namespace Tilewright::Io::Test
