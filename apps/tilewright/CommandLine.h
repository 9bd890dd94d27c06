/// CommandLine: what the commands share of reading words and showing help.
///
/// Options are called as the tools of GDAL call them where these have a word: after its first long name,
/// which takes two dashes, every further one is shown with a single dash. All of them are read with either.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace Tilewright::App {

using Words = std::vector<std::string>;

/// An option with a value of `count` words, which `take` gets as they stand. `label` shows them in the help:
/// FILE and FOLDER stand for themselves, A|B for one of a few words. What `take` throws ends the program.
CLI::Option* addOption(CLI::App& command, const std::string& names, const std::string& label, int count,
                       const std::string& description, std::function<void(const Words&)> take);
/// Its words all together, however often it is given; one word each.
CLI::Option* addRepeatable(CLI::App& command, const std::string& names, const std::string& label,
                           const std::string& description, Words& words);
/// The words that belong to no option.
CLI::Option* addPositionals(CLI::App& command, const std::string& name, const std::string& label,
                            const std::string& description, Words& words);

/// The label of an option that takes one number or two. The second word is its if it is a number: no file is
/// meant that is not called so.
extern const std::string oneOrTwoNumbers;

/// The labels of the options whose value is a band. Further bands may follow the first one.
extern const std::string bandLabel;
extern const std::string requestLabel;

/// Words that CLI11 reads as they are meant here: -name as --name, and --name=value in two words. The first
/// is that after the name of the program. Throws CLI::ParseError for an option or a command that there is
/// not, with the one that may be meant.
Words plainWords(const CLI::App& app, Words words);

/// The names of an option, as the help shows them: "--cell", "-tr".
Words spellings(const CLI::Option& option);
/// The words that a label A|B stands for; none for another label.
Words choicesOf(const std::string& label);
std::vector<const CLI::App*> commandsOf(const CLI::App& app);
/// Null if there is none of that name.
const CLI::App* findCommand(const CLI::App& app, const std::string& name);
/// Throws CLI::ParseError if there is none, with those there are.
const CLI::App& requireCommand(const CLI::App& app, const std::string& name);
/// Those that are not hidden, positionals last.
std::vector<const CLI::Option*> optionsOf(const CLI::App& command);

/// Shows help within 80 columns.
class HelpFormatter : public CLI::FormatterBase {
public:
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
};

/// The numbers of words that are to be some, else CLI::ValidationError.
std::vector<double> readNumbers(const std::string& option, const Words& words);
std::uint64_t readCount(const std::string& option, const std::string& word, std::uint64_t least,
                        std::uint64_t greatest);

} // namespace Tilewright::App
