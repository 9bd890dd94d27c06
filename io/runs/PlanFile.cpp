#include <io/runs/PlanFile.h>

#include <algorithm>
#include <utility>

#include <io/clouds/PolygonArea.h>
#include <io/outputs/NewFile.h>
#include <io/runs/PlanCheck.h>
#include <io/runs/PlanMembers.h>
#include <io/runs/RunInput.h>
#include <io/runs/RunSteps.h>
#include <io/system/InputFile.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

constexpr const char* formatName = "tilewright plan";
constexpr int formatVersion = 3;

Json parse(std::string_view text, const std::string& name) {
    Json document = Json::parse(text, nullptr, false);
    if (!document.is_object() || !document.contains("format") || document["format"] != formatName)
        throw InputError(name + ": is no plan of a raster");
    if (!document.contains("version") || document["version"] != formatVersion)
        throw InputError(name + ": is a plan of another version than " + std::to_string(formatVersion) +
                         ", the only one that is known; make a new plan");
    return document;
}

/// A program of another version may have made the plan, and any program the change.
void expectUnchanged(const PlannedInput& input, const FileState& file) {
    if (input.bytes != file.size || input.modified != file.modified)
        throw InputError(input.path.string() + ": has changed since the plan was made; make a new plan");
}

/// All attributes that are looked at, with the types that are expected of them. Those of returns are of any.
std::vector<CloudField> fieldsOf(const RunPlan& run) {
    const ReductionPlan& plan = run.job.plan;
    std::vector<CloudField> fields = plan.needs.fields;
    const auto add = [&](const PointConditions& conditions) {
        for (const PointCondition& condition : conditions)
            if (condition.quantity == PointCondition::Quantity::Attribute)
                fields.push_back(condition.field);
    };
    add(plan.needs.selection);
    add(run.groundPoints);
    std::ranges::for_each(plan.subsets, add);
    return fields;
}

/// Whether a file changed just before it was opened, and whether it can be read as it could be for the plan.
void checkCloud(const RunPlan& plan, const PointCloud& cloud) {
    if (cloud.files().size() != plan.inputs.size())
        throw InputError(cloud.name() + ": some of the planned files are one by now; make a new plan");
    for (std::size_t i = 0; i < plan.inputs.size(); ++i) {
        expectUnchanged(plan.inputs[i], cloud.files()[i]);
        if (cloud.sources()[i]->pointCount() != plan.inputs[i].points)
            throw InputError(plan.inputs[i].path.string() + ": has other points than the plan says");
    }
    for (const CloudField& field : fieldsOf(plan)) {
        const CloudField* const found = cloud.findField(field.name);
        // Where files differ in type, some of them may have one.
        const bool isSame = found && (found->type == field.type || field.type == FieldType::Double);
        if (!isSame && !cloud.sources().empty())
            throw InputError(cloud.name() + ": has no field '" + field.name + "' of the type in the plan");
    }
    for (const std::string& name : attributesOf(plan.job.plan.needs.selection))
        if (!cloud.findField(name) && !cloud.sources().empty())
            throw InputError(cloud.name() + ": has no field '" + name + "', which the plan selects by");
}

/// Without what only planning needs: bounds and ranges.
CloudIndex readIndices(const RunPlan& plan, const PointCloud& cloud, const IndexFolder& indices,
                       const StretchTest& wanted) {
    CloudIndex index;
    for (std::uint32_t i = 0; i < plan.inputs.size(); ++i)
        for (Stretch& stretch : indices.read(cloud.files()[i], plan.inputs[i].points, wanted)) {
            stretch.source = i;
            index.stretches.push_back(stretch);
        }
    return index;
}

std::shared_ptr<const PointCloud> openCloud(const RunPlan& plan, const RunProgress& progress) {
    expectUnchanged(plan);
    std::vector<fs::path> files;
    for (const PlannedInput& input : plan.inputs)
        files.push_back(input.path);
    const CloudOptions options{plan.reading.scratch, reportOf(progress, "reading"), plan.reading.keepsPages};
    auto cloud = std::make_shared<const PointCloud>(files, options, true);
    checkCloud(plan, *cloud);
    return cloud;
}

} // namespace

std::string textOfPlan(const RunPlan& plan) {
    Json document = {{"format", formatName}, {"version", formatVersion}};
    document.update(JsonWriter::write(plan));
    return document.dump(1) + '\n';
}

void writePlan(const fs::path& path, const RunPlan& plan) {
    const std::string text = textOfPlan(plan);
    NewFile file(path);
    file.write(std::as_bytes(std::span(text)));
    file.publish();
}

RunPlan planOfText(std::string_view text, const std::string& name) {
    const Json document = parse(text, name);
    RunPlan plan;
    JsonReader(document, name + ": the plan").read(plan);
    for (PlannedOutput& output : plan.outputs)
        output.description.geometry = plan.geometry;
    if (const std::string fault = faultOf(plan); !fault.empty())
        throw InputError(name + ": the plan contradicts itself: " + fault);
    return plan;
}

RunPlan readPlan(const fs::path& path) { return planOfText(readDocument(path), path.string()); }

void expectUnchanged(const RunPlan& plan) {
    for (const std::vector<PlannedInput>* files : {&plan.otherFiles, &plan.inputs})
        for (const PlannedInput& file : *files)
            expectUnchanged(file, stateOfInput(file.path));
}

PlannedRun openPlan(RunPlan plan, const IndexFolder& indices, const RunProgress& progress,
                    const StretchTest& wanted) {
    if (wanted)
        std::erase_if(plan.inputs, [&](const PlannedInput& input) {
            return !wanted({0, 0, input.points, input.low, input.high});
        });
    PlannedRun run = openPlan(std::move(plan), nullptr, progress);
    run.index = readIndices(run.plan, *run.cloud, indices, wanted);
    return run;
}

PlannedRun openPlan(RunPlan plan, const std::shared_ptr<const PointCloud>& cloud,
                    const RunProgress& progress) {
    PlannedRun run;
    run.cloud = cloud ? cloud : openCloud(plan, progress);
    if (!plan.clip.empty())
        plan.job.plan.needs.clip =
            std::make_shared<const PolygonArea>(readPolygons(plan.clip, plan.geometry.wkt).rings);
    if (!plan.ground.empty())
        plan.job.plan.needs.ground =
            std::make_shared<const GroundSurface>(plan.ground, bytesForGround(plan.reading.memory));
    run.plan = std::move(plan);
    return run;
}

} // namespace Tilewright::Io
