#include <chrono>

#include <io/parts/MadeParts.h>
#include <io/parts/Parts.h>
#include <io/runs/Finishing.h>
#include <io/runs/OutputCheck.h>
#include <io/runs/PlanFile.h>
#include <io/runs/Rastering.h>
#include <io/runs/RunReport.h>
#include <io/runs/RunSteps.h>

namespace Tilewright::Io {

namespace fs = std::filesystem;

RasterReport joinParts(const fs::path& job, const JoinOptions& options, const RunProgress& progress) {
    const auto start = std::chrono::steady_clock::now();
    const JobFolder folder(job);
    RunPlan plan = folder.readPlan();
    plan.overwrite |= options.overwrite;
    const MadeParts parts(folder, plan);
    expectUnchanged(plan);
    checkOutputs(plan);
    const OutputGuard guard = guardOf(plan);
    RasteredFiles files =
        writeFiles(plan, guard, [&](const std::vector<RasterDescription>& descriptions, BlockSink& sink) {
            return parts.copy(descriptions, sink, reportOf(progress, "joining", ""));
        });
    finishFiles(plan, files, guard, progress);
    RasterReport report = reportOn(plan, files);
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!options.keepsJob)
        folder.remove(plan.parts.size());
    return report;
}

std::uint64_t partCount(const fs::path& job) { return JobFolder(job).readPlan().parts.size(); }

std::vector<PartStatus> statusOfParts(const fs::path& job) {
    const JobFolder folder(job);
    std::vector<PartStatus> all(folder.readPlan().parts.size());
    const std::uint64_t digest = folder.planDigest();
    for (std::size_t part = 1; part <= all.size(); ++part) {
        PartStatus& status = all[part - 1];
        status.failure = folder.failure(part);
        if (const auto receipt = folder.readReceipt(part, digest))
            status = {PartStatus::State::Done, "", receipt->seconds, receipt->points};
        else if (!status.failure.empty())
            status.state = PartStatus::State::Failed;
    }
    return all;
}

} // namespace Tilewright::Io
