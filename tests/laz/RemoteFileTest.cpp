#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <signal.h>
#include <stdlib.h>

#include <gmock/gmock.h>

#include <io/clouds/FileSearch.h>
#include <io/clouds/PointCloud.h>
#include <tests/laz/CopcBuilder.h>

namespace Tilewright::Io::Test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf, testing::HasSubstr, testing::Not;

/// A server on this machine, for the files of a folder of its own.
class RemoteFileTest : public testing::Test {
protected:
    RemoteFileTest() {
        std::string pattern = (fs::temp_directory_path() / "tilewright-remote-XXXXXX").string();
        if (!::mkdtemp(pattern.data()))
            throw std::runtime_error("no temporary folder");
        folder = pattern;
    }
    ~RemoteFileTest() override {
        stop();
        fs::remove_all(folder);
    }

    void start(int failures = 0) {
        const std::string command = "exec " TILEWRIGHT_PYTHON " " TILEWRIGHT_RANGE_SERVER " " +
                                    folder.string() + " " + (folder / "log").string() + " " +
                                    std::to_string(failures);
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

    void save(const std::string& name, const Bytes& bytes) const {
        std::ofstream(folder / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }

    std::string address(const std::string& name) const {
        return "/vsicurl/http://127.0.0.1:" + std::to_string(port) + "/" + name;
    }

    struct Traffic {
        int requests = 0;
        std::uint64_t bytes = 0;
    };
    Traffic traffic() const {
        std::ifstream log(folder / "log");
        Traffic all;
        for (std::uint64_t bytes = 0; log >> bytes; ++all.requests)
            all.bytes += bytes;
        return all;
    }

    static Bytes recordsOf(const PointSource& source, std::uint64_t first, std::uint64_t count) {
        Bytes records;
        source.visit(first, count, [&](const std::byte* from, std::size_t n) {
            records.insert(records.end(), from, from + n * source.format().recordLength);
        });
        return records;
    }

    static std::string messageOf(const std::function<void()>& action) {
        try {
            action();
        } catch (const InputError& error) {
            return error.what();
        }
        return "no InputError";
    }

    fs::path folder;
    int port = 0, process = 0;
    std::FILE* server = nullptr;
};

TEST_F(RemoteFileTest, AWindowOfACopcFileTakesALittleOfIt) {
    const CopcGrid grid(LazCloud("pf7.copc"), 4);
    save("grid.copc.laz", grid.bytes);
    const auto local = openPointFile(folder / "grid.copc.laz", {});
    EXPECT_EQ(local->pointCount(), grid.pointCount);
    start();
    const auto remote = openPointFile(address("grid.copc.laz"), {});
    const std::array<double, 2> low = {grid.corner[0] + 3.2 * grid.nodeSide,
                                       grid.corner[1] + 7.4 * grid.nodeSide};
    const std::array<double, 2> high = {low[0] + 0.5 * grid.nodeSide, low[1] + 0.2 * grid.nodeSide};
    int nodes = 0;
    for (const SourcePiece& piece : remote->pieces()) {
        ASSERT_TRUE(piece.statedBox);
        const PointBounds& box = *piece.statedBox;
        if (box.low[0] > high[0] || box.high[0] < low[0] || box.low[1] > high[1] || box.high[1] < low[1])
            continue;
        ++nodes;
        EXPECT_EQ(recordsOf(*remote, piece.first, piece.count), recordsOf(*local, piece.first, piece.count));
    }
    EXPECT_EQ(nodes, 1);
    EXPECT_LT(traffic().bytes, grid.bytes.size() / 10);
    EXPECT_LT(traffic().requests, 12);
}

TEST_F(RemoteFileTest, AllPointsComeOverTheNetwork) {
    for (const char* name : {"pf3", "pf7", "pf3_v1_pointwise"})
        save(std::string(name) + ".laz", LazCloud(name).bytes);
    LasBuilder plain;
    for (std::int32_t i = 0; i < 60000; ++i)
        plain.points.emplace_back().xyz = {i, -i, 7};
    save("plain.las", plain.build());
    start();
    for (const char* name : {"pf3.laz", "pf7.laz", "pf3_v1_pointwise.laz", "plain.las"}) {
        const auto local = openPointFile(folder / name, {});
        const auto remote = openPointFile(address(name), {});
        ASSERT_EQ(remote->pointCount(), local->pointCount());
        EXPECT_EQ(recordsOf(*remote, 0, remote->pointCount()), recordsOf(*local, 0, local->pointCount()));
        EXPECT_EQ(remote->coordinateSystem(), local->coordinateSystem());
    }
}

TEST_F(RemoteFileTest, ServersMayFailForAMoment) {
    save("pf3.laz", LazCloud("pf3").bytes);
    start(1);
    EXPECT_EQ(openPointFile(address("pf3.laz"), {})->pointCount(), 1500U);
}

TEST_F(RemoteFileTest, ServersThatAreGoneAreNamed) {
    save("grid.copc.laz", CopcGrid(LazCloud("pf7.copc"), 3).bytes);
    start();
    EXPECT_THAT(messageOf([&] { openPointFile(address("none.laz"), {}); }),
                AllOf(HasSubstr("none.laz: cannot be opened: "), HasSubstr("404"), Not(HasSubstr("\n"))));
    const auto remote = openPointFile(address("grid.copc.laz"), {});
    stop();
    ::setenv("GDAL_HTTP_MAX_RETRY", "0", 1);
    EXPECT_THAT(messageOf([&] { recordsOf(*remote, 0, remote->pointCount()); }),
                AllOf(HasSubstr("grid.copc.laz: cannot be read at byte "), Not(HasSubstr("\n"))));
    ::unsetenv("GDAL_HTTP_MAX_RETRY");
}

TEST_F(RemoteFileTest, AnArchiveIsAFolder) {
    save("pf7.laz", LazCloud("pf7").bytes);
    const std::string command = TILEWRIGHT_PYTHON " -m zipfile -c " + (folder / "a.zip").string() + " " +
                                (folder / "pf7.laz").string();
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string name = "/vsizip/" + (folder / "a.zip").string() + "/pf7.laz";
    const PointCloud cloud(findPointFiles({name, name}), {}, false);
    ASSERT_EQ(cloud.sources().size(), 1U);
    EXPECT_EQ(digest(recordsOf(*cloud.sources()[0], 0, cloud.pointCount())), 0xcd4c83f3e1c60ebaU);
    cloud.checkUnchanged();
}

} // namespace
} // namespace Tilewright::Io::Test
