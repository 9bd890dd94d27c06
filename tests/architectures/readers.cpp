// Prints a digest of what the readers make of files of all formats that are read without GDAL, a line for
// each file: readers FOLDER, which has the compressed samples. Two machines agree if their lines do.
#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <io/formats/PlyReader.h>
#include <io/formats/TextReader.h>
#include <io/formats/las/LasFile.h>
#include <io/formats/las/LazFile.h>
#include <io/system/InputFile.h>
#include <tests/architectures/Digest.h>
#include <tests/io/LasBuilder.h>

namespace fs = std::filesystem;
using namespace Tilewright::Io;
using Tilewright::Io::Test::Bytes;

namespace {

/// Positions, attributes in their own types and as doubles, and the box.
void printDigest(const std::string& label, const PointSource& source) {
    Tilewright::Test::Digest digest;
    const auto count = static_cast<std::size_t>(source.pointCount());
    std::vector<double> xyz(3 * count), numbers(count);
    source.read(0, count, xyz.data(), {});
    digest.addAll(xyz);
    for (const PointField& field : source.format().fields) {
        digest.addText(field.name);
        visitFieldType(field.type, [&]<class T>() {
            std::vector<T> values(count);
            source.read(
                0, count, nullptr,
                std::array{FieldColumn{&field, std::span(values)}, FieldColumn{&field, std::span(numbers)}});
            digest.addAll(values);
            digest.addAll(numbers);
        });
    }
    const PointBounds box = source.bounds(0, count);
    digest.addAll(box.low);
    digest.addAll(box.high);
    std::cout << label << " " << digest.text() << "\n";
}

class Files {
public:
    explicit Files(fs::path folder) : folder(std::move(folder)) { fs::create_directories(this->folder); }
    ~Files() {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    Files(const Files&) = delete;
    Files& operator=(const Files&) = delete;

    fs::path save(const std::string& name, const Bytes& bytes) const {
        const fs::path path = folder / name;
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path;
    }
    ReadOptions options() const { return {std::make_shared<ScratchSpace>(folder)}; }

private:
    fs::path folder;
};

Test::LasPoint lasPoint(std::mt19937& chance) {
    const auto small = [&](unsigned limit) { return static_cast<unsigned>(chance() % limit); };
    const auto wide = [&] { return static_cast<std::uint16_t>(chance()); };
    Test::LasPoint point;
    for (std::int32_t& c : point.xyz)
        c = static_cast<std::int32_t>(chance());
    point.intensity = wide();
    point.returnNumber = small(8);
    point.numberOfReturns = small(8);
    point.scanDirection = small(2);
    point.edge = small(2);
    point.classification = small(32);
    point.synthetic = small(2);
    point.withheld = small(2);
    point.overlap = small(2);
    point.channel = small(4);
    point.scanAngle = static_cast<std::int16_t>(wide());
    point.userData = static_cast<std::uint8_t>(small(256));
    point.source = wide();
    point.gpsTime = static_cast<double>(chance()) * 0x1p-10;
    for (std::uint16_t& c : point.colours)
        c = wide();
    point.waveIndex = static_cast<std::uint8_t>(small(256));
    point.waveOffset = chance();
    point.waveSize = static_cast<std::uint32_t>(chance());
    for (float& w : point.wave)
        w = static_cast<float>(static_cast<double>(chance()) * 0x1p-7);
    return point;
}

void printLas(const Files& files) {
    for (unsigned format = 0; format <= 10; ++format) {
        std::mt19937 chance(format);
        Test::LasBuilder las;
        las.versionMinor = format <= 5 ? 3 : 4;
        las.format = static_cast<std::uint8_t>(format);
        las.offset = {4e5, -1e6, 0.125};
        las.points.clear();
        while (las.points.size() < 400)
            las.points.push_back(lasPoint(chance));
        printDigest("las format " + std::to_string(format), LasFile(files.save("cloud.las", las.build())));
    }
}

void printCompressed(const fs::path& samples) {
    std::set<fs::path> paths;
    for (const auto& entry : fs::directory_iterator(samples))
        if (entry.path().extension() == ".laz")
            paths.insert(entry.path());
    for (const fs::path& path : paths)
        printDigest(path.filename().string(), LazFile(std::make_unique<InputFile>(path)));
}

template <class T> void putPly(Bytes& bytes, T value, bool isBigEndian) {
    const std::size_t at = bytes.size();
    Test::putOne(bytes, value);
    if (isBigEndian)
        std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(at), bytes.end());
}

void printPly(const Files& files) {
    for (const bool isBigEndian : {false, true}) {
        const std::string order = isBigEndian ? "binary_big_endian" : "binary_little_endian";
        Bytes ply = Test::textBytes("ply\nformat " + order +
                                    " 1.0\nelement vertex 300\nproperty double x\nproperty double y\n"
                                    "property float z\nproperty short level\nproperty uint mark\n"
                                    "property list uchar int near\nend_header\n");
        std::mt19937 chance(7);
        for (int i = 0; i < 300; ++i) {
            putPly(ply, static_cast<double>(chance()) * 0x1p-9, isBigEndian);
            putPly(ply, static_cast<double>(chance()) * 0x1p-11, isBigEndian);
            putPly(ply, static_cast<float>(static_cast<double>(chance() >> 10) * 0x1p-13), isBigEndian);
            putPly(ply, static_cast<std::int16_t>(chance()), isBigEndian);
            putPly(ply, static_cast<std::uint32_t>(chance()), isBigEndian);
            putPly(ply, std::uint8_t{1}, isBigEndian);
            putPly(ply, std::int32_t{i}, isBigEndian);
        }
        printDigest("ply " + order, *readPly(files.save("cloud.ply", ply), files.options()));
    }
}

void printText(const Files& files) {
    std::string lines = "x,y,z,Intensity,GpsTime\n";
    std::mt19937 chance(8);
    for (int i = 0; i < 300; ++i) {
        std::array<std::string, 6> n;
        for (std::string& digits : n)
            digits = std::to_string(chance() % 60000);
        lines += n[0] + "." + n[1] + ",-" + n[2] + "e-4,0." + n[3] + "," + n[4] + "," + n[5] + ".5\n";
    }
    printDigest("text", *readText(files.save("cloud.csv", Test::textBytes(lines)), files.options()));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: readers FOLDER\n";
        return 2;
    }
    try {
        // Of its own, as several machines may run at once.
        const Files files(fs::temp_directory_path() /
                          ("tilewright-readers-" + std::to_string(std::random_device()())));
        printLas(files);
        printCompressed(argv[1]);
        printPly(files);
        printText(files);
    } catch (const std::exception& error) {
        std::cerr << "readers: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
