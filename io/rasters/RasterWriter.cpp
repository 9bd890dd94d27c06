#include <io/rasters/RasterWriter.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>

#include <cpl_string.h>

#include <io/gdal/Gdal.h>
#include <io/outputs/HiddenFolder.h>
#include <io/rasters/GdalFiles.h>
#include <io/rasters/RasterBlocks.h>
#include <io/rasters/RasterCheck.h>
#include <io/rasters/RasterFormat.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

/// The same digits in every locale.
std::string textOf(double number) {
    std::array<char, 32> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

void check(const RasterGeometry& geometry) {
    constexpr std::uint64_t longest = std::numeric_limits<std::int32_t>::max();
    if (geometry.width == 0 || geometry.height == 0)
        throw std::runtime_error("the raster has no pixels");
    if (geometry.width > longest || geometry.height > longest)
        throw std::runtime_error("a raster of " + std::to_string(geometry.width) + " x " +
                                 std::to_string(geometry.height) +
                                 " pixels does not fit into a file, which can have " +
                                 std::to_string(longest) + " along an axis; use larger pixels");
    const bool placed = std::isfinite(geometry.west) && std::isfinite(geometry.north);
    const bool sized = geometry.pixelWidth > 0 && std::isfinite(geometry.pixelWidth) &&
                       geometry.pixelHeight > 0 && std::isfinite(geometry.pixelHeight);
    if (!placed || !sized)
        throw std::runtime_error(
            "the raster has no valid location: its edges must be finite and its pixels larger than zero");
}

RasterDescription checked(RasterDescription description, const fs::path& path) {
    if (description.bands.empty())
        throw std::invalid_argument("RasterWriter: a raster needs at least one band");
    description.driver = driverOf(description.driver, path);
    checkCreationOptions(description.driver, description.creationOptions);
    return description;
}

/// A GeoTIFF to be copied later to any format.
RasterDescription plain(RasterDescription description) {
    description.driver = "GTiff";
    description.creationOptions.clear();
    return description;
}

RasterDescription smallOne(RasterDescription description) {
    for (std::uint64_t* const side : {&description.geometry.width, &description.geometry.height})
        *side = std::min<std::uint64_t>(*side, 32);
    return description;
}

/// Writes them where all programs around GDAL look for them.
void setStatistics(GDALRasterBand& band, const BandStatistics& statistics, std::uint64_t pixels) {
    if (statistics.count == 0 || !std::isfinite(statistics.deviation))
        return;
    band.SetMetadataItem("STATISTICS_MINIMUM", textOf(statistics.least).c_str());
    band.SetMetadataItem("STATISTICS_MAXIMUM", textOf(statistics.greatest).c_str());
    band.SetMetadataItem("STATISTICS_MEAN", textOf(statistics.mean).c_str());
    band.SetMetadataItem("STATISTICS_STDDEV", textOf(statistics.deviation).c_str());
    const double percent = 100.0 * static_cast<double>(statistics.count) / static_cast<double>(pixels);
    band.SetMetadataItem("STATISTICS_VALID_PERCENT", CPLSPrintf("%.4g", percent));
}

} // namespace

class RasterWriter::Output {
public:
    Output(const fs::path& path, const RasterDescription& wanted, const OutputGuard& guard)
        : description(checked(wanted, path)), folder(path, guard),
          file(isMadeByCopy() ? folder.workFolder() / "copied.tif" : folder.file()) {
        withPath([&] {
            check(description.geometry);
            rehearse();
            const ThreadOption noSideFiles("GDAL_PAM_ENABLED", "NO");
            dataset = createGeoTiff(file, isMadeByCopy() ? plain(description) : description);
            blocks = RasterBlocks::over(*dataset, description);
        });
    }

    ~Output() { closeDataset(); }

    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    const fs::path& path() const { return folder.output(); }
    const fs::path& hiddenPath() const { return folder.file(); }
    const std::vector<fs::path>& places() const { return allPlaces; }
    HiddenFolder& closedFolder();

    template <class T>
    void write(std::size_t band, std::uint64_t column, std::uint64_t row, std::uint64_t columns,
               std::uint64_t rows, std::span<const T> values);
    void addMetadata(const std::string& key, const std::string& text);
    void markFilled(std::size_t band, Output& other, std::size_t marked) { marks = {band, &other, marked}; }
    void close();
    BandStatistics statistics(std::size_t band) const;

private:
    /// Where it is marked which pixels of a band were filled.
    struct Marks {
        std::size_t band = 0;
        Output* output = nullptr;
        std::size_t marked = 0;
    };

    /// Filling a compressed file in place would leave gaps between its blocks.
    bool isMadeByCopy() const {
        const bool filledLater = description.fillDistance > 0 && !description.creationOptions.empty();
        return description.driver != "GTiff" || filledLater;
    }

    fs::path trialFile() const { return folder.workFolder() / "trial" / path().filename(); }

    template <class Action> void withPath(Action action);
    void expectUsable() const;
    void rehearse();
    void finishBlocks();
    void closeDataset() noexcept;
    void copy();

    RasterDescription description;
    HiddenFolder folder;
    fs::path file; ///< of the blocks
    Fidelity fidelity;
    std::vector<fs::path> allPlaces;
    GDALDatasetUniquePtr dataset;
    std::unique_ptr<RasterBlocks> blocks;
    std::vector<BandStatistics> bandStatistics;
    Marks marks;
    std::string failure;
    bool closed = false;
};

/// Turns the reason of a failure into the error that the caller sees, now and at every further attempt.
template <class Action> void RasterWriter::Output::withPath(Action action) {
    try {
        action();
    } catch (const Error&) {
        throw;
    } catch (const std::runtime_error& error) {
        failure = error.what();
        // Users do not know the hidden names of the file.
        for (const std::string& hidden : {folder.file().string(), trialFile().string()})
            for (std::size_t at; (at = failure.find(hidden)) != std::string::npos;)
                failure.replace(at, hidden.size(), path().filename().string());
        throw OutputError(path().string() + ": " + failure);
    }
}

void RasterWriter::Output::expectUsable() const {
    if (!failure.empty())
        throw OutputError(path().string() + ": " + failure);
}

/// Finds out which files the output will have, and whether they may be put in place.
void RasterWriter::Output::rehearse() {
    const fs::path trial = trialFile();
    fs::create_directory(trial.parent_path());
    if (isMadeByCopy())
        fidelity = tryFormat(trial, description);
    else if (!description.creationOptions.empty())
        createGeoTiff(trial, smallOne(description));
    std::vector<fs::path> files = filesWith(trial);
    if (description.overviews && description.driver != "GTiff" && description.driver != "COG")
        files.push_back(fs::path(trial) += ".ovr");
    folder.check(files);
    for (const fs::path& made : files)
        allPlaces.push_back(folder.placeOf(made));
    fs::remove_all(trial.parent_path());
}

template <class T>
void RasterWriter::Output::write(std::size_t band, std::uint64_t column, std::uint64_t row,
                                 std::uint64_t columns, std::uint64_t rows, std::span<const T> values) {
    const RasterGeometry& size = description.geometry;
    if (pixelTypeOf<T> != description.type)
        throw std::invalid_argument("RasterWriter::write: not the pixel type");
    if (band >= description.bands.size())
        throw std::invalid_argument("RasterWriter::write: there is no such band");
    if (column > size.width || columns > size.width - column || row > size.height || rows > size.height - row)
        throw std::invalid_argument("RasterWriter::write: the window leaves the raster");
    if (values.size() != columns * rows)
        throw std::invalid_argument("RasterWriter::write: the values do not fill the window");
    expectUsable();
    if (closed)
        throw std::logic_error("RasterWriter::write: the file is closed");
    withPath([&] {
        static_cast<RasterBlocksOf<T>&>(*blocks).write(band, column, row, columns, rows, values.data());
    });
}

void RasterWriter::Output::addMetadata(const std::string& key, const std::string& text) {
    if (closed)
        throw std::logic_error("RasterWriter::addMetadata: the file is closed");
    const ThreadOption noSideFiles("GDAL_PAM_ENABLED", "NO");
    dataset->SetMetadataItem(key.c_str(), text.c_str());
}

void RasterWriter::Output::finishBlocks() {
    const GdalMessages messages;
    const ThreadOption noSideFiles("GDAL_PAM_ENABLED", "NO");
    blocks->flush();
    if (description.fillDistance > 0)
        blocks->fill(
            description.fillDistance, folder.workFolder(),
            [this](std::size_t band, const PixelRectangle& place, const std::vector<char>& isFilled) {
                if (marks.output && marks.band == band)
                    marks.output->blocks->mark(marks.marked, place, isFilled);
            });
    for (std::size_t i = 0; i < description.bands.size(); ++i) {
        bandStatistics.push_back(blocks->statistics(i));
        setStatistics(*dataset->GetRasterBand(static_cast<int>(i) + 1), bandStatistics.back(),
                      description.geometry.width * description.geometry.height);
    }
    blocks.reset();
    dataset.reset();
    if (messages.failed())
        throw std::runtime_error("cannot be written (" + messages.text() + "); is the disk full?");
}

void RasterWriter::Output::copy() {
    const GdalMessages messages;
    GDALDatasetUniquePtr source = openRaster(file);
    if (!source)
        throw std::runtime_error("cannot be read back (" + messages.text() + ")");
    copyRaster(*source, folder.file(), description);
    checkCopy(*source, folder.file(), fidelity);
    source.reset();
    fs::remove(file);
}

void RasterWriter::Output::close() {
    expectUsable();
    if (closed)
        return;
    closed = true;
    withPath([&] {
        finishBlocks();
        if (isMadeByCopy())
            copy();
        if (description.overviews && description.driver != "COG")
            addOverviews(folder.file(), description);
        folder.writeAhead();
    });
}

BandStatistics RasterWriter::Output::statistics(std::size_t band) const {
    if (!closed)
        throw std::logic_error("RasterWriter::statistics: the file is not closed");
    return bandStatistics.at(band);
}

HiddenFolder& RasterWriter::Output::closedFolder() {
    if (!closed || !failure.empty())
        throw std::logic_error("RasterWriter::publish: the file is not closed, or not complete");
    return folder;
}

/// The folder is about to be removed, so further messages of GDAL do not matter.
void RasterWriter::Output::closeDataset() noexcept {
    const GdalMessages unheard;
    const ThreadOption noSideFiles("GDAL_PAM_ENABLED", "NO");
    dataset.reset();
}

RasterWriter::RasterWriter(const fs::path& path, const RasterDescription& description,
                           const OutputGuard& guard)
    : output(std::make_unique<Output>(path, description, guard)) {}

RasterWriter::RasterWriter(const fs::path& path, const RasterDescription& description)
    : RasterWriter(path, description, OutputGuard()) {}

RasterWriter::RasterWriter(RasterWriter&&) noexcept = default;
RasterWriter& RasterWriter::operator=(RasterWriter&&) noexcept = default;
RasterWriter::~RasterWriter() = default;

template <PixelValue T>
void RasterWriter::write(std::size_t band, std::uint64_t column, std::uint64_t row, std::uint64_t columns,
                         std::uint64_t rows, std::span<const T> values) {
    output->write(band, column, row, columns, rows, values);
}

void RasterWriter::addMetadata(const std::string& key, const std::string& text) {
    output->addMetadata(key, text);
}

void RasterWriter::markFilled(std::size_t band, RasterWriter& other, std::size_t marked) {
    output->markFilled(band, *other.output, marked);
}

void RasterWriter::close() { output->close(); }

BandStatistics RasterWriter::statistics(std::size_t band) const { return output->statistics(band); }

const fs::path& RasterWriter::hiddenPath() const { return output->hiddenPath(); }

void RasterWriter::publish() { output->closedFolder().publish(); }

const fs::path& RasterWriter::path() const { return output->path(); }

const std::vector<fs::path>& RasterWriter::places() const { return output->places(); }

void finishAll(std::span<RasterWriter> writers) { finishAll(writers, nullptr, 1); }

void finishAll(std::span<RasterWriter> writers, HiddenFolder* other, unsigned threads) {
    std::vector<HiddenFolder*> folders;
    for (RasterWriter& writer : writers) {
        writer.close();
        folders.push_back(&writer.output->closedFolder());
    }
    if (other)
        folders.push_back(other);
    HiddenFolder::publishAll(folders, threads);
}

template void RasterWriter::write(std::size_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                  std::span<const float>);
template void RasterWriter::write(std::size_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                  std::span<const double>);
template void RasterWriter::write(std::size_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                  std::span<const unsigned char>);
template void RasterWriter::write(std::size_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                  std::span<const unsigned short>);
template void RasterWriter::write(std::size_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                  std::span<const unsigned int>);
template void RasterWriter::write(std::size_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                  std::span<const unsigned long long>);
template void RasterWriter::write(std::size_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                  std::span<const int>);

} // namespace Tilewright::Io
