/// PlanMembers: what a plan is made of, by the names that its file has for it.
#pragma once

#include <io/runs/BandFilters.h>
#include <io/runs/JsonValues.h>
#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

template <> struct KindWords<PixelType> {
    static constexpr std::array words = {"Float32", "Float64", "Byte", "UInt16", "UInt32", "UInt64", "Int32"};
};
template <> struct KindWords<FieldType> {
    static constexpr std::array words = {"Float32", "Float64", "Byte", "UInt16", "UInt32", "UInt64", "Int32"};
};
template <> struct KindWords<BandColour> {
    static constexpr std::array words = {"undefined", "gray", "red", "green", "blue", "alpha"};
};
template <> struct KindWords<Filling> { static constexpr std::array words = {"idw", "nearest", "tin"}; };
template <> struct KindWords<Resampling> {
    static constexpr std::array words = {"by type", "average", "mode"};
};
template <> struct KindWords<PointColumn::Kind> {
    static constexpr std::array words = {"positions", "x", "y", "z", "attribute", "height above ground"};
};
template <> struct KindWords<PointCondition::Quantity> {
    static constexpr std::array words = {"attribute", "x", "y", "z", "height above ground", "returns"};
};
template <> struct KindWords<OrderKeys> {
    static constexpr std::array words = {"none", "numbers", "reversed numbers", "integers",
                                         "reversed integers"};
};
template <> struct KindWords<JobBand::Source> {
    static constexpr std::array words = {"reduction", "count", "density", "cell type", "alpha", "filled"};
};
template <> struct KindWords<DirectionNumber> {
    static constexpr std::array words = {"Xdir", "Ydir", "Zdir", "All", "Fit"};
};

template <> struct KindWords<Statistic::Kind> {
    static constexpr std::array words = {"none",
                                         "range",
                                         "sum",
                                         "deviation",
                                         "variance",
                                         "sample deviation",
                                         "sample variance",
                                         "skewness",
                                         "kurtosis",
                                         "first",
                                         "last",
                                         "at highest",
                                         "at lowest",
                                         "above",
                                         "above mean",
                                         "median",
                                         "median high",
                                         "median low",
                                         "percentile",
                                         "mode",
                                         "distinct",
                                         "inverse distance"};
};

void list(auto& members, Like<FileTime> auto& time) {
    members("seconds", time.seconds);
    members("nanoseconds", time.nanoseconds);
}

void list(auto& members, Like<PlannedInput> auto& input) {
    members("path", input.path);
    members("bytes", input.bytes);
    members("modified", input.modified);
    members("points", input.points);
    members("low", input.low);
    members("high", input.high);
}

void list(auto& members, Like<LatticeAxis::Request> auto& axis) {
    members("low", axis.low);
    members("high", axis.high);
    members("cell", axis.cell);
    members("origin", axis.origin);
    members("bounds", axis.bounds);
}

void list(auto& members, Like<RasterGeometry> auto& geometry) {
    members("width", geometry.width);
    members("height", geometry.height);
    members("west", geometry.west);
    members("north", geometry.north);
    members("pixelWidth", geometry.pixelWidth);
    members("pixelHeight", geometry.pixelHeight);
    members("wkt", geometry.wkt);
}

void list(auto& members, Like<CloudField> auto& field) {
    members("name", field.name);
    members("type", field.type);
}

void list(auto& members, Like<PointCondition> auto& condition) {
    members("quantity", condition.quantity);
    members("field", condition.field);
    members("ranges", condition.ranges);
    members("returns", condition.returns);
    members("excludes", condition.excludes);
}

void list(auto& members, Like<PointNeeds> auto& needs) {
    members("fields", needs.fields);
    members("selection", needs.selection);
}

void list(auto& members, Like<PointColumn> auto& column) {
    members("kind", column.kind);
    members("attribute", column.attribute);
    members("type", column.type);
    members("keys", column.keys);
    members("scale", column.scale);
    members("subset", column.subset);
    members("hasHeights", column.hasHeights);
}

void list(auto& members, Like<DirectionAndFilter> auto& wanted) {
    std::string filter = wordOfFilter(wanted.filter);
    auto direction = static_cast<DirectionNumber>(wanted.direction);
    members("filter", filter);
    members("direction", direction);
    if constexpr (!std::is_const_v<std::remove_reference_t<decltype(wanted)>>)
        wanted = {direction, numberOfFilter(filter)};
}

void list(auto& members, Like<Statistic> auto& statistic) {
    members("kind", statistic.kind);
    members("number", statistic.number);
    members("power", statistic.power);
}

void list(auto& members, Like<ReductionPlan::Reduction> auto& reduction) {
    members("column", reduction.column);
    members("wanted", reduction.wanted);
    members("statistic", reduction.statistic);
}

void list(auto& members, Like<ReductionPlan> auto& plan) {
    members("needs", plan.needs);
    members("subsets", plan.subsets);
    members("columns", plan.columns);
    members("reductions", plan.reductions);
}

void list(auto& members, Like<JobBand> auto& band) {
    members("source", band.source);
    members("reduction", band.reduction);
    members("component", band.component);
    members("reachesOut", band.reachesOut);
    members("keys", band.keys);
    members("scale", band.scale);
    members("file", band.file);
    members("number", band.number);
    members("subset", band.subset);
}

void list(auto& members, Like<RasterJob> auto& job) {
    members("plan", job.plan);
    members("sparseLimit", job.sparseLimit);
    members("bands", job.bands);
    members("threads", job.threads);
    members("memoryForPlanes", job.memoryForPlanes);
    members("pointsOfWindow", job.pointsOfWindow);
    members("pointsOfCell", job.pointsOfCell);
}

void list(auto& members, Like<PlannedReading> auto& reading) {
    members("side", reading.side);
    members("inOnePass", reading.inOnePass);
    members("isSorted", reading.isSorted);
    members("memory", reading.memory);
    members("scratch", reading.scratch);
    members("keepsPages", reading.keepsPages);
}

void list(auto& members, Like<BandDescription> auto& band) {
    members("name", band.name);
    members("unit", band.unit);
    members("colour", band.colour);
    members("metadata", band.metadata);
    members("isCategory", band.isCategory);
}

void list(auto& members, Like<RasterDescription> auto& description) {
    members("type", description.type);
    members("bands", description.bands);
    members("metadata", description.metadata);
    members("driver", description.driver);
    members("creationOptions", description.creationOptions);
    members("overviews", description.overviews);
    members("resampling", description.resampling);
    members("fillDistance", description.fillDistance);
    members("filling", description.filling);
}

void list(auto& members, Like<PlannedOutput> auto& output) {
    members("path", output.path);
    members("description", output.description);
    members("keepsType", output.keepsType);
    members("hasNoData", output.hasNoData);
    members("prefersNaN", output.prefersNaN);
}

void list(auto& members, Like<PlannedPicture> auto& picture) {
    members("path", picture.path);
    members("relief", picture.relief);
    members("classes", picture.classes);
}

void list(auto& members, Like<BlockRectangle> auto& blocks) {
    members("west", blocks.west);
    members("north", blocks.north);
    members("east", blocks.east);
    members("south", blocks.south);
}

void list(auto& members, Like<RunPlan> auto& plan) {
    members("cloud", plan.cloud);
    members("inputs", plan.inputs);
    members("otherNames", plan.otherNames);
    members("selections", plan.selections);
    members("clip", plan.clip);
    members("ground", plan.ground);
    members("groundPoints", plan.groundPoints);
    members("otherFiles", plan.otherFiles);
    members("lattice", plan.lattice);
    members("geometry", plan.geometry);
    members("job", plan.job);
    members("reading", plan.reading);
    members("output", plan.output);
    members("outputs", plan.outputs);
    members("picture", plan.picture);
    members("nodata", plan.nodata);
    members("overwrite", plan.overwrite);
    members("parts", plan.parts);
    members("wantedPoints", plan.wantedPoints);
    members("withoutGround", plan.withoutGround);
    members("memory", plan.memory);
    members("notes", plan.notes);
}

} // namespace Tilewright::Io
