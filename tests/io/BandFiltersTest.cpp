// What the table of filters claims of their results holds for what comes out.
#include <io/runs/BandFilters.h>

#include <cmath>
#include <map>

#include <io/runs/BandWords.h>
#include <io/runs/RasterRun.h>
#include <io/system/Errors.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

class BandFiltersTest : public FolderTest {
protected:
    /// The heights of one cell, each as 2^-4 * number * factor + offset, reduced by a filter.
    double reduce(const std::string& word, double factor, double offset) const {
        LasBuilder las;
        las.scale[2] = factor / 16.0;
        las.offset[2] = offset;
        las.points.clear();
        for (int i = 0; i < 9; ++i) {
            las.points.emplace_back();
            las.points.back().xyz = {5 + 10 * (i % 3), 5 + 10 * (i / 3), 40 + 7 * (i * i % 11)};
        }
        saveAs(Top / "in.las", las.build());
        RasterRequest request;
        request.inputs = {(Top / "in.las").string()};
        request.output = (Top / "out.tif").string();
        request.bands = {"Height:" + word};
        request.overwrite = true;
        return runRaster(request).bands.at(0).mean.value();
    }
};

TEST_F(BandFiltersTest, ResultsFollowFactorAndOffsetAsTheirDimensionSays) {
    constexpr double factor = 4.0, offset = 32.0;
    constexpr double points = 9.0;
    for (const std::string& word : filterWordsFor("Height")) {
        const BandFilter& filter = *chooseFilter(word).value().filter;
        const double result = reduce(word, 1.0, 0.0);
        const double square = factor * factor;
        const double expected = filter.dimension == BandFilter::Dimension::Value ? factor * result + offset
                                : filter.dimension == BandFilter::Dimension::Difference ? factor * result
                                : filter.dimension == BandFilter::Dimension::Total
                                    ? factor * result + points * offset
                                : filter.dimension == BandFilter::Dimension::Square ? square * result
                                                                                    : result;
        EXPECT_NEAR(reduce(word, factor, offset), expected, 1e-6 * std::fabs(expected)) << word;
        EXPECT_NEAR(reduce(word, factor, 0.0) * scaleOfResult(filter, factor), result,
                    1e-6 * std::fabs(result))
            << word;
    }
}

TEST_F(BandFiltersTest, UnitsAndTypesFollowTheValues) {
    BandFilter filter = *chooseFilter("Mean")->filter;
    EXPECT_EQ(pixelTypeOfResult(filter, FieldType::UnsignedShort), PixelType::Float32);
    EXPECT_EQ(pixelTypeOfResult(filter, FieldType::Int), PixelType::Float64);
    EXPECT_EQ(pixelTypeOfResult(*chooseFilter("Mode")->filter, FieldType::Int), PixelType::Int32);
    EXPECT_EQ(pixelTypeOfResult(*chooseFilter("Median")->filter, FieldType::Int), PixelType::Float64);
    EXPECT_EQ(pixelTypeOfResult(*findRequestFilter("Median"), FieldType::Int), PixelType::Int32);
    EXPECT_EQ(unitOfResult(filter, "metre"), "metre");
    filter.dimension = BandFilter::Dimension::Square;
    EXPECT_EQ(unitOfResult(filter, "metre"), "square metre");
    EXPECT_EQ(unitOfResult(filter, ""), "");
    filter.dimension = BandFilter::Dimension::Number;
    EXPECT_EQ(unitOfResult(filter, "metre"), "");
    EXPECT_FALSE(suits(*chooseFilter("Regression")->filter, "Intensity"));
}

TEST_F(BandFiltersTest, WordsWithNumbersMakeNamesForFilesOrOneError) {
    for (const auto& [word, name] : std::map<std::string, std::string>{{"P95", "P95"},
                                                                       {"P099.50", "P99.5"},
                                                                       {"P-0", "P0"},
                                                                       {"Above(5)", "Above5"},
                                                                       {"Above(-2.5e30)", "Above-2.5e30"},
                                                                       {"Above(Mean)", "AboveMean"},
                                                                       {"IDW(2)", "IDW2"},
                                                                       {"IDW(0.5,1)", "IDW0.5-1"}})
        EXPECT_EQ(chooseFilter(word).value().name, name);
    for (const char* const word : {"P101", "P-1", "P5x", "P1e400", "Above()", "Above(nan)", "Above(1,2)",
                                   "Above(x)", "Above(inf)", "IDW(0)", "IDW(nan)", "IDW(1,-1)", "IDW(1,2,3)"})
        EXPECT_THROW(chooseFilter(word), UsageError) << word;
    for (const char* const word : {"mean", "P", "Px", "Above", "Above5", "Above(5", "MaxOccurrence", ""})
        EXPECT_FALSE(chooseFilter(word)) << word;
}

} // namespace
} // namespace Tilewright::Io::Test
