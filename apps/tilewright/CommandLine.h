/// CommandLine: how all commands read words and show help.
///
/// Options that the GDAL tools have too also go by the GDAL name. The first long name of an option is shown
/// with two dashes and every further one with one. All are read with either.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <CLI/App.hpp>

namespace Tilewright::App {

using Words = std::vector<std::string>;

/// An option with a value of `count` words, which `take` gets unchanged. `label` represents them in the help:
/// FILE and FOLDER mean a path, A|B one of a few words. What `take` throws ends the program.
CLI::Option* addOption(CLI::App& command, const std::string& names, const std::string& label, int count,
                       const std::string& description, std::function<void(const Words&)> take);
/// An option that may be repeated, with one word each time; `words` receives all of them.
CLI::Option* addRepeatable(CLI::App& command, const std::string& names, const std::string& label,
                           const std::string& description, Words& words);
/// The words that belong to no option.
CLI::Option* addPositionals(CLI::App& command, const std::string& name, const std::string& label,
                            const std::string& description, Words& words);

/// The label of an option that takes one number or two. The second word belongs to it if it is a number, even
/// if a file has that name.
extern const std::string oneOrTwoNumbers;
/// A number, and perhaps a word for the way to fill holes.
extern const std::string numberAndMethod;

/// The labels of the options whose value is a band. More bands may follow the first one.
extern const std::string bandLabel;
extern const std::string requestLabel;

/// Rewrites words so that CLI11 reads them as this program means them: -name becomes --name, and --name=value
/// two words. `words` starts after the name of the program. Throws CLI::ParseError for an unknown option or
/// command, with a suggestion.
Words plainWords(const CLI::App& app, Words words);

/// The names of an option as the help shows them: "--cell", "-tr".
Words spellings(const CLI::Option& option);
/// The words in a label A|B; none for other labels.
Words choicesOf(const std::string& label);
std::vector<const CLI::App*> commandsOf(const CLI::App& app);
/// Null if there is none of that name.
const CLI::App* findCommand(const CLI::App& app, const std::string& name);
/// Throws CLI::ParseError if there is none, with the known names.
const CLI::App& requireCommand(const CLI::App& app, const std::string& name);
/// The options that are not hidden, positionals last.
std::vector<const CLI::Option*> optionsOf(const CLI::App& command);

/// Shows help within 80 columns.
class HelpFormatter : public CLI::FormatterBase {
public:
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
};

/// Reads words as finite numbers. Throws CLI::ValidationError.
std::vector<double> readNumbers(const std::string& option, const Words& words);
std::uint64_t readCount(const std::string& option, const std::string& word, std::uint64_t least,
                        std::uint64_t greatest);

} // namespace Tilewright::App
