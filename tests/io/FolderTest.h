/// FolderTest: a test with its own folder, and ways to look into the files there.
#pragma once

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <string>

#include <gdal_priv.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <gtest/gtest.h>

#include <io/rasters/PixelTypes.h>
#include <io/records/PointSource.h>
#include <io/system/Errors.h>
#include <tests/io/LasBuilder.h>

namespace Tilewright::Io::Test {

namespace fs = std::filesystem;
using Names = std::set<std::string>;

/// With heights.
inline const char* const compoundWkt =
    R"(COMPD_CS["WGS 84 / UTM zone 32N + EGM96 height",PROJCS["WGS 84 / UTM zone 32N",GEOGCS["WGS 84",)"
    R"(DATUM["WGS_1984",SPHEROID["WGS 84",6378137,298.257223563]],PRIMEM["Greenwich",0],)"
    R"(UNIT["degree",0.0174532925199433],AUTHORITY["EPSG","4326"]],PROJECTION["Transverse_Mercator"],)"
    R"(PARAMETER["latitude_of_origin",0],PARAMETER["central_meridian",9],PARAMETER["scale_factor",0.9996],)"
    R"(PARAMETER["false_easting",500000],PARAMETER["false_northing",0],UNIT["metre",1],)"
    R"(AUTHORITY["EPSG","32632"]],VERT_CS["EGM96 height",VERT_DATUM["EGM96 geoid",2005,)"
    R"(AUTHORITY["EPSG","5171"]],UNIT["metre",1],AXIS["Up",UP],AUTHORITY["EPSG","5773"]]])";

/// A raster of five pixels that GDAL recognises by its contents, whatever its name.
inline const std::string olderRaster = "P5 5 1 255\nolder";

/// The message of an action that fails as it should.
inline const std::string noFailure = "no such failure";
template <class Failure = InputError> std::string messageOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Failure& failure) {
        return failure.what();
    }
    return noFailure;
}

/// Lets no file grow beyond a size while the object lives. GDAL meets that like a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(std::size_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &Before);
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {bytes, Before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &Before);
        std::signal(SIGXFSZ, SIG_DFL);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit Before = {};
};

/// An attribute's type, and the values of all points as doubles.
using Values = std::pair<FieldType, std::vector<double>>;

inline std::map<std::string, Values> valuesOf(const PointSource& file) {
    std::map<std::string, Values> all;
    for (const PointField& field : file.format().fields)
        visitFieldType(field.type, [&]<class T>() {
            std::vector<T> values(file.pointCount());
            file.read(0, values.size(), nullptr, std::array{FieldColumn{&field, std::span(values)}});
            all[field.name] = {field.type, std::vector<double>(values.begin(), values.end())};
        });
    return all;
}

inline std::vector<double> positionsOf(const PointSource& file) {
    std::vector<double> xyz(3 * file.pointCount());
    file.read(0, file.pointCount(), xyz.data(), {});
    return xyz;
}

/// Sets the folders in which programs are found, while the object lives.
class PathOfPrograms {
public:
    explicit PathOfPrograms(const std::string& folders) : Before(std::getenv("PATH")) {
        ::setenv("PATH", folders.c_str(), 1);
    }
    ~PathOfPrograms() { ::setenv("PATH", Before.c_str(), 1); }
    PathOfPrograms(const PathOfPrograms&) = delete;
    PathOfPrograms& operator=(const PathOfPrograms&) = delete;

private:
    std::string Before;
};

class FolderTest : public testing::Test {
protected:
    FolderTest() {
        std::string pattern = (fs::temp_directory_path() / "tilewright-test-XXXXXX").string();
        if (!::mkdtemp(pattern.data()))
            throw std::runtime_error("no temporary folder");
        Top = pattern;
    }
    ~FolderTest() override {
        std::error_code ignored;
        fs::remove_all(Top, ignored);
    }

    static void saveAs(const fs::path& path, const Bytes& bytes) {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }

    static void saveAs(const fs::path& path, const std::string& text) { saveAs(path, textBytes(text)); }

    static std::string textOf(const fs::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    static Names namesIn(const fs::path& folder) {
        Names names;
        for (const auto& entry : fs::directory_iterator(folder))
            names.insert(entry.path().filename().string());
        return names;
    }

    static GDALDatasetUniquePtr openRaster(const fs::path& path) {
        GDALAllRegister();
        GDALDatasetUniquePtr dataset(GDALDataset::Open(path.c_str(), GDAL_OF_RASTER));
        if (!dataset)
            throw std::runtime_error(path.string() + " is no raster");
        return dataset;
    }

    template <class T>
    static std::vector<T> readAll(GDALRasterBand& band, GDALDataType type = gdalType(pixelTypeOf<T>)) {
        const int width = band.GetXSize(), height = band.GetYSize();
        std::vector<T> values(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        EXPECT_EQ(CE_None,
                  band.RasterIO(GF_Read, 0, 0, width, height, values.data(), width, height, type, 0, 0));
        return values;
    }

    /// All pixels of a band of a file.
    template <class T> static std::vector<T> pixelsOf(const fs::path& path, int band = 1) {
        return readAll<T>(*openRaster(path)->GetRasterBand(band));
    }

    fs::path Top;
};

} // namespace Tilewright::Io::Test
