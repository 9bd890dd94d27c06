#include <io/formats/PdalReader.h>

#include <csignal>
#include <string>
#include <system_error>

#include <sys/wait.h>

#include <io/formats/las/LasFile.h>
#include <io/outputs/HiddenFolder.h>
#include <io/system/ChildProcess.h>
#include <io/system/Text.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

/// Made by a process that lives, or else removed by the next one.
LockedFolder makeFolder(const fs::path& parent) {
    LockedFolder::removeAbandoned(parent);
    try {
        return LockedFolder(fs::absolute(parent) / ".tilewright-pdal-");
    } catch (const std::system_error& error) {
        throw OutputError(parent.string() + ": takes no scratch file (" + error.code().message() +
                          "); name another folder with --scratch");
    }
}

std::vector<std::string> conversion(const fs::path& from, const fs::path& to) {
    std::vector<std::string> words = {"pdal", "translate",
                                      // Absolute, so that it is taken for no option and no address.
                                      fs::absolute(from).string(), to.string(),
                                      // The range of the coordinates is known only when all points are.
                                      "--nostream", "--writers.las.minor_version=4",
                                      "--writers.las.extra_dims=all"};
    for (const char* axis : {"x", "y", "z"})
        for (const char* part : {"scale", "offset"})
            words.push_back(std::string("--writers.las.") + part + "_" + axis + "=auto");
    return words;
}

/// The last line of a program's errors with anything in it.
std::string lastLine(std::string errors) {
    constexpr std::size_t longest = 300;
    errors.erase(errors.find_last_not_of(" \t\r\n") + 1);
    errors.erase(0, errors.find_last_of('\n') + 1);
    return oneLine(errors.substr(0, longest));
}

/// Throws unless the program has done its work.
void check(const ChildOutcome& outcome, const fs::path& result, const std::string& name) {
    if (WIFSIGNALED(outcome.status) && WTERMSIG(outcome.status) == SIGINT)
        throw Interruption();
    std::string reason;
    if (!WIFEXITED(outcome.status) || WEXITSTATUS(outcome.status) != 0) {
        reason = lastLine(outcome.errors);
        reason = reason.empty() ? "it was ended without a word" : reason;
    } else if (!fs::exists(result)) {
        reason = "it wrote nothing";
    }
    if (!reason.empty())
        throw InputError(name + ": pdal cannot convert it: " + reason);
}

} // namespace

std::unique_ptr<PointSource> readWithPdal(const fs::path& path, const ReadOptions& options) {
    const std::string name = path.string();
    const LockedFolder folder = makeFolder(options.scratch->folder());
    const fs::path converted = folder.path() / "points.las";
    const auto outcome = runProgram(conversion(path, converted),
                                    [&options] { return !options.report || options.report(0, 1); });
    if (!outcome)
        throw InputError(name +
                         ": is of no kind that can be read: LAS, LAZ, PLY, a text (.xyz, .txt, .csv, .asc, "
                         ".pts, .tsv) or a vector file; what pdal reads can be, once it is installed, "
                         "for example from conda-forge");
    check(*outcome, converted, name);
    return std::make_unique<LasFile>(converted, name);
}

} // namespace Tilewright::Io
