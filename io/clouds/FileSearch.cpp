#include <io/clouds/FileSearch.h>

#include <algorithm>
#include <string_view>
#include <system_error>
#include <utility>

#include <io/formats/PointFile.h>
#include <io/gdal/VirtualFile.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

/// Whether `pattern`, where * matches any characters and ? any one, fits all of `text`.
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
        throw FileError(folder.string() + ": cannot be listed: " + error.message());
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
        throw MissingFileError(path.string() +
                               ": has no point files in it, such as .las, .laz, .ply, .xyz or .csv");
    std::sort(files.begin() + static_cast<std::ptrdiff_t>(before), files.end());
}

} // namespace

std::vector<fs::path> findPointFiles(const std::vector<std::string>& words) {
    std::vector<fs::path> files;
    for (const std::string& word : words) {
        if (isVirtualPath(word)) {
            files.emplace_back(word);
            continue;
        }
        std::error_code error;
        if (fs::exists(word, error)) {
            addFilesOf(word, files);
            continue;
        }
        if (!isPattern(word) && error)
            throw FileError(word + ": cannot be opened: " + error.message());
        if (!isPattern(word))
            throw MissingFileError(word + ": cannot be opened: " +
                                   std::make_error_code(std::errc::no_such_file_or_directory).message());
        const std::vector<fs::path> found = expandPattern(word);
        if (found.empty())
            throw MissingFileError(word + ": no file fits this pattern");
        for (const fs::path& path : found)
            addFilesOf(path, files);
    }
    return files;
}

} // namespace Tilewright::Io
