#include <apps/tilewright/PartsCommands.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>

#include <apps/tilewright/CommandLine.h>
#include <apps/tilewright/Json.h>
#include <apps/tilewright/Progress.h>
#include <apps/tilewright/RasterArguments.h>
#include <apps/tilewright/RasterSummary.h>
#include <io/parts/Parts.h>
#include <io/system/Errors.h>
#include <io/system/NumberText.h>

namespace Tilewright::App {

namespace {

constexpr std::uint64_t mostParts = 1'000'000;

constexpr auto planExamples = R"(Examples:
  A raster in parts, each of which may be made on another machine:
    tilewright plan tiles/ dem.tif --cell 0.5 --job job --parts 200
    tilewright part job 1-200
    tilewright join job)";

constexpr auto partExamples = R"(Examples:
  One part, and some:
    tilewright part job 7
    tilewright part job 8-20
  In an array of tasks, which share all parts:
    sbatch --array=0-99 --wrap "tilewright part job")";

Io::RunProgress progressOn(ProgressBar& bar) {
    return [&bar](std::string_view step, std::uint64_t done, std::uint64_t total, std::string_view unit) {
        return bar.show(step, done, total, unit);
    };
}

void printNotes(const Io::RasterReport& report) {
    for (const std::string& note : report.notes)
        std::cerr << "tilewright: note: " << Io::printable(note) << std::endl;
}

std::string countOf(std::uint64_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

const std::string& onlyJob(const std::string& command, const Words& words) {
    if (words.size() != 1)
        throw CLI::ValidationError(command, "needs the folder of a job");
    return words.front();
}

void addPlan(CLI::App& app, std::ostream& out) {
    struct State {
        std::string job;
        std::uint64_t parts = 0;
    };
    const auto state = std::make_shared<State>();
    const auto arguments = std::make_shared<RasterArguments>();
    CLI::App& command = *app.add_subcommand("plan", "Plan a raster that is made in parts");
    command.footer(planExamples);
    const auto complete = addRasterOptions(command, out, arguments);
    command.option_defaults()->group("Parts");
    addOption(command, "--job", "FOLDER", 1,
              "The folder of the job; what one that is there knows of the files is used again",
              [state](const Words& words) { state->job = words[0]; });
    addOption(command, "--parts", "N", 1, "How many parts to make of it (default: one per 50 million points)",
              [state](const Words& words) { state->parts = readCount("--parts", words[0], 1, mostParts); });
    command.option_defaults()->group("Reports");
    command.add_flag("--json", arguments->json, "Print the summary as JSON");
    command.add_flag("-q,--quiet", arguments->quiet, "Show no progress, and no summary except as JSON");
    command.callback([&out, state, arguments, complete] {
        if (!complete())
            return;
        if (state->job.empty())
            throw CLI::ValidationError("plan", "needs the folder of the job: --job FOLDER");
        ProgressBar bar(arguments->quiet);
        const Io::PartsPlanReport report =
            Io::planParts(arguments->options, state->job, state->parts, progressOn(bar));
        printNotes(report.raster);
        if (arguments->json)
            print(out, {{"job", state->job},
                        {"parts", report.parts},
                        {"points", report.raster.points},
                        {"columns", report.raster.columns},
                        {"rows", report.raster.rows},
                        {"memory", report.raster.memory},
                        {"threads", report.raster.threads}});
        else if (!arguments->quiet)
            out << state->job << ": " << countOf(report.parts, "part") << " of "
                << countOf(report.raster.points, "point") << ", " << report.raster.columns << " x "
                << report.raster.rows << " cells; each part takes about "
                << Io::readableBytes(report.raster.memory) << " and "
                << countOf(report.raster.threads, "thread") << '\n';
    });
}

struct PartRange {
    std::uint64_t first = 1;
    std::uint64_t last = 1;
    std::uint64_t step = 1;
};

PartRange readRange(const std::string& word) {
    // A number may have a sign, which readCount() refuses.
    const std::size_t dash = word.find('-', 1);
    PartRange range;
    range.first = readCount("part", word.substr(0, dash), 1, mostParts);
    range.last =
        dash == std::string::npos ? range.first : readCount("part", word.substr(dash + 1), 1, mostParts);
    if (range.last < range.first)
        throw CLI::ValidationError("part", "the parts " + word + " are none; the smaller number comes first");
    return range;
}

std::optional<std::uint64_t> numberFrom(const char* variable) {
    const char* const text = std::getenv(variable);
    return text ? Io::parseCount(text) : std::nullopt;
}

/// The share of a task in an array, of which there may be fewer than parts.
PartRange shareOfTask(std::uint64_t parts) {
    const auto task = numberFrom("SLURM_ARRAY_TASK_ID");
    if (!task)
        throw CLI::ValidationError("part", "needs the number of a part, such as 7 or 8-20");
    const std::uint64_t tasks = numberFrom("SLURM_ARRAY_TASK_COUNT").value_or(0);
    if (tasks == 0)
        return {*task, *task, 1};
    const std::uint64_t least = numberFrom("SLURM_ARRAY_TASK_MIN").value_or(0);
    const std::uint64_t step = std::max<std::uint64_t>(numberFrom("SLURM_ARRAY_TASK_STEP").value_or(1), 1);
    if (*task < least)
        throw CLI::ValidationError("part", "SLURM_ARRAY_TASK_ID is below SLURM_ARRAY_TASK_MIN");
    return {(*task - least) / step + 1, parts, tasks};
}

void addPart(CLI::App& app, std::ostream& out) {
    struct State {
        Words words;
        bool quiet = false;
    };
    const auto state = std::make_shared<State>();
    CLI::App& command = *app.add_subcommand("part", "Make parts of a planned raster");
    command.footer(partExamples);
    addPositionals(command, "job", "JOB [PART]",
                   "The folder of the job, and a part such as 7, or some such as 8-20 (default: the share of "
                   "this task in an array of Slurm). What is made already is left as it is",
                   state->words);
    command.add_flag("-q,--quiet", state->quiet, "Show no progress and no summary");
    command.callback([&out, state] {
        const Words& words = state->words;
        if (words.empty() || words.size() > 2)
            throw CLI::ValidationError("part", "needs the folder of a job and the number of a part");
        const std::uint64_t count = Io::partCount(words[0]);
        const PartRange range = words.size() == 2 ? readRange(words[1]) : shareOfTask(count);
        for (std::uint64_t part = range.first; part <= range.last; part += range.step) {
            ProgressBar bar(state->quiet);
            const bool isNew = Io::makePart(words[0], part, progressOn(bar)) == Io::PartOutcome::Made;
            if (!state->quiet)
                out << "part " << part << " of " << count << (isNew ? " is made" : " was there already")
                    << std::endl;
        }
    });
}

void addJoin(CLI::App& app, std::ostream& out) {
    struct State {
        Words words;
        Io::JoinOptions options;
        bool asVrt = false;
        bool json = false;
        bool quiet = false;
    };
    const auto state = std::make_shared<State>();
    CLI::App& command = *app.add_subcommand("join", "Put the parts of a raster together");
    command.footer("Examples:\n  tilewright join job\n  tilewright join --vrt job");
    addPositionals(command, "job", "JOB", "The folder of the job, which goes when the raster is complete",
                   state->words);
    command.add_flag("--keep", state->options.keepsJob, "Keep the folder of the job");
    command.add_flag("--overwrite", state->options.overwrite,
                     "Replace outputs that are there, also those that were not when the job was planned");
    command.add_flag("--vrt", state->asVrt,
                     "Leave the pixels in the folder of the job, which stays, and write VRTs of them");
    command.add_flag("--json", state->json, "Print the summary as JSON");
    command.add_flag("-q,--quiet", state->quiet, "Show no progress, and no summary except as JSON");
    command.callback([&out, state] {
        ProgressBar bar(state->quiet);
        const std::string& job = onlyJob("join", state->words);
        const Io::RasterReport report =
            (state->asVrt ? Io::joinPartsAsVrt : Io::joinParts)(job, state->options, progressOn(bar));
        printNotes(report);
        if (state->json)
            printJson(out, report);
        else if (!state->quiet)
            printSummary(out, report);
    });
}

const char* nameOf(Io::PartStatus::State state) {
    return state == Io::PartStatus::State::Done     ? "done"
           : state == Io::PartStatus::State::Failed ? "failed"
                                                    : "missing";
}

struct Progress {
    std::uint64_t done = 0;
    std::uint64_t failed = 0;
    /// To make all missing parts one after the other.
    std::optional<double> secondsLeft;
};

Progress progressOf(const std::vector<Io::PartStatus>& parts) {
    Progress progress;
    double seconds = 0.0;
    for (const Io::PartStatus& part : parts) {
        progress.done += part.state == Io::PartStatus::State::Done;
        progress.failed += part.state == Io::PartStatus::State::Failed;
        seconds += part.seconds;
    }
    if (progress.done != 0)
        progress.secondsLeft =
            seconds / static_cast<double>(progress.done) * static_cast<double>(parts.size() - progress.done);
    return progress;
}

void printStatus(std::ostream& out, const std::vector<Io::PartStatus>& parts) {
    const Progress progress = progressOf(parts);
    out << countOf(parts.size(), "part") << ": " << progress.done << " done, " << progress.failed
        << " failed, " << parts.size() - progress.done - progress.failed << " missing";
    if (progress.secondsLeft && progress.done != parts.size())
        out << "; about " << Io::roundedNumber(*progress.secondsLeft, 3) << " s of work left";
    out << '\n';
    for (std::size_t i = 0; i < parts.size(); ++i)
        if (parts[i].state == Io::PartStatus::State::Failed)
            out << "part " << i + 1 << ": " << Io::printable(parts[i].failure) << '\n';
}

void printStatusJson(std::ostream& out, const std::vector<Io::PartStatus>& parts) {
    const Progress progress = progressOf(parts);
    Json list = Json::array();
    for (const Io::PartStatus& part : parts) {
        Json entry = {{"state", nameOf(part.state)}};
        if (part.state == Io::PartStatus::State::Done) {
            entry["seconds"] = part.seconds;
            entry["points"] = part.points;
        } else if (part.state == Io::PartStatus::State::Failed) {
            entry["failure"] = part.failure;
        }
        list.push_back(std::move(entry));
    }
    print(out, {{"done", progress.done},
                {"failed", progress.failed},
                {"missing", parts.size() - progress.done - progress.failed},
                {"secondsLeft", orNull(progress.secondsLeft)},
                {"parts", std::move(list)}});
}

void addStatus(CLI::App& app, std::ostream& out) {
    struct State {
        Words words;
        bool json = false;
    };
    const auto state = std::make_shared<State>();
    CLI::App& command = *app.add_subcommand("status", "Say which parts of a raster are made");
    command.footer("Examples:\n  tilewright status job");
    addPositionals(command, "job", "JOB", "The folder of the job", state->words);
    command.add_flag("--json", state->json, "Print the state of all parts as JSON");
    command.callback([&out, state] {
        const auto parts = Io::statusOfParts(onlyJob("status", state->words));
        state->json ? printStatusJson(out, parts) : printStatus(out, parts);
    });
}

} // namespace

void addPartsCommands(CLI::App& app, std::ostream& out) {
    addPlan(app, out);
    addPart(app, out);
    addJoin(app, out);
    addStatus(app, out);
}

} // namespace Tilewright::App
