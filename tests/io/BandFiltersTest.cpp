// What the table of filters claims of their results holds for what comes out.
#include <io/runs/BandFilters.h>

#include <cmath>

#include <io/runs/RasterRun.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

class BandFiltersTest : public FolderTest {
protected:
    /// The heights of one cell, each as 2^-4 * number * factor + offset, reduced by a filter.
    double reduce(const BandFilter& filter, double factor, double offset) const {
        LasBuilder las;
        las.scale[2] = factor / 16.0;
        las.offset[2] = offset;
        for (int i = 0; i < 9; ++i) {
            las.points.emplace_back();
            las.points.back().xyz = {5 + 10 * (i % 3), 5 + 10 * (i / 3), 40 + 7 * (i * i % 11)};
        }
        saveAs(Top / "in.las", las.build());
        RasterRequest request;
        request.inputs = {(Top / "in.las").string()};
        request.output = (Top / "out.tif").string();
        request.bands = {"Height:" + std::string(filter.word)};
        request.overwrite = true;
        return runRaster(request).bands.at(0).mean.value();
    }
};

TEST_F(BandFiltersTest, ResultsFollowFactorAndOffsetAsTheirDimensionSays) {
    constexpr double factor = 4.0, offset = 32.0;
    for (const BandFilter& filter : bandFilters()) {
        const double result = reduce(filter, 1.0, 0.0);
        const double square = factor * factor;
        const double expected = filter.dimension == BandFilter::Dimension::Value ? factor * result + offset
                                : filter.dimension == BandFilter::Dimension::Difference ? factor * result
                                : filter.dimension == BandFilter::Dimension::Square     ? square * result
                                                                                        : result;
        EXPECT_NEAR(reduce(filter, factor, offset), expected, 1e-6 * std::fabs(expected)) << filter.word;
        EXPECT_NEAR(reduce(filter, factor, 0.0) * scaleOfResult(filter, factor), result,
                    1e-6 * std::fabs(result))
            << filter.word;
    }
}

TEST_F(BandFiltersTest, UnitsAndTypesFollowTheValues) {
    BandFilter filter = *findBandFilter("Mean");
    EXPECT_EQ(pixelTypeOfResult(filter, FieldType::UnsignedShort), PixelType::Float32);
    EXPECT_EQ(pixelTypeOfResult(filter, FieldType::Int), PixelType::Float64);
    EXPECT_EQ(pixelTypeOfResult(*findBandFilter("Median"), FieldType::Int), PixelType::Int32);
    EXPECT_EQ(unitOfResult(filter, "metre"), "metre");
    filter.dimension = BandFilter::Dimension::Square;
    EXPECT_EQ(unitOfResult(filter, "metre"), "square metre");
    EXPECT_EQ(unitOfResult(filter, ""), "");
    filter.dimension = BandFilter::Dimension::Number;
    EXPECT_EQ(unitOfResult(filter, "metre"), "");
    EXPECT_EQ(findBandFilter("mean"), nullptr);
    EXPECT_FALSE(suits(*findBandFilter("Regression"), "Intensity"));
}

} // namespace
} // namespace Tilewright::Io::Test
