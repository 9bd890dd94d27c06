#include <apps/tilewright/CommandLine.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>

#include <io/system/Suggestion.h>

#include <io/runs/BandWords.h>
#include <io/system/NumberText.h>

namespace Tilewright::App {

const std::string oneOrTwoNumbers = "X [Y]";
const std::string numberAndMethod = "N [METHOD]";
const std::string bandLabel = "BAND";
const std::string requestLabel = "REQUEST";

namespace {

constexpr std::size_t lineWidth = 80;
constexpr std::size_t indent = 26;

const CLI::Option* findOption(const CLI::App& command, const std::string& name) {
    for (const CLI::Option* option : command.get_options())
        if (option->check_lname(name))
            return option;
    return nullptr;
}

bool takesWords(const CLI::Option& option) { return option.get_items_expected_max() != 0; }

/// An option that a word names with one dash or two, with the value if the same word holds it. CLI11 handles
/// single letters.
struct NamedOption {
    const CLI::Option* option = nullptr;
    std::string name;
    std::optional<std::string> value;
};

NamedOption readOption(const CLI::App& command, const std::string& word) {
    const std::size_t start = word.starts_with("--") ? 2 : 1;
    if (!word.starts_with('-') || word.size() < start + 2)
        return {};
    const std::size_t equals = word.find('=');
    NamedOption named{nullptr, word.substr(start, equals - start), {}};
    if (equals != std::string::npos)
        named.value = word.substr(equals + 1);
    named.option = findOption(command, named.name);
    return named;
}

/// A word that is not one of the known ones.
class UnknownWord : public CLI::ParseError {
public:
    explicit UnknownWord(const std::string& what)
        : ParseError("UnknownWord", what, CLI::ExitCodes::ExtrasError) {}
};

/// Whether a word is one dash and one or more letters that are flags.
bool isLetters(const CLI::App& command, const std::string& word) {
    return !word.starts_with("--") && std::all_of(word.begin() + 1, word.end(), [&](char letter) {
        return std::ranges::any_of(command.get_options(), [&](const CLI::Option* option) {
            return option->check_sname(std::string(1, letter));
        });
    });
}

/// Throws if a word begins with a dash but is not an option of the command.
void checkOption(const CLI::App& command, const std::string& word) {
    if (word.size() < 2 || word.front() != '-' || isLetters(command, word) || Io::parseDouble(word))
        return;
    Words known;
    for (const CLI::Option* option : optionsOf(command))
        for (const std::string& name : spellings(*option))
            known.push_back(name);
    const std::string name = word.substr(0, word.find('='));
    throw UnknownWord("there is no option " + name + Io::nearestHint(name, known));
}

/// Whether a word that follows the value of an option is another value: a band, not a file.
bool isFurtherValue(const CLI::Option& option, const std::string& word) {
    const std::string& label = option.get_type_name();
    std::error_code ignored;
    return (label == bandLabel || label == requestLabel) && Io::looksLikeBand(word) &&
           !std::filesystem::exists(word, ignored);
}

/// Whether a word that follows the value of an option belongs to it.
bool isSecondWord(const CLI::Option& option, const std::string& word) {
    const std::string& label = option.get_type_name();
    return (label == oneOrTwoNumbers && Io::parseDouble(word)) ||
           (label == numberAndMethod && (word == "idw" || word == "nearest" || word == "tin"));
}

/// Appends text word by word, with a line break and an indent when a line is full.
void wrap(std::ostream& out, const std::string& text, std::size_t column, std::size_t left) {
    std::istringstream words(text);
    bool isFirst = true;
    for (std::string word; words >> word; isFirst = false) {
        if (!isFirst && column + 1 + word.size() > lineWidth) {
            out << '\n' << std::string(left, ' ');
            column = left;
            isFirst = true;
        }
        out << (isFirst ? "" : " ") << word;
        column += word.size() + (isFirst ? 0 : 1);
    }
    out << '\n';
}

void describe(std::ostream& out, const std::string& what, const std::string& description) {
    out << "  " << what;
    std::size_t column = what.size() + 2;
    if (column + 2 > indent) {
        out << '\n';
        column = 0;
    }
    out << std::string(indent - column, ' ');
    wrap(out, description, indent, indent);
}

std::string join(const Words& words, const std::string& separator) {
    std::string text;
    for (const std::string& word : words)
        if (!word.empty())
            text += (text.empty() ? "" : separator) + word;
    return text;
}

} // namespace

CLI::Option* addOption(CLI::App& command, const std::string& names, const std::string& label, int count,
                       const std::string& description, std::function<void(const Words&)> take) {
    return command
        .add_option(
            names,
            [take = std::move(take)](const CLI::results_t& words) {
                take(words);
                return true;
            },
            description)
        ->type_name(label)
        ->type_size(count);
}

CLI::Option* addRepeatable(CLI::App& command, const std::string& names, const std::string& label,
                           const std::string& description, Words& words) {
    return addOption(command, names, label, 1, description, [&words](const Words& all) { words = all; })
        ->take_all();
}

CLI::Option* addPositionals(CLI::App& command, const std::string& name, const std::string& label,
                            const std::string& description, Words& words) {
    // As "extra arguments", CLI11 would split a name in brackets. So this expects any number, and the command
    // checks whether there are enough.
    return addRepeatable(command, name, label, description, words)
        ->expected(CLI::detail::expected_max_vector_size - 1);
}

Words plainWords(const CLI::App& app, Words words) {
    const CLI::App* command = &app;
    Words plain;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "--") {
            plain.insert(plain.end(), words.begin() + static_cast<std::ptrdiff_t>(i), words.end());
            break;
        }
        const NamedOption named = readOption(*command, words[i]);
        if (!named.option) {
            checkOption(*command, words[i]);
            if (command == &app && !words[i].starts_with('-'))
                command = &requireCommand(app, words[i]);
            plain.push_back(words[i]);
            continue;
        }
        if (!takesWords(*named.option)) {
            plain.push_back("--" + named.name + (named.value ? "=" + *named.value : ""));
            continue;
        }
        plain.push_back("--" + named.name);
        if (named.value)
            words[i] = *named.value;
        else if (++i == words.size())
            break;
        if (!named.value && i + 1 < words.size() && isSecondWord(*named.option, words[i + 1])) {
            plain.push_back(words[i] + " " + words[i + 1]);
            ++i;
            continue;
        }
        // Its words remain as they are, whatever they look like.
        plain.push_back(words[i]);
        for (int rest = named.option->get_type_size() - 1; rest > 0 && i + 1 < words.size(); --rest)
            plain.push_back(words[++i]);
        while (i + 1 < words.size() && isFurtherValue(*named.option, words[i + 1]))
            plain.insert(plain.end(), {"--" + named.name, words[++i]});
    }
    return plain;
}

Words spellings(const CLI::Option& option) {
    Words names;
    for (const std::string& name : option.get_lnames())
        names.push_back((names.empty() ? "--" : "-") + name);
    for (const std::string& name : option.get_snames())
        names.push_back("-" + name);
    return names;
}

Words choicesOf(const std::string& label) {
    if (label.find('|') == std::string::npos)
        return {};
    Words choices;
    std::istringstream parts(label);
    for (std::string part; std::getline(parts, part, '|');)
        choices.push_back(part);
    return choices;
}

std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

const CLI::App* findCommand(const CLI::App& app, const std::string& name) {
    for (const CLI::App* command : commandsOf(app))
        if (command->get_name() == name)
            return command;
    return nullptr;
}

const CLI::App& requireCommand(const CLI::App& app, const std::string& name) {
    if (const CLI::App* const found = findCommand(app, name))
        return *found;
    Words known;
    for (const CLI::App* command : commandsOf(app))
        known.push_back(command->get_name());
    std::string hint = Io::nearestHint(name, known);
    if (hint.empty())
        hint = "; the commands are " + join(known, ", ");
    throw UnknownWord("there is no command '" + name + "'" + hint);
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command) {
    std::vector<const CLI::Option*> options =
        command.get_options([](const CLI::Option* option) { return !option->get_group().empty(); });
    std::stable_partition(options.begin(), options.end(),
                          [](const CLI::Option* option) { return !option->get_positional(); });
    return options;
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode) const {
    std::ostringstream out;
    std::string usage = "Usage: " + name + (app->get_parent() ? " [OPTION...]" : " COMMAND [OPTION...]");
    Words groups;
    for (const CLI::Option* option : optionsOf(*app)) {
        if (option->get_positional())
            usage += " " + option->get_type_name();
        else if (std::ranges::find(groups, option->get_group()) == groups.end())
            groups.push_back(option->get_group());
    }
    out << usage << "\n\n";
    wrap(out, app->get_description(), 0, 0);
    if (const auto commands = commandsOf(*app); !commands.empty())
        out << "\nCommands:\n";
    for (const CLI::App* command : commandsOf(*app))
        describe(out, command->get_name(), command->get_description());
    const auto show = [&](const std::string& title, const auto& belongs) {
        out << "\n" << title << ":\n";
        for (const CLI::Option* option : optionsOf(*app))
            if (belongs(*option))
                describe(out, join({join(spellings(*option), ", "), option->get_type_name()}, " "),
                         option->get_description());
    };
    const auto isPositional = [](const CLI::Option& option) { return option.get_positional(); };
    if (std::ranges::any_of(optionsOf(*app),
                            [&](const CLI::Option* option) { return isPositional(*option); }))
        show("Arguments", isPositional);
    for (const std::string& group : groups)
        show(group,
             [&](const CLI::Option& option) { return !isPositional(option) && option.get_group() == group; });
    if (!app->get_footer().empty())
        out << "\n" << app->get_footer() << "\n";
    return out.str();
}

std::vector<double> readNumbers(const std::string& option, const Words& words) {
    std::vector<double> numbers;
    for (const std::string& word : words) {
        const std::optional<double> number = Io::parseDouble(word);
        if (!number || !std::isfinite(*number))
            throw CLI::ValidationError(option, "'" + word + "' is not a number");
        numbers.push_back(*number);
    }
    return numbers;
}

std::uint64_t readCount(const std::string& option, const std::string& word, std::uint64_t least,
                        std::uint64_t greatest) {
    const std::optional<std::uint64_t> count = Io::parseCount(word);
    if (!count || *count < least || *count > greatest)
        throw CLI::ValidationError(option, "expected a whole number from " + std::to_string(least) + " to " +
                                               std::to_string(greatest) + ", not '" + word + "'");
    return *count;
}

} // namespace Tilewright::App
