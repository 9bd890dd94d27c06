#include <io/rasters/GdalFiles.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <stdexcept>
#include <vector>

#include <cpl_conv.h>
#include <cpl_string.h>

#include <io/gdal/CoordinateSystem.h>
#include <io/gdal/Gdal.h>
#include <io/rasters/PixelTypes.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

constexpr int smallestOverview = 256;

class Options {
public:
    Options() = default;
    explicit Options(const std::vector<std::string>& given) {
        for (const std::string& option : given)
            list.AddString(option.c_str());
    }

    bool has(const char* key) const { return list.FetchNameValue(key) != nullptr; }
    const char* value(const char* key) const { return list.FetchNameValueDef(key, ""); }
    void set(const char* key, const std::string& value) { list.SetNameValue(key, value.c_str()); }
    void propose(const char* key, const std::string& value) {
        if (!has(key))
            set(key, value);
    }
    char** raw() { return list.List(); }

private:
    CPLStringList list;
};

bool isFloating(PixelType type) { return type == PixelType::Float32 || type == PixelType::Float64; }

/// Neighbouring pixels are similar, so their differences compress better than they do.
void proposePredictor(Options& options, const RasterDescription& description) {
    const char* method = options.value("COMPRESS");
    const bool predicts = EQUAL(method, "DEFLATE") || EQUAL(method, "LZW") || EQUAL(method, "ZSTD");
    if (!predicts || options.has("NBITS"))
        return;
    if (description.driver == "COG")
        options.propose("PREDICTOR", "YES");
    else
        options.propose("PREDICTOR", isFloating(description.type) ? "3" : "2");
}

Options geoTiffOptions(const RasterDescription& description) {
    Options options;
    if (description.driver == "GTiff") {
        options = Options(description.creationOptions);
        proposePredictor(options, description);
    }
    options.propose("TILED", "YES");
    if (CPLTestBool(options.value("TILED"))) {
        options.propose("BLOCKXSIZE", std::to_string(description.blockSize));
        options.propose("BLOCKYSIZE", std::to_string(description.blockSize));
    }
    const bool colours = isColourPicture(description);
    options.propose("INTERLEAVE", colours ? "PIXEL" : "BAND");
    // Otherwise three bands of bytes would be taken for colours.
    options.propose("PHOTOMETRIC", colours ? "RGB" : "MINISBLACK");
    options.propose("BIGTIFF", "IF_SAFER");
    options.set("SPARSE_OK", "TRUE");
    return options;
}

/// For a copy in another format, or for a GeoTIFF whose tiles changed after they had been compressed.
Options copyOptions(const RasterDescription& description, const char* resampling) {
    if (description.driver == "GTiff")
        return geoTiffOptions(description);
    Options options(description.creationOptions);
    if (description.driver == "COG") {
        proposePredictor(options, description);
        options.propose("OVERVIEW_RESAMPLING", resampling);
        options.propose("SPARSE_OK", "TRUE");
    }
    return options;
}

/// How several pixels become one.
const char* resamplingOf(const RasterDescription& description) {
    const bool coloured =
        std::any_of(description.bands.begin(), description.bands.end(),
                    [](const BandDescription& band) { return band.colour != BandColour::Undefined; });
    switch (description.resampling) {
    case Resampling::Average:
        return "AVERAGE";
    case Resampling::Mode:
        return "MODE";
    case Resampling::ByType:
        break;
    }
    return description.type == PixelType::Byte && !coloured ? "MODE" : "AVERAGE";
}

GDALColorInterp interpretationOf(BandColour colour) {
    switch (colour) {
    case BandColour::Undefined:
        return GCI_Undefined;
    case BandColour::Gray:
        return GCI_GrayIndex;
    case BandColour::Red:
        return GCI_RedBand;
    case BandColour::Green:
        return GCI_GreenBand;
    case BandColour::Blue:
        return GCI_BlueBand;
    case BandColour::Alpha:
        return GCI_AlphaBand;
    }
    return GCI_Undefined;
}

std::string textOf(const NoData& nodata) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.precision(std::numeric_limits<double>::max_digits10);
    std::visit([&](auto value) { text << value; }, nodata);
    return text.str();
}

void setNoData(GDALRasterBand& band, const RasterDescription& description) {
    withPixelType(description.type, [&]<class T>(T) {
        const std::optional<T> pixel = asPixel<T>(*description.nodata);
        if (!pixel)
            throw std::runtime_error("the nodata value " + textOf(*description.nodata) +
                                     " is not a value of the pixel type " +
                                     GDALGetDataTypeName(gdalType(description.type)));
        if constexpr (std::is_same_v<T, unsigned long long>)
            band.SetNoDataValueAsUInt64(*pixel);
        else
            band.SetNoDataValue(static_cast<double>(*pixel));
    });
}

void describeBand(GDALRasterBand& band, const BandDescription& description, bool hasVerticalUnit) {
    band.SetDescription(description.name.c_str());
    // A GeoTIFF with a vertical system gives the unit of that system to bands without one.
    const std::string unit = description.unit.empty() && hasVerticalUnit ? noUnit : description.unit;
    if (!unit.empty())
        band.SetUnitType(unit.c_str());
    if (description.colour != BandColour::Undefined)
        band.SetColorInterpretation(interpretationOf(description.colour));
    for (const auto& [key, text] : description.metadata)
        band.SetMetadataItem(key.c_str(), text.c_str());
}

void describe(GDALDataset& dataset, const RasterDescription& description) {
    const RasterGeometry& place = description.geometry;
    std::array<double, 6> transform = {place.west, place.pixelWidth, 0, place.north, 0, -place.pixelHeight};
    dataset.SetGeoTransform(transform.data());
    if (!place.wkt.empty() && dataset.SetProjection(place.wkt.c_str()) != CE_None)
        throw std::runtime_error("the text of its coordinate system cannot be understood");
    for (const auto& [key, text] : description.metadata)
        dataset.SetMetadataItem(key.c_str(), text.c_str());
    dataset.SetMetadataItem(GDALMD_AREA_OR_POINT, GDALMD_AOP_AREA);
    const bool hasVerticalUnit = !verticalUnitOf(place.wkt).empty();
    for (std::size_t i = 0; i < description.bands.size(); ++i) {
        GDALRasterBand& band = *dataset.GetRasterBand(static_cast<int>(i) + 1);
        if (description.nodata)
            setNoData(band, description);
        describeBand(band, description.bands[i], hasVerticalUnit);
    }
}

GDALDatasetUniquePtr createDescribed(GDALDriver& driver, const fs::path& path, int width, int height,
                                     const RasterDescription& description, char** options) {
    const GdalMessages messages;
    GDALDatasetUniquePtr dataset(driver.Create(path.c_str(), width, height,
                                               static_cast<int>(description.bands.size()),
                                               gdalType(description.type), options));
    if (!dataset)
        throw std::runtime_error("cannot be created (" + messages.text() + ")");
    describe(*dataset, description);
    if (messages.failed())
        throw std::runtime_error("cannot be described (" + messages.text() + ")");
    return dataset;
}

/// Writes numbers with all digits, and some cells without data.
void fillWithNoise(GDALDataset& dataset, const RasterDescription& description) {
    const auto width = static_cast<std::size_t>(dataset.GetRasterXSize());
    const auto height = static_cast<std::size_t>(dataset.GetRasterYSize());
    std::mt19937_64 noise;
    withPixelType(description.type, [&]<class T>(T) {
        std::vector<T> values(width * height);
        for (int b = 1; b <= dataset.GetRasterCount(); ++b) {
            for (T& value : values)
                if constexpr (std::is_floating_point_v<T>)
                    value = std::ldexp(static_cast<T>(static_cast<std::int64_t>(noise())), -44);
                else
                    value = static_cast<T>(noise());
            if (description.nodata && values.size() > 1)
                values[1] = asPixel<T>(*description.nodata).value_or(values[1]);
            GDALRasterBand& band = *dataset.GetRasterBand(b);
            if (band.RasterIO(GF_Write, 0, 0, band.GetXSize(), band.GetYSize(), values.data(),
                              band.GetXSize(), band.GetYSize(), gdalType(description.type), 0, 0,
                              nullptr) != CE_None)
                throw std::runtime_error("cannot be tested");
        }
    });
}

} // namespace

bool isColourPicture(const RasterDescription& description) {
    const std::array colours = {BandColour::Red, BandColour::Green, BandColour::Blue, BandColour::Alpha};
    const std::size_t count = description.bands.size();
    return (count == 3 || count == 4) &&
           std::equal(description.bands.begin(), description.bands.end(), colours.begin(),
                      [](const BandDescription& band, BandColour colour) { return band.colour == colour; });
}

std::optional<std::size_t> alphaBandOf(const RasterDescription& description) {
    for (std::size_t i = 0; i < description.bands.size(); ++i)
        if (description.bands[i].colour == BandColour::Alpha)
            return i;
    return std::nullopt;
}

GDALDatasetUniquePtr createGeoTiff(const fs::path& path, const RasterDescription& description) {
    Options options = geoTiffOptions(description);
    return createDescribed(driverFor("GTiff"), path, static_cast<int>(description.geometry.width),
                           static_cast<int>(description.geometry.height), description, options.raw());
}

void copyRaster(GDALDataset& source, const fs::path& target, const RasterDescription& description) {
    const GdalMessages messages;
    // GeoTIFF and COG hold everything themselves. Other formats need a side file to say where they are.
    const bool complete = description.driver == "GTiff" || description.driver == "COG";
    const ThreadOption sideFiles("GDAL_PAM_ENABLED", complete ? "NO" : "YES");
    const BlockRoom room(source);
    Options options = copyOptions(description, resamplingOf(description));
    GDALDriver& driver = driverFor(description.driver);
    // A strict driver fails rather than leave out bands or digits. Not all drivers have this mode.
    const bool strict = driver.GetMetadataItem(GDAL_DCAP_CREATECOPY) != nullptr;
    GDALDatasetUniquePtr copy(
        driver.CreateCopy(target.c_str(), &source, strict, options.raw(), nullptr, nullptr));
    const bool made = copy != nullptr;
    copy.reset();
    if (!made || messages.failed() || !fs::exists(target))
        throw std::runtime_error("cannot be written as " + description.driver + " (" + messages.text() + ")");
}

Fidelity tryFormat(const fs::path& target, const RasterDescription& description) {
    const auto side = [](std::uint64_t length) {
        return static_cast<int>(std::min<std::uint64_t>(length, 32));
    };
    const auto sample = createDescribed(driverFor("MEM"), "", side(description.geometry.width),
                                        side(description.geometry.height), description, nullptr);
    copyRaster(*sample, target, description);
    Fidelity fidelity = compareCopy(*sample, target);
    // Not every format holds all numbers. Those of the raster may be easier, so a failure here is acceptable.
    fidelity.exactPixels = false;
    const fs::path hard = target.parent_path() / "hard" / target.filename();
    fs::create_directory(hard.parent_path());
    try {
        fillWithNoise(*sample, description);
        copyRaster(*sample, hard, description);
        fidelity.exactPixels = compareCopy(*sample, hard).exactPixels;
    } catch (const std::runtime_error&) {
    }
    fs::remove_all(hard.parent_path());
    return fidelity;
}

void addOverviews(const fs::path& path, const RasterDescription& description) {
    const GdalMessages messages;
    const ThreadOption noSideFiles("GDAL_PAM_ENABLED", "NO");
    const ThreadOption sparse("SPARSE_OK_OVERVIEW", "TRUE");
    const ThreadOption tiles("GDAL_TIFF_OVR_BLOCKSIZE", std::to_string(description.blockSize).c_str());
    std::vector<int> factors;
    const std::uint64_t longest = std::max(description.geometry.width, description.geometry.height);
    for (std::uint64_t factor = 2; longest * 2 / factor >= smallestOverview; factor *= 2)
        factors.push_back(static_cast<int>(factor));
    if (factors.empty())
        return;
    // Only a GeoTIFF contains its overviews; other formats have them in a separate file.
    const unsigned access = description.driver == "GTiff" ? GDAL_OF_UPDATE : GDAL_OF_READONLY;
    // GDAL 3.6 links several overviews of 64-bit integers with nodata to a circle if it makes them at once.
    const std::size_t atOnce = description.type == PixelType::UInt64 ? 1 : factors.size();
    for (std::size_t i = 0; i < factors.size() && !messages.failed(); i += atOnce) {
        const GDALDatasetUniquePtr dataset(GDALDataset::Open(path.c_str(), GDAL_OF_RASTER | access));
        if (!dataset)
            throw std::runtime_error("cannot be read back (" + messages.text() + ")");
        const BlockRoom room(*dataset);
        dataset->BuildOverviews(resamplingOf(description), static_cast<int>(atOnce), &factors[i], 0, nullptr,
                                nullptr, nullptr);
    }
    if (messages.failed())
        throw std::runtime_error("its overviews cannot be made (" + messages.text() + ")");
}

void expect(CPLErr outcome, const GdalMessages& messages, const char* what) {
    if (outcome != CE_None || messages.failed())
        throw std::runtime_error(std::string(what) + " (" + messages.text() + "); is the disk full?");
}

} // namespace Tilewright::Io
