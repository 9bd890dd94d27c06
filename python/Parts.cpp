#include <python/Parts.h>

#include <cstdint>
#include <string>

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <io/parts/Parts.h>
#include <python/Requests.h>
#include <python/Results.h>
#include <python/Watch.h>

namespace py = pybind11;
using namespace pybind11::literals;

namespace Tilewright::Python {

namespace {

namespace fs = std::filesystem;

py::tuple plan(const py::dict& keywords, const fs::path& job, std::uint64_t parts,
               const py::object& progress) {
    const Io::RasterRequest request = requestOf(keywords);
    Io::PartsPlanReport planned;
    doWatched(progress,
              [&](const Io::RunProgress& report) { planned = Io::planParts(request, job, parts, report); });
    return py::make_tuple(reportOf(planned.raster), planned.parts);
}

void measure(const py::dict& keywords, const fs::path& job, std::uint64_t share, std::uint64_t shares,
             const py::object& progress) {
    const Io::RasterRequest request = requestOf(keywords);
    doWatched(progress,
              [&](const Io::RunProgress& report) { Io::measureShare(request, job, share, shares, report); });
}

bool make(const fs::path& job, std::uint64_t part, const py::object& progress) {
    Io::PartOutcome outcome{};
    doWatched(progress, [&](const Io::RunProgress& report) { outcome = Io::makePart(job, part, report); });
    return outcome == Io::PartOutcome::Made;
}

py::dict join(const fs::path& job, bool keepsJob, const py::object& progress) {
    Io::RasterReport made;
    doWatched(progress,
              [&](const Io::RunProgress& report) { made = Io::joinParts(job, {keepsJob}, report); });
    return reportOf(made);
}

const char* nameOf(Io::PartStatus::State state) {
    switch (state) {
    case Io::PartStatus::State::Done:
        return "done";
    case Io::PartStatus::State::Failed:
        return "failed";
    default:
        return "missing";
    }
}

py::list statusOf(const fs::path& job) {
    std::vector<Io::PartStatus> all;
    doWatched(py::none(), [&](const Io::RunProgress&) { all = Io::statusOfParts(job); });
    py::list parts;
    for (const Io::PartStatus& part : all)
        parts.append(py::dict("state"_a = nameOf(part.state), "failure"_a = part.failure,
                              "seconds"_a = part.seconds, "points"_a = part.points));
    return parts;
}

} // namespace

void addParts(py::module_& module) {
    module.def("plan_parts", &plan, "keywords"_a, "job"_a, "parts"_a, "progress"_a);
    module.def("measure_share", &measure, "keywords"_a, "job"_a, "share"_a, "shares"_a, "progress"_a);
    module.def("make_part", &make, "job"_a, "part"_a, "progress"_a);
    module.def("join_parts", &join, "job"_a, "keep"_a, "progress"_a);
    module.def("part_count", &Io::partCount, "job"_a, py::call_guard<py::gil_scoped_release>());
    module.def("status_of_parts", &statusOf, "job"_a);
}

} // namespace Tilewright::Python
