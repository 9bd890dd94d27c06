#include <io/outputs/OutputGuard.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include <sys/stat.h>

#include <cpl_string.h>

#include <io/gdal/Gdal.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

using Identity = std::pair<std::uint64_t, std::uint64_t>;

/// What programs keep beside a cloud, under its name with one of these instead of its extension or after it.
constexpr std::array companionsOfClouds = {".prj", ".qpj", ".wkt", ".cpg", ".dbf", ".shx",    ".shp",
                                           ".sbn", ".sbx", ".qix", ".lax", ".xml", ".aux.xml"};

[[noreturn]] void fail(const fs::path& place, const std::string& why) {
    throw OutputError(place.string() + ": " + why);
}

/// Empty if there is no such file.
std::optional<Identity> identityOf(const fs::path& path) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return Identity(status.st_dev, status.st_ino);
}

bool isSameFile(const fs::path& a, const fs::path& b) {
    const auto identity = identityOf(a);
    return identity && identity == identityOf(b);
}

fs::path folderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

fs::path with(const fs::path& path, std::string_view ending) {
    fs::path longer = path;
    return longer += ending;
}

std::string firstBytes(const fs::path& path, std::size_t count) {
    std::string bytes(count, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(bytes.data(), static_cast<std::streamsize>(count));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

/// All files of a raster or of vector data, as GDAL lists them; empty for other files.
std::vector<fs::path> filesOf(const fs::path& path) {
    registerAllDrivers();
    const GdalMessages unheard;
    const GDALDatasetUniquePtr data(GDALDataset::Open(path.c_str(), GDAL_OF_RASTER | GDAL_OF_VECTOR));
    const CPLStringList list(data ? data->GetFileList() : nullptr);
    return {list.List(), list.List() + list.size()};
}

bool hasFile(const std::vector<fs::path>& files, const fs::path& file) {
    return std::ranges::any_of(files, [&](const fs::path& other) {
        return other.filename() == file.filename() && isSameFile(other, file);
    });
}

/// GDAL's name of the format of a raster; empty for none.
std::string formatOf(const fs::path& path) {
    const GDALDriver* const driver = findDriverOf(path);
    return driver ? driver->GetDescription() : "";
}

/// Why a file is not an older output; empty if it is one.
std::string whyNoRaster(const fs::path& path) {
    std::error_code error;
    // Replacing an empty file loses nothing.
    if (fs::file_size(path, error) == 0 && !error)
        return {};
    const std::string head = firstBytes(path, 4);
    if (head == "LASF" || head.starts_with("ply"))
        return "it is a cloud";
    const std::string name = formatOf(path);
    if (name.empty())
        return "it is not a raster";
    if (name == "XYZ")
        return "it may be a cloud";
    const GdalMessages unheard;
    const std::array only = {name.c_str(), static_cast<const char*>(nullptr)};
    const GDALDatasetUniquePtr vector(GDALDataset::Open(path.c_str(), GDAL_OF_VECTOR, only.data()));
    return vector && vector->GetLayerCount() != 0 ? "it contains vector data" : "";
}

/// Whether a raster without a file for its coordinate system would use this one.
bool takesSystem(const fs::path& raster, const fs::path& system) {
    const fs::path beside = fs::path(raster).replace_extension(".prj");
    std::error_code error;
    if (fs::exists(beside, error))
        return false;
    fs::create_symlink(fs::absolute(system, error), beside, error);
    const bool isTaken = !error && hasFile(filesOf(raster), beside);
    fs::remove(beside, error);
    return isTaken;
}

/// Other data that a file belongs to, judged by its name without the extension; empty for none.
fs::path otherOwner(const fs::path& place, const std::vector<fs::path>& own) {
    std::error_code error;
    for (fs::directory_iterator entry(folderOf(place), error), end; !error && entry != end;
         entry.increment(error))
        if (entry->path().stem() == place.stem() && entry->path().filename() != place.filename() &&
            !hasFile(own, entry->path()) && hasFile(filesOf(entry->path()), place))
            return entry->path();
    return {};
}

/// Why a file does not belong to the present or former raster `output`; empty if it does.
std::string whyNoPart(const fs::path& output, const fs::path& place, const fs::path& made) {
    if (!made.empty() && OutputGuard::haveSameBytes(made, place))
        return {};
    if (place == with(output, ".aux.xml") && firstBytes(place, 11) == "<PAMDataset")
        return {};
    if (place == with(output, ".ovr") || place == with(output, ".msk"))
        return whyNoRaster(place);
    const std::string why = "it does not belong to an older " + output.filename().string();
    std::error_code error;
    if (!fs::exists(output, error) || !whyNoRaster(output).empty())
        return why;
    const std::vector<fs::path> own = filesOf(output);
    // Drivers do not list all files that they make, but they make the same ones again.
    const bool isAgain =
        !made.empty() && formatOf(made.parent_path() / output.filename()) == formatOf(output);
    if (!hasFile(own, place) && (!isAgain || place == with(output, ".aux.xml")))
        return why;
    const fs::path other = otherOwner(place, own);
    return other.empty() ? "" : "it belongs to " + other.filename().string();
}

} // namespace

OutputGuard::OutputGuard(std::vector<fs::path> inputs, bool mayReplace)
    : Inputs(std::move(inputs)), MayReplace(mayReplace) {
    for (const fs::path& input : Inputs)
        if (const auto identity = identityOf(input))
            Identities.insert(*identity);
}

/// The input that a file belongs to; null for none.
const fs::path* OutputGuard::findOwner(const fs::path& place) const {
    const std::string name = place.filename().string();
    for (const fs::path& input : Inputs) {
        const std::string stem = input.stem().string();
        if (!name.starts_with(stem + ".") || !isSameFile(folderOf(input), folderOf(place)))
            continue;
        for (const std::string_view ending : companionsOfClouds)
            if (name == stem + std::string(ending) || name == with(input, ending).filename())
                return &input;
        if (hasFile(filesOf(input), place))
            return &input;
    }
    return nullptr;
}

bool OutputGuard::check(const fs::path& output, const fs::path& place, const fs::path& made) const {
    std::error_code error;
    if (fs::symlink_status(place, error).type() == fs::file_type::not_found)
        return false;
    const auto identity = identityOf(place);
    const bool isOutput = place == output;
    const std::string role =
        isOutput ? "" : "would be written along with " + output.filename().string() + ", but ";
    if (identity && Identities.contains(*identity))
        fail(place, role + "is an input; choose another name for the output");
    const fs::path* const owner = findOwner(place);
    if (owner && (made.empty() || !OutputGuard::haveSameBytes(made, place)))
        fail(place,
             role + "belongs to the input " + owner->string() + "; choose another name for the output");
    if (!fs::is_regular_file(place, error))
        fail(place, role + "is not a regular file and is not replaced");
    const std::string why = isOutput ? whyNoRaster(place) : whyNoPart(output, place, made);
    if (!why.empty())
        fail(place, role + "exists and is not replaced, because " + why);
    if (!MayReplace)
        fail(place, role + "exists already; --overwrite replaces it");
    return true;
}

std::vector<fs::path> OutputGuard::companionsOf(const fs::path& output, const fs::path& made) {
    std::vector<fs::path> companions;
    std::error_code error;
    for (const char* const ending : {".aux.xml", ".ovr", ".msk"})
        if (fs::exists(fs::symlink_status(with(output, ending), error)))
            companions.push_back(with(output, ending));
    const fs::path system = fs::path(output).replace_extension(".prj");
    if (system != output && fs::exists(system, error) && takesSystem(made, system))
        companions.push_back(system);
    return companions;
}

bool OutputGuard::haveSameBytes(const fs::path& a, const fs::path& b) {
    std::error_code error;
    const auto size = fs::file_size(a, error);
    if (error || size != fs::file_size(b, error) || error)
        return false;
    std::ifstream one(a, std::ios::binary), other(b, std::ios::binary);
    return std::equal(std::istreambuf_iterator<char>(one), {}, std::istreambuf_iterator<char>(other), {});
}

bool OutputGuard::isSamePlace(const fs::path& a, const fs::path& b) {
    return isSameFile(a, b) || (a.filename() == b.filename() && isSameFile(folderOf(a), folderOf(b)));
}

} // namespace Tilewright::Io
