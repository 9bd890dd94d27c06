#include <io/rasters/RasterFormat.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <string_view>

#include <cpl_string.h>

#include <io/formats/PointFile.h>
#include <io/gdal/Gdal.h>
#include <io/system/Errors.h>
#include <io/system/Suggestion.h>

namespace Tilewright::Io {

namespace {

bool isPlainLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isPlainDigit(char c) { return c >= '0' && c <= '9'; }

/// With its dot. The 5 of "scan_0.5" is not an extension.
std::string extensionOf(const std::filesystem::path& path) {
    std::string extension = path.extension().string();
    return extension.size() > 1 && isPlainLetter(extension[1]) ? extension : std::string();
}

bool makesFiles(GDALDriver& driver) {
    const auto has = [&](const char* item) { return driver.GetMetadataItem(item) != nullptr; };
    const bool creates = has(GDAL_DCAP_CREATE) || has(GDAL_DCAP_CREATECOPY);
    // These two write references to other files, or no files.
    const bool refers = EQUAL(driver.GetDescription(), "VRT") || EQUAL(driver.GetDescription(), "MEM");
    return has(GDAL_DCAP_RASTER) && creates && !refers;
}

bool hasExtension(GDALDriver& driver, const std::string& extension) {
    const char* all = driver.GetMetadataItem(GDAL_DMD_EXTENSIONS);
    return all && CPLStringList(CSLTokenizeString(all)).FindString(extension.c_str()) >= 0;
}

/// Whether an extension identifies the format. Text with coordinates may also be a cloud.
bool hasNameOfItsOwn(GDALDriver& driver) {
    return makesFiles(driver) && !EQUAL(driver.GetDescription(), "XYZ");
}

[[noreturn]] void refuseExtension(const std::filesystem::path& output, const std::string& extension) {
    registerAllDrivers();
    std::set<std::string> known;
    GDALDriverManager& drivers = *GetGDALDriverManager();
    for (int i = 0; i < drivers.GetDriverCount(); ++i)
        if (hasNameOfItsOwn(*drivers.GetDriver(i))) {
            const CPLStringList own(
                CSLTokenizeString(drivers.GetDriver(i)->GetMetadataItem(GDAL_DMD_EXTENSIONS)));
            known.insert(own.List(), own.List() + own.size());
        }
    std::string list;
    for (const std::string& name : known)
        list += (list.empty() ? "" : ", ") + name;
    const char* const why = isPointFileName(output)
                                ? "that of a cloud; the last argument is the raster to write"
                                : "not that of a known format; name one with --format";
    throw UsageError("the output '" + output.string() + "' has the extension " + extension + ", which is " +
                     why + ". Known extensions: " + list);
}

[[noreturn]] void failFormat(const std::string& driver, const std::string& what) {
    const std::vector<std::string> known = rasterFormats();
    std::string all;
    for (const std::string& one : known)
        all += (all.empty() ? "" : ", ") + one;
    throw UsageError(what + "; these formats do: " + all + nearestHint(driver, known));
}

} // namespace

std::vector<std::string> rasterFormats() {
    registerAllDrivers();
    GDALDriverManager& drivers = *GetGDALDriverManager();
    std::vector<std::string> names;
    for (int i = 0; i < drivers.GetDriverCount(); ++i)
        if (makesFiles(*drivers.GetDriver(i)))
            names.emplace_back(drivers.GetDriver(i)->GetDescription());
    std::sort(names.begin(), names.end());
    return names;
}

std::string driverOf(const std::string& driver, const std::filesystem::path& output) {
    const std::string extension = extensionOf(output);
    if (!driver.empty()) {
        GDALDriver* const found = findDriver(driver);
        if (!found)
            failFormat(driver, "no format '" + driver + "' makes rasters");
        if (!makesFiles(*found))
            failFormat(driver, "the format '" + driver + "' makes no raster files");
        if (isPointFileName(output) && !hasExtension(*found, extension.substr(1)))
            refuseExtension(output, extension);
        return found->GetDescription();
    }
    if (output == "-")
        throw UsageError("the output '-' is not a file name, and rasters cannot go to the standard output");
    if (extension.empty() || EQUAL(extension.c_str(), ".tif") || EQUAL(extension.c_str(), ".tiff"))
        return "GTiff";
    registerAllDrivers();
    GDALDriverManager& drivers = *GetGDALDriverManager();
    for (int i = 0; i < drivers.GetDriverCount(); ++i)
        if (hasNameOfItsOwn(*drivers.GetDriver(i)) &&
            hasExtension(*drivers.GetDriver(i), extension.substr(1)))
            return drivers.GetDriver(i)->GetDescription();
    refuseExtension(output, extension);
}

void checkCreationOptions(const std::string& driver, const std::vector<std::string>& options) {
    CPLStringList list;
    for (const std::string& option : options) {
        if (option.find('=') == std::string::npos || option.front() == '=')
            throw UsageError("the creation option '" + option + "' is not of the form KEY=VALUE");
        list.AddString(option.c_str());
    }
    const GdalMessages messages;
    if (!GDALValidateCreationOptions(findDriver(driver), list.List()))
        throw UsageError("wrong creation option: " + messages.text());
}

std::string bandFileName(const std::string& out, const std::string& bandName, std::size_t bandCount) {
    const std::string given = extensionOf(out);
    const std::string stem = out.substr(0, out.size() - given.size());
    const std::string extension = given.empty() ? ".tif" : given;
    if (bandCount <= 1)
        return stem + extension;
    std::string safe = bandName;
    std::replace_if(
        safe.begin(), safe.end(),
        [](char c) {
            const bool beyondAscii = static_cast<unsigned char>(c) >= 0x80;
            const bool allowed = std::string_view("_-+.").find(c) != std::string_view::npos;
            return !isPlainLetter(c) && !isPlainDigit(c) && !beyondAscii && !allowed;
        },
        '_');
    return stem + "-" + safe + extension;
}

} // namespace Tilewright::Io
