#include <io/runs/OutputCheck.h>

#include <unistd.h>

#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

void checkPlace(const fs::path& path, const OutputGuard& guard) {
    std::error_code ignored;
    const fs::path folder = path.parent_path().empty() ? fs::path(".") : path.parent_path();
    if (!fs::is_directory(folder, ignored))
        throw OutputError(path.string() + ": there is no folder " + folder.string());
    if (access(folder.c_str(), W_OK) != 0)
        throw OutputError(path.string() + ": the folder " + folder.string() + " can't be written");
    guard.check(path, path);
}

} // namespace

OutputGuard guardOf(const RunPlan& plan) {
    std::vector<fs::path> files;
    files.reserve(plan.inputs.size() + plan.otherNames.size());
    for (const PlannedInput& input : plan.inputs)
        files.push_back(input.path);
    for (const PlannedInput& file : plan.otherFiles)
        files.push_back(file.path);
    files.insert(files.end(), plan.otherNames.begin(), plan.otherNames.end());
    return {std::move(files), plan.overwrite};
}

void expectDistinct(const std::vector<fs::path>& files) {
    for (std::size_t i = 0; i < files.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            if (OutputGuard::isSamePlace(files[i], files[j]))
                throw OutputError("two files would be written to " + files[i].string());
}

void checkOutputs(const RunPlan& plan) {
    std::error_code ignored;
    if (plan.output.empty() || fs::is_directory(plan.output, ignored))
        throw UsageError("the output '" + plan.output.string() + "' needs the name of a file");
    if (fs::exists(plan.output, ignored) && !fs::is_regular_file(plan.output, ignored))
        throw OutputError(plan.output.string() + ": is not a regular file and is not replaced");
    std::vector<fs::path> all;
    for (const PlannedOutput& output : plan.outputs)
        all.push_back(output.path);
    if (plan.picture)
        all.push_back(plan.picture->path);
    const OutputGuard guard = guardOf(plan);
    for (const fs::path& path : all)
        checkPlace(path, guard);
    expectDistinct(all);
}

} // namespace Tilewright::Io
