#include <io/runs/RasterRun.h>

#include <chrono>
#include <stdexcept>

#include <io/runs/Finishing.h>
#include <io/runs/OutputCheck.h>
#include <io/runs/Rastering.h>
#include <io/runs/RunPlan.h>
#include <io/runs/RunReport.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

/// Files that are read besides the cloud.
void expectUnchanged(const std::vector<PlannedInput>& files) {
    for (const PlannedInput& file : files) {
        const FileState state = stateOfInput(file.path);
        if (state.size != file.bytes || state.modified != file.modified)
            throw InputError(file.path.string() +
                             ": was changed while it was read; try again when it is complete");
    }
}

/// Nothing appears under its name before everything is complete.
RasterReport makeFiles(const PlannedRun& run, const RunProgress& progress) {
    const OutputGuard guard = guardOf(run.plan);
    RasteredFiles files = rasterFiles(run, guard, progress);
    run.cloud->release(run.plan.job.threads);
    expectUnchanged(run.plan.otherFiles);
    finishFiles(run.plan, files, guard, progress);
    return reportOn(run.plan, files);
}

template <class Make> RasterReport timed(const Make& make) {
    const auto start = std::chrono::steady_clock::now();
    RasterReport report = make();
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return report;
}

} // namespace

RasterReport carryOut(const PlannedRun& run, const RunProgress& progress) {
    const PointNeeds& needs = run.plan.job.plan.needs;
    if ((!run.plan.clip.empty() && !needs.clip) || (!run.plan.ground.empty() && !needs.ground))
        throw std::invalid_argument("a plan that was read has to be opened first");
    return timed([&] {
        checkOutputs(run.plan);
        return makeFiles(run, progress);
    });
}

RasterReport runRaster(const RasterRequest& request, const RunProgress& progress) {
    return runRaster(nullptr, request, progress);
}

RasterReport runRaster(const std::shared_ptr<const PointCloud>& cloud, const RasterRequest& request,
                       const RunProgress& progress) {
    return timed([&] {
        const PlannedRun run = planRunBetween({cloud, false}, request, progress);
        checkOutputs(run.plan);
        return request.dryRun ? describeRun(run.plan) : makeFiles(run, progress);
    });
}

} // namespace Tilewright::Io
