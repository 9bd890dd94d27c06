#include <io/GeoTiffWriter.h>

#include <io/Errors.h>

#include <cpl_conv.h>
#include <cpl_error.h>
#include <cpl_string.h>
#include <gdal.h>
#include <gdal_frmts.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>
#include <locale>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <type_traits>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

GDALDataType gdalType(PixelType type) {
    switch (type) {
    case PixelType::Float32:
        return GDT_Float32;
    case PixelType::Float64:
        return GDT_Float64;
    case PixelType::Byte:
        return GDT_Byte;
    case PixelType::UInt16:
        return GDT_UInt16;
    case PixelType::UInt32:
        return GDT_UInt32;
    case PixelType::UInt64:
        return GDT_UInt64;
    case PixelType::Int32:
        return GDT_Int32;
    }
    return GDT_Unknown;
}

template <class Action> void withPixelType(PixelType type, Action action) {
    switch (type) {
    case PixelType::Float32:
        return action(float());
    case PixelType::Float64:
        return action(double());
    case PixelType::Byte:
        return action((unsigned char)(0));
    case PixelType::UInt16:
        return action((unsigned short)(0));
    case PixelType::UInt32:
        return action(0U);
    case PixelType::UInt64:
        return action(0ULL);
    case PixelType::Int32:
        return action(0);
    }
}

std::string oneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

/// Takes what GDAL reports on this thread, and keeps it from writing side files, for the span of a scope.
class GdalScope {
public:
    GdalScope() {
        if (const char* setting = CPLGetThreadLocalConfigOption(sideFiles, nullptr)) {
            formerSetting_ = setting;
        }
        CPLSetThreadLocalConfigOption(sideFiles, "NO");
        CPLPushErrorHandlerEx(&GdalScope::collect, this);
    }

    ~GdalScope() {
        CPLPopErrorHandler();
        CPLSetThreadLocalConfigOption(sideFiles, formerSetting_ ? formerSetting_->c_str() : nullptr);
        CPLErrorReset();
    }

    GdalScope(const GdalScope&) = delete;
    GdalScope& operator=(const GdalScope&) = delete;

    bool failed() const { return failed_; }

    /// The first failure: those that follow are mostly its consequences.
    const std::string& message() const { return message_; }

private:
    static constexpr const char* sideFiles = "GDAL_PAM_ENABLED";

    static void CPL_STDCALL collect(CPLErr level, CPLErrorNum, const char* text) {
        auto* scope = static_cast<GdalScope*>(CPLGetErrorHandlerUserData());
        if (level < CE_Failure || scope->failed_) {
            return;
        }
        scope->failed_ = true;
        scope->message_ = oneLine(text);
    }

    std::optional<std::string> formerSetting_;
    bool failed_ = false;
    std::string message_;
};

/// All drivers together take longer to load than a small raster takes to write.
GDALDriverH geoTiffDriver() {
    static std::once_flag registered;
    std::call_once(registered, GDALRegister_GTiff);
    return GDALGetDriverByName("GTiff");
}

std::string textOf(const NoData& nodata) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.precision(std::numeric_limits<double>::max_digits10);
    std::visit([&](auto value) { text << value; }, nodata);
    return text.str();
}

/// The nodata value as a pixel, if there is such a pixel. A double loses digits on its way to a float, which
/// is what the caller's own pixels have lost too.
template <class T> std::optional<T> asPixel(const NoData& nodata) {
    if (const auto* whole = std::get_if<unsigned long long>(&nodata)) {
        const T pixel = static_cast<T>(*whole);
        if constexpr (std::is_integral_v<T>) {
            return std::in_range<T>(*whole) ? std::optional(pixel) : std::nullopt;
        } else {
            return pixel;
        }
    }
    const double value = std::get<double>(nodata);
    if constexpr (std::is_integral_v<T>) {
        // 2^digits is exact where the largest value itself would be rounded.
        const double low = static_cast<double>(std::numeric_limits<T>::min());
        const double beyond = std::ldexp(1.0, std::numeric_limits<T>::digits);
        const bool fits = value >= low && value < beyond && std::trunc(value) == value;
        return fits ? std::optional(static_cast<T>(value)) : std::nullopt;
    } else {
        const bool fits = !std::isfinite(value) || std::abs(value) <= double(std::numeric_limits<T>::max());
        return fits ? std::optional(static_cast<T>(value)) : std::nullopt;
    }
}

template <class T> bool isBlank(T pixel, T blank) {
    if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(blank)) {
            return std::isnan(pixel);
        }
    }
    // By their bits, as a sparse block would give back 0 for -0.
    return std::memcmp(&pixel, &blank, sizeof(T)) == 0;
}

template <class T> bool isBlankWindow(const T* first, std::uint64_t stride, int columns, int rows, T blank) {
    for (int row = 0; row < rows; ++row, first += stride) {
        if (!std::all_of(first, first + columns, [&](T pixel) { return isBlank(pixel, blank); })) {
            return false;
        }
    }
    return true;
}

fs::path folderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

/// Hidden, in the same folder so that a rename suffices, and shared with no other writer on this machine.
fs::path hiddenName(const fs::path& path) {
    static std::atomic<unsigned> serial = 0;
    const std::size_t longest = 200; // leaves room below the usual limit of 255
    const std::string name = path.filename().string().substr(0, longest);
    return folderOf(path) /
           ("." + name + "." + std::to_string(::getpid()) + "-" + std::to_string(++serial) + ".part");
}

} // namespace

class GeoTiffWriter::Output {
public:
    Output(const fs::path& path, const RasterGeometry& geometry, const BandDescription& band)
        : path_(path), hidden_(hiddenName(path)), width_(geometry.width), height_(geometry.height),
          type_(band.type), nodata_(band.nodata) {
        checkPlace();
        check(geometry);
        try {
            create(geometry, band);
        } catch (...) {
            discard();
            throw;
        }
    }

    ~Output() { discard(); }

    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    const fs::path& path() const { return path_; }

    template <class T>
    void write(std::uint64_t column, std::uint64_t row, std::uint64_t columns, std::uint64_t rows,
               std::span<const T> values);
    void close();
    void publish();

private:
    [[noreturn]] void fail(const std::string& why) const { throw OutputError(path_.string() + ": " + why); }

    void checkPlace() const;
    void check(const RasterGeometry& geometry) const;
    void create(const RasterGeometry& geometry, const BandDescription& band);
    void describe(const RasterGeometry& geometry, const BandDescription& band);
    void closeDataset();
    void discard() noexcept;

    fs::path path_;
    fs::path hidden_;
    std::uint64_t width_;
    std::uint64_t height_;
    PixelType type_;
    std::optional<NoData> nodata_;

    GDALDatasetH dataset_ = nullptr;
    std::vector<bool> blockHasData_;
    std::uint64_t blocksAcross_ = 0;
    std::string failure_;
    bool published_ = false;
};

void GeoTiffWriter::Output::checkPlace() const {
    std::error_code ignored;
    if (!path_.has_filename() || fs::is_directory(path_, ignored)) {
        fail("is a folder; the output needs the name of a file");
    }
    if (!fs::is_directory(folderOf(path_), ignored)) {
        fail("there is no folder " + folderOf(path_).string() + "; create it first");
    }
}

void GeoTiffWriter::Output::check(const RasterGeometry& geometry) const {
    const std::uint64_t longest = std::numeric_limits<std::int32_t>::max();
    if (width_ == 0 || height_ == 0) {
        fail("the raster has no pixels");
    }
    if (width_ > longest || height_ > longest) {
        fail("a raster of " + std::to_string(width_) + " x " + std::to_string(height_) +
             " pixels does not fit into a GeoTIFF, which takes " + std::to_string(longest) +
             " along an axis; use larger pixels");
    }
    const bool placed = std::isfinite(geometry.west) && std::isfinite(geometry.north);
    const bool sized = geometry.pixelWidth > 0 && std::isfinite(geometry.pixelWidth) &&
                       geometry.pixelHeight > 0 && std::isfinite(geometry.pixelHeight);
    if (!placed || !sized) {
        fail("the raster has no proper place: its edges have to be finite and its pixels larger than zero");
    }
}

void GeoTiffWriter::Output::create(const RasterGeometry& geometry, const BandDescription& band) {
    GdalScope gdal;
    const std::string size = std::to_string(blockSize);
    CPLStringList options;
    options.SetNameValue("TILED", "YES");
    options.SetNameValue("BLOCKXSIZE", size.c_str());
    options.SetNameValue("BLOCKYSIZE", size.c_str());
    options.SetNameValue("SPARSE_OK", "TRUE");
    options.SetNameValue("BIGTIFF", "IF_SAFER");
    dataset_ = GDALCreate(geoTiffDriver(), hidden_.c_str(), static_cast<int>(width_),
                          static_cast<int>(height_), 1, gdalType(type_), options.List());
    if (dataset_ == nullptr) {
        fail("cannot be created (" + gdal.message() + ")");
    }
    describe(geometry, band);
    if (gdal.failed()) {
        fail("cannot be described as a GeoTIFF (" + gdal.message() + ")");
    }
    blocksAcross_ = (width_ + blockSize - 1) / blockSize;
    blockHasData_.resize(blocksAcross_ * ((height_ + blockSize - 1) / blockSize));
}

void GeoTiffWriter::Output::describe(const RasterGeometry& geometry, const BandDescription& band) {
    double transform[] = {geometry.west, geometry.pixelWidth, 0, geometry.north, 0, -geometry.pixelHeight};
    GDALSetGeoTransform(dataset_, transform);
    if (!geometry.wkt.empty() && GDALSetProjection(dataset_, geometry.wkt.c_str()) != CE_None) {
        fail("the text of its coordinate system is not understood");
    }
    for (const auto& [key, text] : band.metadata) {
        GDALSetMetadataItem(dataset_, key.c_str(), text.c_str(), nullptr);
    }
    GDALSetMetadataItem(dataset_, GDALMD_AREA_OR_POINT, GDALMD_AOP_AREA, nullptr);

    GDALRasterBandH raster = GDALGetRasterBand(dataset_, 1);
    GDALSetDescription(raster, band.name.c_str());
    if (!band.unit.empty()) {
        GDALSetRasterUnitType(raster, band.unit.c_str());
    }
    if (!nodata_) {
        return;
    }
    withPixelType(type_, [&]<class T>(T) {
        const std::optional<T> pixel = asPixel<T>(*nodata_);
        if (!pixel) {
            fail("the nodata value " + textOf(*nodata_) + " is no value of the band's type " +
                 GDALGetDataTypeName(gdalType(type_)));
        }
        if constexpr (std::is_same_v<T, unsigned long long>) {
            GDALSetRasterNoDataValueAsUInt64(raster, *pixel);
        } else {
            GDALSetRasterNoDataValue(raster, static_cast<double>(*pixel));
        }
    });
}

template <class T>
void GeoTiffWriter::Output::write(std::uint64_t column, std::uint64_t row, std::uint64_t columns,
                                  std::uint64_t rows, std::span<const T> values) {
    if (pixelTypeOf<T> != type_) {
        throw std::invalid_argument("GeoTiffWriter::write: not the type of the band");
    }
    if (column > width_ || columns > width_ - column || row > height_ || rows > height_ - row) {
        throw std::invalid_argument("GeoTiffWriter::write: the window leaves the raster");
    }
    if (values.size() != columns * rows) {
        throw std::invalid_argument("GeoTiffWriter::write: the values do not fill the window");
    }
    if (!failure_.empty()) {
        fail(failure_);
    }
    if (dataset_ == nullptr) {
        throw std::logic_error("GeoTiffWriter::write: the file is closed");
    }

    const T blank = nodata_ ? *asPixel<T>(*nodata_) : T();
    GdalScope gdal;
    GDALRasterBandH raster = GDALGetRasterBand(dataset_, 1);
    // Block by block, because a block stays sparse only as long as nobody touches it.
    for (std::uint64_t top = row; top < row + rows;) {
        const std::uint64_t bottom = std::min((top / blockSize + 1) * blockSize, row + rows);
        for (std::uint64_t left = column; left < column + columns;) {
            const std::uint64_t right = std::min((left / blockSize + 1) * blockSize, column + columns);
            const T* first = values.data() + (top - row) * columns + (left - column);
            const int across = static_cast<int>(right - left);
            const int down = static_cast<int>(bottom - top);
            const std::uint64_t block = top / blockSize * blocksAcross_ + left / blockSize;
            if (blockHasData_[block] || !isBlankWindow(first, columns, across, down, blank)) {
                blockHasData_[block] = true;
                // GDAL takes the source of a write as a pointer to non-const, and leaves it alone.
                const CPLErr result =
                    GDALRasterIOEx(raster, GF_Write, static_cast<int>(left), static_cast<int>(top), across,
                                   down, const_cast<T*>(first), across, down, gdalType(type_), sizeof(T),
                                   static_cast<GSpacing>(columns * sizeof(T)), nullptr);
                if (result != CE_None || gdal.failed()) {
                    failure_ = "cannot be written (" + gdal.message() + "); is the disk full?";
                    fail(failure_);
                }
            }
            left = right;
        }
        top = bottom;
    }
}

void GeoTiffWriter::Output::close() {
    if (dataset_ != nullptr) {
        GdalScope gdal;
        GDALFlushCache(dataset_);
        closeDataset();
        if (gdal.failed() && failure_.empty()) {
            failure_ = "cannot be written (" + gdal.message() + "); is the disk full?";
        }
    }
    if (!failure_.empty()) {
        fail(failure_);
    }
}

void GeoTiffWriter::Output::publish() {
    if (dataset_ != nullptr || !failure_.empty()) {
        throw std::logic_error("GeoTiffWriter::publish: the file is not closed, or not complete");
    }
    if (published_) {
        return;
    }
    std::error_code error;
    fs::rename(hidden_, path_, error);
    if (error) {
        fail("cannot be put in place (" + error.message() + ")");
    }
    published_ = true;
    for (const char* extension : {".aux.xml", ".ovr"}) {
        fs::remove(path_.string() + extension, error);
    }
}

void GeoTiffWriter::Output::closeDataset() {
    GDALClose(dataset_);
    dataset_ = nullptr;
}

void GeoTiffWriter::Output::discard() noexcept {
    if (dataset_ != nullptr) {
        GdalScope gdal;
        closeDataset();
    }
    if (!published_) {
        std::error_code ignored;
        fs::remove(hidden_, ignored);
    }
}

GeoTiffWriter::GeoTiffWriter(const fs::path& path, const RasterGeometry& geometry,
                             const BandDescription& band)
    : output_(std::make_unique<Output>(path, geometry, band)) {}

GeoTiffWriter::GeoTiffWriter(GeoTiffWriter&&) noexcept = default;
GeoTiffWriter& GeoTiffWriter::operator=(GeoTiffWriter&&) noexcept = default;
GeoTiffWriter::~GeoTiffWriter() = default;

template <PixelValue T>
void GeoTiffWriter::write(std::uint64_t column, std::uint64_t row, std::uint64_t columns, std::uint64_t rows,
                          std::span<const T> values) {
    output_->write(column, row, columns, rows, values);
}

void GeoTiffWriter::close() { output_->close(); }

void GeoTiffWriter::publish() { output_->publish(); }

void GeoTiffWriter::finish() {
    close();
    publish();
}

const fs::path& GeoTiffWriter::path() const { return output_->path(); }

void finishAll(std::span<GeoTiffWriter> writers) {
    for (GeoTiffWriter& writer : writers) {
        writer.close();
    }
    for (GeoTiffWriter& writer : writers) {
        writer.publish();
    }
}

std::string bandFileName(const std::string& out, const std::string& bandName, std::size_t bandCount) {
    std::string stem = out;
    std::string extension = ".tif";
    for (const std::string known : {".tif", ".tiff", ".TIF", ".TIFF"}) {
        if (out.size() > known.size() && out.ends_with(known)) {
            stem = out.substr(0, out.size() - known.size());
            extension = known;
        }
    }
    if (bandCount <= 1) {
        return stem + extension;
    }
    std::string safe = bandName;
    for (char& c : safe) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        const bool beyondAscii = static_cast<unsigned char>(c) >= 0x80;
        if (!plain && !beyondAscii && std::string_view("_-+.").find(c) == std::string_view::npos) {
            c = '_';
        }
    }
    return stem + "-" + safe + extension;
}

template void GeoTiffWriter::write(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                   std::span<const float>);
template void GeoTiffWriter::write(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                   std::span<const double>);
template void GeoTiffWriter::write(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                   std::span<const unsigned char>);
template void GeoTiffWriter::write(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                   std::span<const unsigned short>);
template void GeoTiffWriter::write(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                   std::span<const unsigned int>);
template void GeoTiffWriter::write(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                   std::span<const unsigned long long>);
template void GeoTiffWriter::write(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                   std::span<const int>);

} // namespace Tilewright::Io
