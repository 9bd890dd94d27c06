/// ProgramTest: runs the built programs in a folder of their own, and reads what they leave there.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <optional>

#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <tests/io/FolderTest.h>

namespace Tilewright::App::Test {

namespace fs = std::filesystem;
using Io::Test::Names;
using Arguments = std::vector<std::string>;

struct Outcome {
    int status = 0; ///< 0 to 255, or what a signal that ended the program makes of it in a shell
    std::string out;
    std::string err;
};

/// A raster file; rows run from north to south.
struct Band {
    std::string description;
    int width = 0;
    int height = 0;
    double west = 0.0;
    double north = 0.0;
    GDALDataType type = GDT_Unknown;
    std::optional<double> nodata;
    std::vector<double> values;

    double at(int column, int rowFromSouth) const {
        return values.at(static_cast<std::size_t>((height - 1 - rowFromSouth) * width + column));
    }
};

class ProgramTest : public Io::Test::FolderTest {
protected:
    ProgramTest() : Folder(Top / "work") { fs::create_directory(Folder); }

    /// `prepare` is called in the new process, just before the program starts.
    pid_t start(const char* program, Arguments arguments, const std::function<bool()>& prepare = {}) const {
        const char* const path = std::getenv(program);
        if (!path)
            throw std::runtime_error(std::string(program) + " doesn't name the program to test");
        arguments.insert(arguments.begin(), path);
        std::vector<char*> words;
        for (std::string& argument : arguments)
            words.push_back(argument.data());
        words.push_back(nullptr);
        const pid_t pid = ::fork();
        if (pid == 0) {
            const bool ready = ::chdir(Folder.c_str()) == 0 &&
                               std::freopen((Top / "out").c_str(), "w", stdout) &&
                               std::freopen((Top / "err").c_str(), "w", stderr) && (!prepare || prepare());
            if (ready)
                ::execv(path, words.data());
            ::_exit(127);
        }
        return pid;
    }

    Outcome finish(pid_t pid) const {
        int status = 0;
        ::waitpid(pid, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), textOf(Top / "out"),
                textOf(Top / "err")};
    }

    Outcome run(const Arguments& arguments) const { return finish(start("TILEWRIGHT_PROGRAM", arguments)); }

    /// `raster in.las out.tif` with further arguments, over an older output.
    Outcome raster(const Arguments& more) const {
        Arguments arguments = {"raster", "in.las", "out.tif", "--overwrite"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }

    void save(const std::string& name, const Io::Test::Bytes& bytes) const { saveAs(Folder / name, bytes); }

    Names files() const { return namesIn(Folder); }

    Band readBand(const std::string& name) const {
        const auto file = openRaster(Folder / name);
        GDALRasterBand& raster = *file->GetRasterBand(1);
        double transform[6];
        EXPECT_EQ(CE_None, file->GetGeoTransform(transform));
        int hasNoData = 0;
        const double nodata = raster.GetNoDataValue(&hasNoData);
        Band band = {raster.GetDescription(),
                     raster.GetXSize(),
                     raster.GetYSize(),
                     transform[0],
                     transform[3],
                     raster.GetRasterDataType(),
                     {},
                     readAll<double>(raster, GDT_Float64)};
        if (hasNoData != 0)
            band.nodata = nodata;
        return band;
    }

    fs::path Folder;
};

} // namespace Tilewright::App::Test
