#include <io/preview/Preview.h>

#include <array>
#include <cmath>

#include <io/rasters/RasterWriter.h>
#include <io/system/Errors.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

using Rgb = std::array<int, 3>;

constexpr Rgb grey = {234, 234, 236};
constexpr float none = -9999;

int lightness(const Rgb& colour) { return colour[0] + colour[1] + colour[2]; }

/// A picture, and where the map is in it: within the frame, the leftmost that isn't white.
struct Picture {
    int width = 0, height = 0, left = 0, top = 0;
    std::array<std::vector<unsigned char>, 4> bands;

    Rgb at(int x, int y) const {
        const auto i =
            static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
        return {bands[0][i], bands[1][i], bands[2][i]};
    }
    Rgb onMap(int x, int y) const { return at(left + x, top + y); }
};

class PreviewTest : public FolderTest {
protected:
    template <class Height> fs::path heights(unsigned width, unsigned height, Height heightAt) const {
        RasterDescription description;
        description.geometry = {width, height, 0, 0, 2, 2, {}};
        description.nodata = none;
        description.bands = {{"Height", "metre", BandColour::Undefined, {}}};
        std::vector<float> values;
        for (unsigned y = 0; y < height; ++y)
            for (unsigned x = 0; x < width; ++x)
                values.push_back(static_cast<float>(heightAt(double(x), double(y))));
        RasterWriter writer(Top / "heights.tif", description);
        writer.write<float>(0, 0, 0, width, height, values);
        finishAll({&writer, 1});
        return writer.path();
    }

    Picture paint(const fs::path& raster, const PreviewOptions& options = {}) const {
        const fs::path png = Top / "picture.png";
        makePreview(raster, options, png);
        EXPECT_EQ((Names{raster.filename(), "picture.png"}), namesIn(Top));
        const auto dataset = openRaster(png);
        EXPECT_EQ(4, dataset->GetRasterCount());
        Picture picture;
        picture.width = dataset->GetRasterXSize();
        picture.height = dataset->GetRasterYSize();
        for (std::size_t i = 0; i < 4; ++i)
            picture.bands[i] = readAll<unsigned char>(*dataset->GetRasterBand(int(i) + 1));
        while (picture.at(picture.left, picture.top) == Rgb{255, 255, 255})
            if (++picture.top == picture.height) {
                picture.top = 0;
                ++picture.left;
            }
        ++picture.left;
        ++picture.top;
        return picture;
    }
};

TEST_F(PreviewTest, SlopesTowardsTheLightAreBrighterHoweverLowTheHill) {
    // Cones of a millimetre and of a mountain: the data say how much relief they need.
    for (const double height : {0.001, 3000.0}) {
        const fs::path cone = heights(300, 300, [&](double x, double y) {
            return height * std::max(0.0, 125 - std::hypot(x - 150, y - 150));
        });
        const Picture picture = paint(cone);
        EXPECT_GT(lightness(picture.onMap(220, 220)), lightness(picture.onMap(380, 380)) + 150);
        PreviewOptions plain;
        plain.relief = false;
        const Picture flat = paint(cone, plain);
        EXPECT_EQ(flat.onMap(220, 220), flat.onMap(380, 380));
        EXPECT_GT(lightness(flat.onMap(300, 300)), lightness(flat.onMap(5, 5)) + 150) << "high is light";
    }
}

TEST_F(PreviewTest, GapsAreGreyAndSinglePixelsAreClosed) {
    const Picture picture = paint(heights(
        300, 200, [](double x, double y) { return x < 100 || (x == 200 && y == 100) ? double(none) : y; }));
    // Twice as large, as 300 pixels are too few.
    EXPECT_EQ(grey, picture.onMap(0, 0));
    EXPECT_EQ(grey, picture.onMap(199, 399));
    EXPECT_NE(grey, picture.onMap(200, 399));
    EXPECT_EQ(picture.onMap(402, 200), picture.onMap(400, 200));
    EXPECT_EQ(picture.onMap(400, 200), picture.onMap(401, 201));

    const Picture empty = paint(heights(3, 2, [](double, double) { return double(none); }));
    EXPECT_EQ(grey, empty.onMap(599, 399));
}

TEST_F(PreviewTest, ClassesHaveAColourEachAndAreNotMixed) {
    // Twice as wide as the picture, and the border runs through a pixel of it.
    const fs::path raster = heights(3200, 40, [](double x, double y) {
        return y < 4 ? none : y < 8 ? 2.5 : x < 1601 ? 2.0 : x < 2000 ? 6.0 : 200.0;
    });
    PreviewOptions options;
    options.relief = false;
    options.classes = true;
    options.title = "Classes";
    const Picture picture = paint(raster, options);
    std::set<Rgb> colours;
    for (int x = 0; x < 1600; ++x)
        colours.insert(picture.onMap(x, 10));
    EXPECT_EQ(3U, colours.size());
    for (const int y : {1, 3})
        EXPECT_EQ(grey, picture.onMap(800, y)) << "no class";
    EXPECT_FALSE(colours.contains(grey));
}

TEST_F(PreviewTest, ColoursStayAsTheyAre) {
    RasterDescription description;
    description.geometry = {600, 300, 0, 0, 1, 1, {}};
    description.type = PixelType::UInt16;
    for (const BandColour colour : {BandColour::Red, BandColour::Green, BandColour::Blue, BandColour::Alpha})
        description.bands.push_back({{}, {}, colour, {}});
    RasterWriter writer(Top / "colours.tif", description);
    const std::array<int, 4> values = {200, 120, 40, 255};
    // Only the western half is opaque.
    for (std::size_t band = 0; band < 4; ++band)
        writer.write<unsigned short>(
            band, 0, 0, 300, 300,
            std::vector<unsigned short>(90000, static_cast<unsigned short>(257 * values[band])));
    finishAll({&writer, 1});
    const Picture picture = paint(writer.path());
    EXPECT_EQ((Rgb{200, 120, 40}), picture.onMap(150, 150));
    EXPECT_EQ(grey, picture.onMap(450, 150));
}

TEST_F(PreviewTest, FailuresLeaveNothingBehind) {
    const fs::path raster = heights(5, 5, [](double x, double) { return x; });
    PreviewOptions beyond;
    beyond.band = 1;
    EXPECT_THROW(makePreview(Top / "missing.tif", {}, Top / "picture.png"), InputError);
    EXPECT_THROW(makePreview(raster, beyond, Top / "picture.png"), InputError);
    EXPECT_THROW(makePreview(raster, {}, Top / "missing" / "picture.png"), OutputError);
    EXPECT_THROW(makePreview(raster, {}, Top / "picture.gif"), UsageError);
    fs::create_directory(Top / "folder.png");
    EXPECT_THROW(makePreview(raster, {}, Top / "folder.png"), OutputError);
    fs::remove(Top / "folder.png");
    EXPECT_EQ(Names{"heights.tif"}, namesIn(Top));
    makePreview(raster, {}, Top / "a.JPG");
    EXPECT_STREQ("JPEG", openRaster(Top / "a.JPG")->GetDriverName());
}

} // namespace
} // namespace Tilewright::Io::Test
