#include <io/clouds/PointCloud.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <set>
#include <system_error>
#include <utility>

#include <sys/stat.h>

#include <io/formats/ReadOptions.h>
#include <io/gdal/CoordinateSystem.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

/// Whether `pattern`, where * stands for any characters and ? for any one, fits all of `text`.
bool matches(std::string_view pattern, std::string_view text) {
    std::size_t p = 0, t = 0;
    std::size_t star = std::string_view::npos, starText = 0;
    while (t < text.size()) {
        if (p < pattern.size() && (pattern[p] == '?' || (pattern[p] == text[t] && pattern[p] != '*'))) {
            ++p;
            ++t;
        } else if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            starText = t;
        } else if (star != std::string_view::npos) {
            // The last star has to take one character more.
            p = star + 1;
            t = ++starText;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

bool isPattern(std::string_view text) { return text.find_first_of("*?") != std::string_view::npos; }

bool isHidden(const fs::path& path) { return path.filename().string().starts_with('.'); }

std::vector<fs::path> entriesOf(const fs::path& folder) {
    std::error_code error;
    std::vector<fs::path> entries;
    fs::directory_iterator entry(folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error))
        entries.push_back(entry->path());
    if (error)
        throw InputError(folder.string() + ": cannot be listed: " + error.message());
    std::ranges::sort(entries);
    return entries;
}

/// Hidden files and folders are left out, as a shell does it: some systems keep notes on a file under its
/// name with a dot in front. `open` are the folders above, so that a link to one of them ends there.
void collectFiles(const fs::path& folder, std::vector<fs::path>& open, std::vector<fs::path>& files) {
    std::error_code error;
    const fs::path self = fs::canonical(folder, error);
    if (error || std::ranges::find(open, self) != open.end())
        return;
    open.push_back(self);
    for (const fs::path& entry : entriesOf(folder)) {
        if (isHidden(entry))
            continue;
        if (fs::is_directory(entry, error))
            collectFiles(entry, open, files);
        else if (isPointFileName(entry))
            files.push_back(entry);
    }
    open.pop_back();
}

/// All paths that fit a pattern, ascending.
std::vector<fs::path> expandPattern(const fs::path& pattern) {
    std::vector<fs::path> found = {fs::path()};
    for (const fs::path& part : pattern) {
        const std::string text = part.string();
        std::vector<fs::path> longer;
        for (const fs::path& path : found) {
            std::error_code error;
            if (!isPattern(text)) {
                if (fs::exists(path / part, error))
                    longer.push_back(path / part);
                continue;
            }
            const fs::path folder = path.empty() ? fs::path(".") : path;
            if (!fs::is_directory(folder, error))
                continue;
            for (const fs::path& entry : entriesOf(folder))
                if ((!isHidden(entry) || text.starts_with('.')) && matches(text, entry.filename().string()))
                    longer.push_back(path / entry.filename());
        }
        found = std::move(longer);
    }
    return found;
}

void addFilesOf(const fs::path& path, std::vector<fs::path>& files) {
    std::error_code error;
    if (!fs::is_directory(path, error)) {
        files.push_back(path);
        return;
    }
    const std::size_t before = files.size();
    std::vector<fs::path> open;
    collectFiles(path, open, files);
    if (files.size() == before)
        throw InputError(path.string() +
                         ": has no point files in it, such as .las, .laz, .ply, .xyz or .csv");
    std::sort(files.begin() + static_cast<std::ptrdiff_t>(before), files.end());
}

/// Makes what a file reports of itself a report on all of them, in bytes. `before` are those of the files
/// before it.
StepReport partOf(const StepReport& whole, std::uint64_t before, std::uint64_t size, std::uint64_t all) {
    if (!whole)
        return {};
    return [=](std::uint64_t done, std::uint64_t total) {
        const double share = total != 0 ? static_cast<double>(done) / static_cast<double>(total) : 0;
        return whole(before + static_cast<std::uint64_t>(share * static_cast<double>(size)), all);
    };
}

/// The attributes that all of `sources` have. Sources without points don't count if others have some: what
/// they lack, or hold in another type, is missing for no point.
std::vector<CloudField> commonFields(std::span<const std::unique_ptr<PointSource>> sources) {
    std::vector<const RecordFormat*> formats;
    for (const auto& source : sources)
        if (source->pointCount() != 0)
            formats.push_back(&source->format());
    if (formats.empty() && !sources.empty())
        formats.push_back(&sources.front()->format());
    std::vector<CloudField> fields;
    if (formats.empty())
        return fields;
    for (const PointField& field : formats.front()->fields)
        fields.push_back({field.name, field.type});
    for (const RecordFormat* format : formats)
        std::erase_if(fields, [format](CloudField& field) {
            const PointField* const own = format->findField(field.name);
            if (own && own->type != field.type)
                field.type = FieldType::Double;
            return !own;
        });
    return fields;
}

} // namespace

std::vector<fs::path> findPointFiles(const std::vector<std::string>& words) {
    std::vector<fs::path> files;
    for (const std::string& word : words) {
        std::error_code error;
        if (fs::exists(word, error)) {
            addFilesOf(word, files);
            continue;
        }
        if (!isPattern(word))
            throw InputError(
                word + ": cannot be opened: " +
                (error ? error : std::make_error_code(std::errc::no_such_file_or_directory)).message());
        const std::vector<fs::path> found = expandPattern(word);
        if (found.empty())
            throw InputError(word + ": no file fits this pattern");
        for (const fs::path& path : found)
            addFilesOf(path, files);
    }
    return files;
}

PointCloud::FileState PointCloud::stateOf(const fs::path& path) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0)
        throw InputError(path.string() + ": cannot be opened: " + std::generic_category().message(errno));
    return {path,
            status.st_dev,
            status.st_ino,
            static_cast<std::uint64_t>(status.st_size),
            {status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_ctim.tv_sec, status.st_ctim.tv_nsec}};
}

/// The files without those that come again, by whatever path.
std::vector<PointCloud::FileState> PointCloud::distinctFiles(std::span<const fs::path> files) {
    std::set<std::pair<std::uint64_t, std::uint64_t>> seen;
    std::vector<FileState> distinct;
    for (const fs::path& path : files) {
        const FileState file = stateOf(path);
        if (seen.insert({file.device, file.inode}).second)
            distinct.push_back(file);
    }
    return distinct;
}

PointCloud::PointCloud(std::span<const fs::path> files, const CloudOptions& options, bool ignoreSystems) {
    ReadOptions reading = readOptionsOf(options);
    const PointSource* named = nullptr;
    Files = distinctFiles(files);
    std::uint64_t before = 0, all = 0;
    for (const FileState& file : Files)
        all += file.size;
    for (const FileState& file : Files) {
        reading.report = partOf(options.report, before, file.size, all);
        before += file.size;
        const PointSource& source = *Sources.emplace_back(openPartOfCloud(file.path, reading));
        Count += source.pointCount();
        std::string system = source.coordinateSystem();
        if (system.empty())
            continue;
        if (!named) {
            named = &source;
            System = std::move(system);
        } else if (!ignoreSystems && !isSameCoordinateSystem(system, System)) {
            throw InputError(source.name() + ": is in another coordinate system than " + named->name() +
                             ": " + systemName(system) + ", not " + systemName(System));
        }
    }
    Fields = commonFields(Sources);
}

const CloudField* PointCloud::findField(std::string_view name) const noexcept {
    const auto found = std::ranges::find(Fields, name, &CloudField::name);
    return found != Fields.end() ? &*found : nullptr;
}

void PointCloud::checkUnchanged() const {
    for (const FileState& file : Files) {
        std::error_code error;
        if (!fs::exists(file.path, error) || stateOf(file.path) != file)
            throw InputError(file.path.string() +
                             ": was changed while it was read; try again when it is complete");
    }
}

std::string PointCloud::name() const {
    return Sources.size() == 1 ? Sources.front()->name() : std::to_string(Sources.size()) + " files";
}

} // namespace Tilewright::Io
