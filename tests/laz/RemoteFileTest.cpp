#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <signal.h>

#include <gmock/gmock.h>

#include <io/clouds/FileSearch.h>
#include <io/clouds/PointCloud.h>
#include <io/runs/RasterRun.h>
#include <tests/io/FolderTest.h>
#include <tests/laz/LazSamples.h>

namespace Tilewright::Io::Test {
namespace {

using testing::AllOf, testing::HasSubstr, testing::Not;

/// A server on this machine, for the files of its folder.
class RemoteFileTest : public FolderTest {
protected:
    /// Small files are read whole unless the pieces that are asked for at once are small as well.
    RemoteFileTest() { ::setenv("CPL_VSIL_CURL_CHUNK_SIZE", "1024", 1); }
    ~RemoteFileTest() override { stop(); }

    void start(int failures = 0) {
        const std::string command = "exec " TILEWRIGHT_PYTHON " " TILEWRIGHT_RANGE_SERVER " " + Top.string() +
                                    " " + (Top / "log").string() + " " + std::to_string(failures);
        server = ::popen(command.c_str(), "r");
        if (!server || std::fscanf(server, "%d %d", &port, &process) != 2)
            throw std::runtime_error("no server");
    }

    void stop() {
        if (!server)
            return;
        if (process > 0)
            ::kill(process, SIGTERM);
        ::pclose(server);
        server = nullptr;
    }

    std::string address(const std::string& name) const {
        return "/vsicurl/http://127.0.0.1:" + std::to_string(port) + "/" + name;
    }

    struct Traffic {
        int requests = 0;
        std::uint64_t bytes = 0;
    };
    Traffic traffic() const {
        std::ifstream log(Top / "log");
        Traffic all;
        for (std::uint64_t bytes = 0; log >> bytes; ++all.requests)
            all.bytes += bytes;
        return all;
    }

    static Bytes manyPoints() {
        LasBuilder plain;
        for (std::int32_t i = 0; i < 60000; ++i)
            plain.points.emplace_back().xyz = {i, -i, 7};
        return plain.build();
    }

    int port = 0, process = 0;
    std::FILE* server = nullptr;
};

TEST_F(RemoteFileTest, AllPointsComeOverANetworkThatFailsForAMoment) {
    for (const char* name : {"pf3", "pf7", "pf3_v1_pointwise"})
        saveAs(Top / (std::string(name) + ".laz"), LazCloud(name).bytes);
    saveAs(Top / "plain.las", manyPoints());
    start(1);
    for (const char* name : {"pf3.laz", "pf7.laz", "pf3_v1_pointwise.laz", "plain.las"}) {
        const auto local = openPointFile(Top / name, {});
        const auto remote = openPointFile(address(name), {});
        ASSERT_EQ(remote->pointCount(), local->pointCount());
        EXPECT_EQ(recordsOf(*remote), recordsOf(*local));
        EXPECT_EQ(remote->coordinateSystem(), local->coordinateSystem());
    }
}

TEST_F(RemoteFileTest, AFewPointsTakeALittleOfTheFileAndServersThatAreGoneAreNamed) {
    saveAs(Top / "plain.las", manyPoints());
    start();
    EXPECT_THAT(messageOf([&] { openPointFile(address("none.laz"), {}); }),
                AllOf(HasSubstr("none.laz: cannot be opened: "), HasSubstr("404"), Not(HasSubstr("\n"))));
    const auto remote = openPointFile(address("plain.las"), {});
    recordsOf(*remote, 30000, 10);
    EXPECT_LT(traffic().bytes, fs::file_size(Top / "plain.las") / 4);
    EXPECT_LT(traffic().requests, 12);
    stop();
    ::setenv("GDAL_HTTP_MAX_RETRY", "0", 1);
    EXPECT_THAT(messageOf([&] { recordsOf(*remote); }),
                AllOf(HasSubstr("plain.las: cannot be read at byte "), Not(HasSubstr("\n"))));
    ::unsetenv("GDAL_HTTP_MAX_RETRY");
}

TEST_F(RemoteFileTest, AWindowOfAnOctreeIsRasteredFromTheNodesAndLayersThatItTakes) {
    const LazCloud cloud("pf7.copc");
    saveAs(Top / "pf7.copc.laz", cloud.bytes);
    const auto low = [&](std::size_t axis) { return cloud.at<double>(187 + 16 * axis); };
    start();
    const auto raster = [&](const std::string& input) {
        RasterRequest request;
        request.inputs = {input};
        request.output = (Top / "out.tif").string();
        request.overwrite = true;
        request.bounds = {{low(0), low(1), low(0) + 10, low(1) + 10}};
        EXPECT_GT(runRaster(request).rastered, 0U);
        return pixelsOf<float>(Top / "out.tif", 1);
    };
    const std::vector<float> remote = raster(address("pf7.copc.laz"));
    const Traffic window = traffic();
    EXPECT_EQ(remote, raster((Top / "pf7.copc.laz").string()));
    EXPECT_LT(window.bytes, cloud.bytes.size() / 2);
    EXPECT_LT(window.requests, 20);
}

TEST_F(RemoteFileTest, AnArchiveIsAFolder) {
    saveAs(Top / "pf7.laz", LazCloud("pf7").bytes);
    const std::string command =
        TILEWRIGHT_PYTHON " -m zipfile -c " + (Top / "a.zip").string() + " " + (Top / "pf7.laz").string();
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string name = "/vsizip/" + (Top / "a.zip").string() + "/pf7.laz";
    const PointCloud cloud(findPointFiles({name, name}), {}, false);
    ASSERT_EQ(cloud.sources().size(), 1U);
    EXPECT_EQ(digest(recordsOf(*cloud.sources()[0])), 0xcd4c83f3e1c60ebaU);
    cloud.checkUnchanged();
}

} // namespace
} // namespace Tilewright::Io::Test
