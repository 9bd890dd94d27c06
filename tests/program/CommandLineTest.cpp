// How command lines are read, and what the program says of itself: help, completion, man page.
#include <tests/program/ProgramTest.h>

#include <algorithm>
#include <regex>

#include <CLI/CLI.hpp>

#include <apps/tilewright/CommandLine.h>
#include <apps/tilewright/RasterArguments.h>
#include <io/runs/BandWords.h>

namespace Tilewright::App::Test {
namespace {

RasterArguments parse(Words words) {
    CLI::App app("", "tilewright");
    RasterArguments parsed;
    addRasterCommand(app, std::cout, [&](const RasterArguments& arguments) { parsed = arguments; });
    words.insert(words.begin(), "raster");
    words = plainWords(app, words);
    std::ranges::reverse(words);
    app.parse(words);
    return parsed;
}

TEST(CommandLine, BothSpellingsAreReadAndValuesMayLookLikeOptions) {
    for (const Words& words :
         {Words{"a.las", "-tr",       "0.5",   "2",        "-te", "-10.5",  "-3",      "-.5",
                "7",     "-ot",       "byte",  "-co",      "A=1", "[b,c]",  "-co=B=2", "-overwrite",
                "-q",    "-a_nodata", "-9999", "-scratch", "-tr", "out.tif"},
          Words{"--cell",    "0.5",         "2",           "--bounds",       "-10.5",     "-3",
                "-.5",       "7",           "--type=BYTE", "--option",       "A=1",       "--option",
                "B=2",       "--overwrite", "--quiet",     "--nodata=-9999", "--scratch", "-tr",
                "--select=", "--",          "a.las",       "[b,c]",          "out.tif"}}) {
        const auto [options, quiet, json] = parse(words);
        EXPECT_EQ((Words{"a.las", "[b,c]"}), options.inputs);
        EXPECT_EQ("out.tif", options.output);
        EXPECT_EQ((std::array{0.5, 2.0}), options.cell);
        EXPECT_EQ((std::array{-10.5, -3.0, -0.5, 7.0}), options.bounds);
        EXPECT_EQ("Byte", options.pixelType);
        EXPECT_EQ((Words{"A=1", "B=2"}), options.creationOptions);
        EXPECT_EQ(-9999.0, options.nodata);
        EXPECT_EQ("-tr", options.scratch);
        EXPECT_TRUE(options.overwrite);
        EXPECT_TRUE(quiet);
        EXPECT_FALSE(json);
    }
    // The word after the cell size is a file unless it is a number.
    const Io::RasterRequest options = parse({"-tr", "0.1", "2.las", "out", "--memory", "1.5g"}).options;
    EXPECT_EQ((std::array{0.1, 0.1}), options.cell);
    EXPECT_EQ((Words{"2.las"}), options.inputs);
    EXPECT_EQ(std::uint64_t{3} << 29, options.memory);
    EXPECT_EQ((Words{"-a.las"}), parse({"--", "-a.las", "-b"}).options.inputs);
}

TEST(CommandLine, ValuesThatMakeNoSenseAreRefused) {
    const std::vector<std::pair<Words, std::string>> cases = {
        {{"--cell", "0"}, "above 0"},
        {{"--cell", "1,5"}, "'1,5' is not a number"},
        {{"--cell", "1e999"}, "1e999"},
        {{"--origin", "1", "x"}, "'x'"},
        {{"-te", "0", "0", "0", "1"}, "west"},
        {{"-te", "1", "2", "3"}, "is not a number"},
        {{"--memory", "63M"}, "too small"},
        {{"--memory", "64X"}, "64X"},
        {{"--threads", "0"}, "--threads"},
        {{"--sparse-limit", "4294967296"}, "--sparse-limit"},
        {{"--overlap", "-1"}, "--overlap"},
        {{"--fragments", "0x3"}, "0x3"},
        {{"--fragments", "99999999999999999999x1"}, "99999999999999999999x1"},
        {{"--fill", "-1"}, "--fill"},
        {{"-ot", "Int16"}, "Byte|UInt16"},
        {{"-co", "TILED"}, "KEY=VALUE"},
        {{"--nodata", ""}, "''"},
        {{"--clip", ""}, "--clip: is empty"},
        {{"--ground-classes", ""}, "--ground-classes: is empty"},
        {{"-overwrit"}, "no option -overwrit; the nearest is --overwrite"},
        {{"--cel=2"}, "no option --cel; the nearest is --cell"},
        {{"-qz"}, "no option -qz"},
        {{"Height:max"}, "'Height:max' looks like a band"},
    };
    for (auto [words, message] : cases) {
        SCOPED_TRACE(testing::PrintToString(words));
        words.insert(words.end(), {"in.las", "out.tif"});
        EXPECT_THAT(Io::Test::messageOf<CLI::ParseError>([&, words = words] { parse(words); }),
                    testing::HasSubstr(message));
    }
    EXPECT_THROW(parse({"folder"}), CLI::ParseError) << "an output, and no input";
}

TEST(CommandLine, SeveralBandsMayFollowOneOption) {
    const Io::RasterRequest options =
        parse({"--band", "Height:Max", "roof=Z:Min", "Height:P.5", "count", "a.las", "--request", "Alpha",
               "Red:Mean:All", "b", "c.tif", "--band=rgb"})
            .options;
    EXPECT_EQ((Words{"Height:Max", "roof=Z:Min", "Height:P.5", "count", "rgb"}), options.bands);
    EXPECT_EQ((Words{"Alpha", "Red:Mean:All"}), options.requests);
    EXPECT_EQ((Words{"a.las", "b"}), options.inputs);
    EXPECT_EQ((Words{"./count"}), parse({"./count", "c.tif"}).options.inputs);
}

class SelfDescription : public ProgramTest {
protected:
    std::string outputOf(const Arguments& arguments) const {
        const Outcome outcome = run(arguments);
        EXPECT_EQ((std::pair(0, std::string())), (std::pair(outcome.status, outcome.err)));
        return outcome.out;
    }

    /// The options that the help of a command lists, such as "--cell" and "-tr".
    static Names optionsIn(const std::string& help) {
        Names options;
        const std::regex line("\n  (-[^ ]+)( -[^ ]+)*"), option("-[-\\w]+");
        for (std::sregex_iterator l(help.begin(), help.end(), line), end; l != end; ++l) {
            const std::string words = l->str();
            for (std::sregex_iterator o(words.begin(), words.end(), option); o != end; ++o)
                options.insert(o->str());
        }
        return options;
    }

    static bool hasWord(const std::string& text, const std::string& word) {
        return std::regex_search(text, std::regex("(^|[^-\\w])" + word + "($|[^-\\w])"));
    }
};

TEST_F(SelfDescription, HelpCompletionAndManPageKnowEveryOption) {
    std::string manPage = textOf(TILEWRIGHT_MAN_PAGE);
    std::erase(manPage, '\\');
    const std::string bash = outputOf({"completion", "bash"}), zsh = outputOf({"completion", "zsh"}),
                      fish = outputOf({"completion", "fish"});
    Names all;
    for (const std::string command : {"raster", "info", "completion", "help"}) {
        const std::string help = outputOf({command, "--help"});
        EXPECT_EQ(help, outputOf({"help", command}));
        EXPECT_NE(std::string::npos, help.find("\nExamples:\n")) << command;
        EXPECT_TRUE(hasWord(outputOf({"--help"}), command));
        all.merge(optionsIn(help));
    }
    all.merge(optionsIn(outputOf({"help"})));
    EXPECT_LT(30U, all.size());
    for (const std::string& option : all) {
        const std::string kind = option.starts_with("--") ? "-l " : option.size() == 2 ? "-s " : "-o ";
        EXPECT_TRUE(hasWord(manPage, option)) << option;
        EXPECT_TRUE(hasWord(bash, option)) << option;
        EXPECT_TRUE(hasWord(zsh, option)) << option;
        EXPECT_TRUE(hasWord(fish, kind + option.substr(option.find_first_not_of('-')))) << option;
    }
}

TEST_F(SelfDescription, BashCompletesCommandsOptionsAndTheirValues) {
    std::ofstream(Folder / "try.sh") << outputOf({"completion", "bash"}) << R"(
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
_tilewright
echo "${COMPREPLY[@]}"
)";
    const auto complete = [&](const std::string& words) {
        EXPECT_EQ(
            0, std::system(
                   ("cd '" + Folder.string() + "' && bash try.sh tilewright " + words + " >reply").c_str()));
        return textOf(Folder / "reply");
    };
    EXPECT_EQ("--sparse-limit\n", complete("raster in.las --sp"));
    EXPECT_EQ("UInt16 UInt32 UInt64\n", complete("raster -ot U"));
    EXPECT_EQ("UInt16 UInt32 UInt64\n", complete("raster --type = U"));
    EXPECT_EQ("GTiff\n", complete("raster --format GTi"));
    // The shell takes words apart at colons, and wants the last part alone.
    EXPECT_EQ("Mean Median MedianHigh MedianLow\n", complete("raster --band name = Height : Me"));
    EXPECT_EQ("AtHighest AtLowest\n", complete("raster --band Height : A")) << "none that needs quotes";
    EXPECT_EQ("bash zsh fish\n", complete("completion ''"));
    EXPECT_EQ("\n", complete("raster --scratch ''")) << "files are left to the shell";
}

TEST_F(SelfDescription, TheTableOfBandsIsTheSameEverywhere) {
    std::string document = textOf(TILEWRIGHT_PROGRAM_GUIDE);
    std::erase(document, '`');
    const std::string help = outputOf({"raster", "--band", "help"});
    const std::string onDemand = "or HeightAboveGround with --ground or --ground-classes";
    EXPECT_NE(std::string::npos, document.find(onDemand));
    EXPECT_NE(std::string::npos, std::regex_replace(help, std::regex("\n"), " ").find(onDemand)) << help;
    for (const Io::BandRow& row : Io::bandTable()) {
        EXPECT_NE(std::string::npos, document.find("| " + row.band + " | " + row.meaning + " | " +
                                                   row.pixels + " | " + row.formula + " |"))
            << row.band;
        EXPECT_NE(std::string::npos, help.find("\n" + row.band + " ")) << row.band;
    }
}

TEST_F(SelfDescription, StandardOutputThatIsFullIsAFailure) {
    EXPECT_EQ("tilewright " TILEWRIGHT_VERSION "\n", outputOf({"--version"}));
    const std::string program = std::getenv("TILEWRIGHT_PROGRAM");
    for (const std::string arguments : {"--version", "--help", "completion fish"})
        EXPECT_EQ(256, std::system(("'" + program + "' " + arguments + " >/dev/full 2>/dev/null").c_str()))
            << arguments;
}

} // namespace
} // namespace Tilewright::App::Test
