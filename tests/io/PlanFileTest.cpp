// A run that is planned, written down, read back and carried out.
#include <io/runs/PlanFile.h>

#include <random>

#include <gmock/gmock.h>

#include <io/clouds/IndexFolder.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

class PlanFileTest : public FolderTest {
protected:
    PlanFileTest() {
        std::mt19937 random(11);
        for (const char* const name : {"a.las", "b.las"}) {
            LasBuilder las;
            las.points.assign(5000, {});
            for (LasPoint& p : las.points) {
                p.xyz = {static_cast<int>(random() % 30000), static_cast<int>(random() % 20000),
                         static_cast<int>(random() % 9000)};
                p.intensity = static_cast<std::uint16_t>(random());
            }
            saveAs(Top / name, las.build());
        }
        Request.inputs = {(Top / "a.las").string(), (Top / "b.las").string()};
        Request.output = (Top / "out.tif").string();
        Request.bands = {"Positions:Median:Zdir", "Intensity:Max", "top=Height:Max", "count",
                         "Positions:Mean:All",    "Height:P99.5",  "Height:Median",  "Intensity:AtHighest"};
        Request.cell = {1.0 / 3.0, 0.7};
        Request.preview = (Top / "out.png").string();
        Request.pixelType = "Float64";
        Request.creationOptions = {"COMPRESS=DEFLATE"};
        Request.selections = {"100:60000@Intensity", "!5:@Classification"};
        Request.fill = 2.0;
        Request.memory = std::uint64_t(1) << 28;
    }

    void write() const {
        fs::create_directories(Top / "index");
        writePlan(Plan, planRun(Request, {}, &Index).plan);
    }

    /// The bytes of all outputs, which are removed.
    std::map<std::string, std::string> takeOutputs() const {
        std::map<std::string, std::string> files;
        for (const std::string& name : namesIn(Top))
            if (name.starts_with("out")) {
                files[name] = textOf(Top / name);
                fs::remove(Top / name);
            }
        return files;
    }

    RasterRequest Request;
    fs::path Plan = Top / "plan.json";
    IndexFolder Index = IndexFolder(Top / "index");
};

TEST_F(PlanFileTest, IsCarriedOutAsTheRunItself) {
    const std::vector<std::string> inOnePass = {"Height:Mean", "count", "Height:Above(4.5)", "Height:StdDev"};
    for (const std::vector<std::string>& bands : {Request.bands, inOnePass}) {
        Request.bands = bands;
        const RasterReport direct = runRaster(Request);
        const auto expected = takeOutputs();
        ASSERT_EQ(expected.size(), bands == inOnePass ? 5U : 11U) << "the bands and a picture";
        write();
        const RasterReport report = carryOut(openPlan(readPlan(Plan), Index));
        EXPECT_EQ(takeOutputs(), expected);
        EXPECT_EQ(report.rastered, direct.rastered);
        EXPECT_EQ(report.notes, direct.notes);
        EXPECT_EQ(report.coordinateSystem, direct.coordinateSystem);
        EXPECT_EQ(report.bands.back().mean, direct.bands.back().mean);
    }
}

TEST_F(PlanFileTest, NeedsTheFilesOfPolygonsAndGround) {
    RasterRequest ground = Request;
    ground.bands = {"Height:Mean"};
    ground.output = (Top / "ground.tif").string();
    ground.preview.clear();
    runRaster(ground);
    const fs::path area = Top / "area.csv";
    saveAs(area, "id,WKT\n1,\"POLYGON((10 10,250 20,200 190,10 10))\"\n");
    Request.clip = area.string();
    Request.preview.clear();
    Request.bands = {"HeightAboveGround:Median[:50@HeightAboveGround]", "HeightAboveGround:Mean"};
    for (const bool isFound : {false, true}) {
        Request.ground = isFound ? "" : ground.output;
        Request.groundClasses = isFound ? "0" : "";
        const RasterReport direct = runRaster(Request);
        const auto expected = takeOutputs();
        write();
        const RasterReport report = carryOut(openPlan(readPlan(Plan), Index));
        EXPECT_EQ(takeOutputs(), expected);
        EXPECT_EQ(report.rastered, direct.rastered);
        EXPECT_EQ(report.withoutGround, direct.withoutGround);
    }
    RunPlan unopened = readPlan(Plan);
    EXPECT_THROW(carryOut({unopened, nullptr, {}}), std::invalid_argument);
    saveAs(area, "id,WKT\n1,\"POLYGON((10 10,250 20,200 191,10 10))\"\n");
    EXPECT_EQ(messageOf([&] { static_cast<void>(openPlan(readPlan(Plan), Index)); }),
              area.string() + ": has changed since the plan was made; make a new plan");
}

TEST_F(PlanFileTest, LoadsNoMorePointsOfOneCellThanMemoryHolds) {
    Request.memory = std::uint64_t(1) << 26;
    Request.bands.clear();
    for (const std::string field : {"Height", "X", "Y", "Intensity", "UserData", "ReturnNumber"})
        for (const std::string condition : {"", "[first]", "[last]", "[only]"})
            Request.bands.push_back(field + ":Median" + condition);
    const RasterJob job = planRun(Request).plan.job;
    EXPECT_LE(job.pointsOfCell * job.plan.columns.size() * sizeof(float), *Request.memory);
}

TEST_F(PlanFileTest, GivesBackEveryNumberAndText) {
    RunPlan plan = planRun(Request).plan;
    plan.lattice[0].low = 0x1.fffffffffffffp-1022;
    plan.lattice[0].high = 0.1 + 0.2;
    plan.lattice[1].low = PointBounds::infinity;
    plan.lattice[1].high = -0.0;
    plan.lattice[1].bounds = {{0.0, 20.3}};
    plan.geometry.width = plan.makeLattice().x().cells();
    plan.geometry.height = plan.makeLattice().y().cells();
    plan.nodata = std::copysign(std::numeric_limits<double>::quiet_NaN(), -1.0);
    plan.memory = std::numeric_limits<std::uint64_t>::max() - 1;
    plan.inputs[0].path = "caf\xe9 \xff.las";
    plan.inputs[0].modified = {-5, 999'999'999};
    plan.otherNames = {"\xC3\xA9.las"};
    plan.notes = {"two\nlines", ""};
    writePlan(Plan, plan);
    const std::string text = textOf(Plan);
    const RunPlan read = readPlan(Plan);
    EXPECT_EQ(read.inputs, plan.inputs);
    EXPECT_EQ(read.otherNames, plan.otherNames);
    EXPECT_EQ(read.notes, plan.notes);
    EXPECT_EQ(read.memory, plan.memory);
    EXPECT_EQ(read.lattice[0].low, plan.lattice[0].low);
    EXPECT_EQ(read.lattice[0].high, plan.lattice[0].high);
    EXPECT_EQ(read.lattice[1].low, plan.lattice[1].low);
    EXPECT_TRUE(std::signbit(read.lattice[1].high));
    EXPECT_TRUE(std::isnan(*read.nodata) && std::signbit(*read.nodata));
    EXPECT_EQ(read.job.plan.needs, plan.job.plan.needs);
    EXPECT_EQ(read.job.plan.columns, plan.job.plan.columns);
    EXPECT_EQ(read.outputs[0].description.metadata, plan.outputs[0].description.metadata);
    writePlan(Plan, read);
    EXPECT_EQ(textOf(Plan), text) << "nothing else is lost on the way either";
}

TEST_F(PlanFileTest, IsRefusedWhenACloudHasChanged) {
    write();
    const auto open = [&] { static_cast<void>(openPlan(readPlan(Plan), Index)); };
    const fs::path file = Top / "b.las";
    const fs::file_time_type time = fs::last_write_time(file);
    const std::string fault = file.string() + ": has changed since the plan was made; make a new plan";
    fs::last_write_time(file, time + std::chrono::milliseconds(1));
    EXPECT_EQ(messageOf(open), fault);
    fs::last_write_time(file, time);
    EXPECT_EQ(messageOf(open), noFailure);
    fs::resize_file(file, fs::file_size(file) + 1);
    fs::last_write_time(file, time);
    EXPECT_EQ(messageOf(open), fault);
    fs::remove(file);
    EXPECT_TRUE(messageOf(open).starts_with(file.string() + ": cannot be opened: "));
}

/// The plan with one text in the place of another.
std::string replaced(std::string plan, const std::string& from, const std::string& to) {
    const std::size_t at = plan.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return plan.replace(at, from.size(), to);
}

TEST_F(PlanFileTest, SaysWhatIsWrongWithIt) {
    write();
    const std::string sound = textOf(Plan);
    const auto fault = [&](const std::string& text) {
        saveAs(Plan, text);
        return messageOf([&] { readPlan(Plan); }).substr(Plan.string().size() + 2);
    };
    EXPECT_EQ(fault("{"), "is no plan of a raster");
    EXPECT_EQ(fault(std::string(100'000, '[')), "is no plan of a raster");
    EXPECT_EQ(fault(replaced(sound, "\"version\": 3", "\"version\": 2")),
              "is a plan of another version than 3, the only one that is known; make a new plan");
    EXPECT_EQ(fault(replaced(sound, "\"points\": 5000", "\"points\": -5000")),
              "the plan.inputs[0].points is not a whole number in its range");
    EXPECT_EQ(fault(replaced(sound, "\"overwrite\"", "\"overwrote\"")), "the plan has no overwrite");
    EXPECT_EQ(fault(replaced(sound, "\"kind\": \"z\"", "\"kind\": \"q\"")),
              "the plan.job.plan.columns[0].kind is not one of the words for it");
    const std::string self = "the plan contradicts itself: ";
    EXPECT_EQ(fault(replaced(sound, "\"filter\": \"Median\"", "\"filter\": \"Middle\"")),
              self + "a reduction that is none, or of a column that there is not");
    EXPECT_EQ(fault(replaced(sound, "\"column\": 1", "\"column\": 9")),
              self + "a reduction that is none, or of a column that there is not");
    EXPECT_EQ(fault(replaced(sound, "\"threads\": ", "\"threads\": 10000")).substr(0, self.size()), self);
    EXPECT_EQ(fault(replaced(sound, "\"side\": 256", "\"side\": 100")),
              self + "squares of 100 cells, which do not fill a block");
    EXPECT_EQ(fault(replaced(sound, "\"file\": 1", "\"file\": 77")),
              self + "a band of nothing, or of no output");
    EXPECT_EQ(fault(replaced(sound, "\"width\": ", "\"width\": 1")),
              self + "a lattice of other cells than the raster");
}

TEST_F(PlanFileTest, NeedsEachBlockInOnePart) {
    Request.cell = {{0.2, 0.2}};
    RunPlan plan = planRunInBlocks(Request).plan;
    const BlockRectangle all = plan.makeLattice().blocks();
    ASSERT_TRUE(all.east >= 3 && all.south >= 3);
    const auto fault = [&](const std::vector<BlockRectangle>& parts) {
        plan.parts = parts;
        writePlan(Plan, plan);
        return messageOf([&] { static_cast<void>(readPlan(Plan)); });
    };
    EXPECT_EQ(fault({{2, 0, all.east, 2}, {0, 1, 2, all.south}, {0, 0, 2, 1}, {2, 2, all.east, all.south}}),
              noFailure);
    const std::vector<std::vector<BlockRectangle>> faults = {
        {{0, 0, all.east, 2}},
        {{0, 0, all.east, 1}, {0, 1, all.east + 1, all.south}},
        {{0, 0, all.east, 0}, {0, 0, all.east, all.south}},
        {{0, 0, all.east, all.south}, {1, 1, 1, 2}},
        {{0, 0, all.east, 1}, {0, 0, all.east, 1}, {0, 2, all.east, all.south}},
        {{0, 0, 2, 2}, {2, 0, all.east, all.south}, {1, 1, 2, all.south}, {0, 3, 1, all.south}},
    };
    for (const std::vector<BlockRectangle>& parts : faults)
        EXPECT_THAT(fault(parts), testing::HasSubstr("contradicts itself: parts that"));
}

TEST_F(PlanFileTest, ComesBackOrIsRefusedWhateverItsBytes) {
    write();
    const std::string sound = textOf(Plan);
    std::mt19937 random(2);
    for (int i = 0; i < 300; ++i) {
        std::string text = sound;
        for (int change = 0; change < 3; ++change)
            text[random() % text.size()] = sound[random() % sound.size()];
        if (i % 3 == 0)
            text.resize(random() % text.size());
        saveAs(Plan, text.empty() ? " " : text);
        try {
            static_cast<void>(readPlan(Plan));
        } catch (const InputError& error) {
            EXPECT_TRUE(std::string(error.what()).starts_with(Plan.string() + ": ")) << error.what();
        }
    }
}

} // namespace
} // namespace Tilewright::Io::Test
