#include <io/HiddenFolder.h>

#include <atomic>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include <unistd.h>

#include <io/Errors.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

fs::path folderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

fs::path hiddenName(const fs::path& output) {
    static std::atomic<unsigned> serial = 0;
    constexpr std::size_t longest = 200; // leaves room below the usual limit of 255
    std::string name = ".";
    name += output.filename().string().substr(0, longest);
    name.append(".").append(std::to_string(::getpid()));
    name.append("-").append(std::to_string(++serial)).append(".part");
    return folderOf(output) / name;
}

[[noreturn]] void fail(const fs::path& output, const std::string& why) {
    throw OutputError(output.string() + ": " + why);
}

void checkPlace(const fs::path& output) {
    std::error_code ignored;
    if (!output.has_filename() || fs::is_directory(output, ignored))
        fail(output, "is a folder; the output needs the name of a file");
    if (fs::exists(output, ignored) && !fs::is_regular_file(output, ignored))
        fail(output, "is no regular file and is not replaced");
    if (!fs::is_directory(folderOf(output), ignored))
        fail(output, "there is no folder " + folderOf(output).string() + "; create it first");
}

} // namespace

HiddenFolder::HiddenFolder(const fs::path& output)
    : target(output), folder(hiddenName(output)), main(folder / "output" / output.filename()) {
    checkPlace(target);
    std::error_code error;
    if (!fs::create_directory(folder, error) || !fs::create_directory(main.parent_path(), error)) {
        std::error_code ignored;
        fs::remove(folder, ignored);
        fail(target, "its folder takes no new files (" + error.message() + ")");
    }
}

HiddenFolder::~HiddenFolder() {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

void HiddenFolder::publish() {
    if (published)
        return;
    checkPlace(target);
    std::set<fs::path> outdated;
    for (const char* extension : {".aux.xml", ".ovr", ".msk"})
        outdated.insert(target.string() + extension);
    std::error_code error;
    std::vector<fs::path> made;
    for (const auto& entry : fs::directory_iterator(main.parent_path(), error))
        if (entry.path() != main)
            made.push_back(entry.path());
    made.push_back(main);
    std::vector<fs::path> moved;
    for (const fs::path& file : made) {
        const fs::path place = target.parent_path() / file.filename();
        if (!error)
            fs::rename(file, place, error);
        if (error) {
            std::error_code ignored;
            for (const fs::path& former : moved)
                fs::remove_all(former, ignored);
            fail(target, "cannot be put in place (" + error.message() + ")");
        }
        moved.push_back(place);
        outdated.erase(place);
    }
    published = true;
    for (const fs::path& older : outdated)
        fs::remove(older, error);
    fs::remove_all(folder, error);
}

} // namespace Tilewright::Io
