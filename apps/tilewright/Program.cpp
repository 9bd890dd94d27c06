#include <apps/tilewright/Program.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <new>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <apps/tilewright/CommandLine.h>
#include <apps/tilewright/Completion.h>
#include <apps/tilewright/InfoCommand.h>
#include <apps/tilewright/PartsCommands.h>
#include <apps/tilewright/Progress.h>
#include <apps/tilewright/RasterArguments.h>
#include <apps/tilewright/RasterSummary.h>
#include <io/runs/RasterRun.h>
#include <io/system/Errors.h>
#include <io/system/NumberText.h>

namespace Tilewright::App {

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

constexpr auto firstSteps = R"(Examples:
  tilewright info scan.las
  tilewright raster scan.las heights.tif --cell 0.5
  tilewright help raster)";

/// Whether the program was started without a standard output.
bool isOutputClosed = false;

/// Connects closed standard streams to /dev/null. Otherwise the next file to be opened would get the number
/// of such a stream, and with it what is written to the stream.
void openStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(stream, F_GETFD) < 0) {
            isOutputClosed = isOutputClosed || stream == STDOUT_FILENO;
            // Gets the lowest free number, which is this one.
            ::open("/dev/null", stream == STDIN_FILENO ? O_RDONLY : O_WRONLY);
        }
}

int fail(const std::string& what, int status) {
    std::cerr << "tilewright: " << Io::printable(what) << std::endl;
    return status;
}

Io::RasterReport rasterWithProgress(const RasterArguments& arguments) {
    ProgressBar bar(arguments.quiet);
    const auto show = [&bar](std::string_view step, std::uint64_t done, std::uint64_t total,
                             std::string_view unit) { return bar.show(step, done, total, unit); };
    return Io::runRaster(arguments.options, show);
}

void runRasterCommand(const RasterArguments& arguments) {
    // Better now than after all the work.
    if (arguments.json && isOutputClosed)
        throw Io::UsageError("the standard output is closed, and --json writes to it");
    const Io::RasterReport report = rasterWithProgress(arguments);
    for (const std::string& note : report.notes)
        std::cerr << "tilewright: note: " << Io::printable(note) << std::endl;
    if (arguments.json)
        printJson(std::cout, report);
    else if (!arguments.quiet)
        printSummary(std::cout, report);
    if (std::cout.flush() && (arguments.quiet || !isOutputClosed))
        return;
    const std::string lost =
        "the files are complete, but the summary can't be written to the standard output";
    if (arguments.json)
        throw Io::OutputError(lost);
    // People find the results in the files, and a failure would suggest that these are missing.
    std::cerr << "tilewright: note: " << lost << std::endl;
    std::cout.clear();
}

void addHelpCommand(CLI::App& app) {
    const auto words = std::make_shared<Words>();
    CLI::App& command = *app.add_subcommand("help", "Show how to use a command");
    std::string names = "help";
    for (const CLI::App* other : commandsOf(app))
        if (other != &command)
            names += "|" + other->get_name();
    addPositionals(command, "command", names, "The command (default: the program as a whole)", *words);
    command.footer("Examples:\n  tilewright help raster");
    command.callback([&app, words] {
        if (words->size() > 1)
            throw CLI::ValidationError("help", "takes a single command");
        const CLI::App* const about = words->empty() ? &app : &requireCommand(app, words->front());
        // Not CLI::App::help(), which would describe the command that runs.
        const std::string name = about == &app ? app.get_name() : app.get_name() + " " + about->get_name();
        std::cout << app.get_formatter()->make_help(about, name, CLI::AppFormatMode::Normal);
    });
}

/// Reports wrong usage and where to find help.
int failUsage(const CLI::App& app, const std::string& command, const std::string& what) {
    const std::string name = findCommand(app, command) ? " " + command : "";
    return fail(what + "; see tilewright" + name + " --help", wrongUsage);
}

int run(CLI::App& app, Words words) {
    const std::string command = words.empty() ? "" : words.front();
    try {
        words = plainWords(app, std::move(words));
        std::ranges::reverse(words);
        app.parse(words);
        if (app.get_subcommands().empty())
            throw CLI::RequiredError("A command");
    } catch (const CLI::Success& asked) {
        app.exit(asked);
    } catch (const CLI::ParseError& wrong) {
        return failUsage(app, command, wrong.what());
    } catch (const Io::UsageError& wrong) {
        return fail(wrong.what(), wrongUsage);
    } catch (const std::bad_alloc&) {
        return fail("not enough memory", failed);
    } catch (const std::exception& failure) {
        return fail(failure.what(), failed);
    }
    if (isOutputClosed && !app.got_subcommand("raster"))
        return fail("the standard output is closed", failed);
    return std::cout.flush() ? 0 : fail("the standard output can't be written", failed);
}

} // namespace

int runProgram(int argc, char** argv) {
    openStandardStreams();
    catchInterruptions();
    CLI::App app("Turns point clouds into regular rasters.", "tilewright");
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_help_flag("-h,--help", "Show this help");
    app.set_version_flag("--version", "tilewright " TILEWRIGHT_VERSION, "Show the version");
    app.require_subcommand(0, 1);
    app.footer(firstSteps);
    addRasterCommand(app, std::cout, runRasterCommand);
    addPartsCommands(app, std::cout);
    addInfoCommand(app, std::cout);
    addCompletionCommand(app, std::cout);
    addHelpCommand(app);
    return run(app, Words(argv + std::min(argc, 1), argv + argc));
}

} // namespace Tilewright::App
