#include <io/rasters/VrtFile.h>

#include <cmath>
#include <fstream>
#include <string>

#include <cpl_string.h>

#include <io/gdal/Gdal.h>
#include <io/rasters/PixelTally.h>
#include <io/system/Errors.h>
#include <io/system/NumberText.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

std::string escaped(const std::string& text) {
    char* const made = CPLEscapeString(text.c_str(), static_cast<int>(text.size()), CPLES_XML);
    std::string result = made;
    CPLFree(made);
    return result;
}

std::string textOf(double number) { return std::isnan(number) ? "nan" : exactNumber(number); }

std::string textOf(const NoData& nodata) {
    return std::holds_alternative<double>(nodata) ? textOf(std::get<double>(nodata))
                                                  : std::to_string(std::get<unsigned long long>(nodata));
}

class VrtText {
public:
    VrtText(std::ostream& out, const fs::path& folder, const RasterDescription& description,
            const std::vector<VrtTile>& tiles)
        : Out(out), Folder(folder), Description(description), Tiles(tiles) {}

    void write(GDALDataset& model, std::span<const BandStatistics> statistics) {
        const RasterGeometry& place = Description.geometry;
        Out << "<VRTDataset rasterXSize=\"" << place.width << "\" rasterYSize=\"" << place.height << "\">\n";
        if (!place.wkt.empty())
            Out << "  <SRS>" << escaped(place.wkt) << "</SRS>\n";
        Out << "  <GeoTransform>" << textOf(place.west) << ", " << textOf(place.pixelWidth) << ", 0, "
            << textOf(place.north) << ", 0, " << textOf(-place.pixelHeight) << "</GeoTransform>\n";
        writeMetadata(model.GetMetadata(), {});
        for (int b = 1; b <= model.GetRasterCount(); ++b)
            writeBand(*model.GetRasterBand(b), b, statistics[static_cast<std::size_t>(b - 1)]);
        Out << "</VRTDataset>\n";
    }

private:
    /// Statistics of a tile are not those of the raster.
    void writeMetadata(char** items, const std::vector<std::pair<std::string, std::string>>& others) {
        Out << "  <Metadata>\n";
        const CPLStringList list(items, FALSE);
        for (int i = 0; i < list.size(); ++i) {
            char* key = nullptr;
            const std::string value = CPLParseNameValue(list[i], &key);
            if (const std::string name = key ? key : ""; !name.starts_with("STATISTICS_"))
                writeItem(name, value);
            CPLFree(key);
        }
        for (const auto& [key, value] : others)
            writeItem(key, value);
        Out << "  </Metadata>\n";
    }

    void writeItem(const std::string& key, const std::string& value) {
        Out << "    <MDI key=\"" << escaped(key) << "\">" << escaped(value) << "</MDI>\n";
    }

    std::vector<std::pair<std::string, std::string>> itemsOf(const BandStatistics& statistics) const {
        if (statistics.count == 0 || !std::isfinite(statistics.deviation))
            return {};
        const RasterGeometry& place = Description.geometry;
        const double percent = 100.0 * static_cast<double>(statistics.count) /
                               (static_cast<double>(place.width) * static_cast<double>(place.height));
        return {{"STATISTICS_MINIMUM", textOf(statistics.least)},
                {"STATISTICS_MAXIMUM", textOf(statistics.greatest)},
                {"STATISTICS_MEAN", textOf(statistics.mean)},
                {"STATISTICS_STDDEV", textOf(statistics.deviation)},
                {"STATISTICS_VALID_PERCENT", CPLSPrintf("%.4g", percent)}};
    }

    void writeBand(GDALRasterBand& band, int number, const BandStatistics& statistics) {
        const char* const type = GDALGetDataTypeName(band.GetRasterDataType());
        int width = 0, height = 0;
        band.GetBlockSize(&width, &height);
        Out << "  <VRTRasterBand dataType=\"" << type << "\" band=\"" << number << "\" blockXSize=\"" << width
            << "\" blockYSize=\"" << height << "\">\n";
        writeMetadata(band.GetMetadata(), itemsOf(statistics));
        const std::string name = band.GetDescription();
        if (!name.empty())
            Out << "    <Description>" << escaped(name) << "</Description>\n";
        const std::string unit = band.GetUnitType();
        if (!unit.empty())
            Out << "    <UnitType>" << escaped(unit) << "</UnitType>\n";
        const GDALColorInterp colour = band.GetColorInterpretation();
        if (Description.nodata && colour != GCI_AlphaBand)
            Out << "    <NoDataValue>" << textOf(*Description.nodata) << "</NoDataValue>\n";
        Out << "    <ColorInterp>" << GDALGetColorInterpretationName(colour) << "</ColorInterp>\n";
        for (const VrtTile& tile : Tiles)
            writeSource(tile, number, type, width, height);
        Out << "  </VRTRasterBand>\n";
    }

    void writeSource(const VrtTile& tile, int band, const char* type, int width, int height) {
        const fs::path fromHere = tile.file.lexically_relative(Folder);
        const bool isBelow = !fromHere.empty() && *fromHere.begin() != "..";
        Out << "    <SimpleSource>\n      <SourceFilename relativeToVRT=\"" << (isBelow ? 1 : 0) << "\">"
            << escaped((isBelow ? fromHere : tile.file).string()) << "</SourceFilename>\n"
            << "      <SourceBand>" << band
            << "</SourceBand>\n"
            // With them a file is not opened before its pixels are read.
            << "      <SourceProperties RasterXSize=\"" << tile.columns << "\" RasterYSize=\"" << tile.rows
            << "\" DataType=\"" << type << "\" BlockXSize=\"" << width << "\" BlockYSize=\"" << height
            << "\" />\n";
        writeRectangle("SrcRect", 0, 0, tile);
        writeRectangle("DstRect", tile.column, tile.row, tile);
        Out << "    </SimpleSource>\n";
    }

    void writeRectangle(const char* name, std::uint64_t column, std::uint64_t row, const VrtTile& tile) {
        Out << "      <" << name << " xOff=\"" << column << "\" yOff=\"" << row << "\" xSize=\""
            << tile.columns << "\" ySize=\"" << tile.rows << "\" />\n";
    }

    std::ostream& Out;
    const fs::path& Folder;
    const RasterDescription& Description;
    const std::vector<VrtTile>& Tiles;
};

} // namespace

void addStatistics(BandStatistics& all, const BandStatistics& others) {
    PixelTally tally = PixelTally::of(all);
    tally.add(PixelTally::of(others));
    const std::uint64_t filledHoles = all.filledHoles + others.filledHoles;
    all = tally.statistics();
    all.filledHoles = filledHoles;
}

void writeVrt(const fs::path& path, const fs::path& folder, const RasterDescription& description,
              std::span<const BandStatistics> statistics, const std::vector<VrtTile>& tiles) {
    const GdalMessages messages;
    const GDALDatasetUniquePtr model = openRaster(tiles.front().file);
    if (!model || static_cast<std::size_t>(model->GetRasterCount()) != statistics.size())
        throw OutputError(tiles.front().file.string() + ": cannot be read back (" + messages.text() + ")");
    std::ofstream out(path, std::ios::binary);
    VrtText(out, folder, description, tiles).write(*model, statistics);
    out.close();
    if (!out)
        throw OutputError(path.string() + ": cannot be written; is the disk full?");
}

} // namespace Tilewright::Io
