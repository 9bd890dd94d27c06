#include <apps/tilewright/Completion.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include <io/rasters/RasterFormat.h>

#include <apps/tilewright/CommandLine.h>
#include <io/runs/BandWords.h>

namespace Tilewright::App {

namespace {

/// The first clause alone, because the lists of a shell are narrow.
std::string brief(const std::string& description) {
    std::size_t end = description.size();
    for (const char* const clause : {"; ", ": ", " (", ", for example"})
        end = std::min(end, description.find(clause));
    return description.substr(0, end);
}

std::string joined(const Words& words, const std::string& separator) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : separator) + word;
    return text;
}

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char c : text)
        result += c == '\'' ? "'\\''" : std::string(1, c);
    return result + "'";
}

bool isFlag(const CLI::Option& option) { return option.get_items_expected_max() == 0; }

/// Bands that any scan has; the fields of a file are not known here. Parentheses would need quotes, each
/// shell its own.
Words commonBands() {
    Words bands = Io::bandWords();
    for (const char* const field : {"Height", "Intensity", "Classification", "ReturnNumber"})
        for (const std::string& filter : Io::filterWordsFor(field))
            if (filter.find('(') == std::string::npos)
                bands.push_back(std::string(field) + ":" + filter);
    return bands;
}

/// The values of an option, as far as they are known.
Words valuesOf(const CLI::Option& option) {
    if (option.get_type_name() == bandLabel)
        return commonBands();
    return option.check_lname("format") ? Io::rasterFormats() : choicesOf(option.get_type_name());
}

Words namesOf(const std::vector<const CLI::App*>& commands) {
    Words names;
    for (const CLI::App* command : commands)
        names.push_back(command->get_name());
    return names;
}

constexpr auto bashHead = R"(# Completion of tilewright for bash.
_tilewright() {
    local cur=${COMP_WORDS[COMP_CWORD]} whole=${COMP_WORDS[COMP_CWORD]} i=$COMP_CWORD command= word
    # Bash splits words at colons and equals signs.
    while ((i > 1)) && [[ ${COMP_WORDS[i]} == : || ${COMP_WORDS[i - 1]} == : ]]; do
        ((i -= 1))
        whole=${COMP_WORDS[i]}$whole
    done
    local prev=${COMP_WORDS[i - 1]} head=${whole%"$cur"}
    [[ $cur == : ]] && head=$whole
    if [[ $prev == = && $i -gt 2 ]]; then
        prev=${COMP_WORDS[i - 2]}
        [[ $prev == -* || $i -lt 4 ]] || prev=${COMP_WORDS[i - 3]}
    fi
    for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
        if [[ $word != -* ]]; then
            command=$word
            break
        fi
    done
    # Without an answer here, bash completes file names.
    COMPREPLY=()
    local words=
    case $command:$prev in
)";

void printBash(std::ostream& out, const CLI::App& app) {
    out << bashHead;
    Words options;
    for (const CLI::App* command : commandsOf(app)) {
        Words names;
        for (const CLI::Option* option : optionsOf(*command)) {
            const Words spelt = spellings(*option);
            names.insert(names.end(), spelt.begin(), spelt.end());
            const Words choices = valuesOf(*option);
            if (choices.empty())
                continue;
            Words cases;
            for (const std::string& name : spelt)
                cases.push_back(command->get_name() + ":" + name);
            if (option->get_positional())
                cases = {command->get_name() + ":" + command->get_name()};
            out << "        " << joined(cases, " | ") << ") words=" << quoted(joined(choices, " "))
                << " ;;\n";
        }
        options.push_back("                " + command->get_name() + ") words=" + quoted(joined(names, " ")) +
                          " ;;\n");
    }
    Words top;
    for (const CLI::Option* option : optionsOf(app))
        for (const std::string& name : spellings(*option))
            top.push_back(name);
    out << "        *)\n            if [[ -z $command && $cur != -* ]]; then\n                words="
        << quoted(joined(namesOf(commandsOf(app)), " "))
        << "\n            elif [[ $cur == -* ]]; then\n                case $command in\n                '') "
           "words="
        << quoted(joined(top, " ")) << " ;;\n"
        << joined(options, "") << R"(                esac
            fi
            ;;
    esac
    if [[ -n $words ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$whole")
        COMPREPLY=("${COMPREPLY[@]#"$head"}")
    fi
}
complete -o default -F _tilewright tilewright
)";
}

/// With a backslash before the special characters of _arguments.
std::string zshText(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (std::string_view("[]:\\").find(c) != std::string_view::npos)
            result += '\\';
        result += c;
    }
    return result;
}

std::string zshAction(const CLI::Option& option) {
    if (const Words values = valuesOf(option); !values.empty())
        return "(" + zshText(joined(values, " ")) + ")";
    const std::string label = option.get_type_name();
    if (label.find("FILE") != std::string::npos || label.find("INPUT") != std::string::npos)
        return "_files";
    return label == "FOLDER" ? "_files -/" : "";
}

/// An option in the language of _arguments.
std::string zshSpec(const CLI::Option& option) {
    const std::string label = option.get_type_name();
    const std::string value = ":" + zshText(label) + ":" + zshAction(option);
    if (option.get_positional())
        return quoted((choicesOf(label).empty() ? "*" : "1") + value);
    std::string values;
    for (int i = 0; !isFlag(option) && i < option.get_type_size(); ++i)
        values += value;
    const Words names = spellings(option);
    const bool isRepeated = option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
    std::string entry = isRepeated ? "'*'" : names.size() > 1 ? quoted("(" + joined(names, " ") + ")") : "";
    entry += names.size() > 1 ? "{" + joined(names, ",") + "}" : names.front();
    return entry + quoted("[" + zshText(brief(option.get_description())) + "]" + values);
}

void printZsh(std::ostream& out, const CLI::App& app) {
    out << "#compdef tilewright\n# Completion of tilewright for zsh.\n_tilewright() {\n"
        << "    local command=$words[2]\n    if ((CURRENT == 2)); then\n        local -a commands=(\n";
    for (const CLI::App* command : commandsOf(app))
        out << "            " << quoted(command->get_name() + ":" + brief(command->get_description()))
            << "\n";
    out << "        )\n        _describe command commands\n        _arguments";
    for (const CLI::Option* option : optionsOf(app))
        out << " \\\n            " << zshSpec(*option);
    out << "\n        return\n    fi\n    shift words\n    ((CURRENT--))\n    case $command in\n";
    for (const CLI::App* command : commandsOf(app)) {
        out << "        " << command->get_name() << ")\n            _arguments";
        for (const CLI::Option* option : optionsOf(*command))
            out << " \\\n                " << zshSpec(*option);
        out << "\n            ;;\n";
    }
    out << "    esac\n}\n"
        << "if [[ $funcstack[1] == _tilewright ]]; then\n    _tilewright \"$@\"\nelse\n"
        << "    compdef _tilewright tilewright\nfi\n";
}

std::string fishValues(const CLI::Option& option) {
    const std::string label = option.get_type_name();
    if (const Words values = valuesOf(option); !values.empty())
        return " -x -a " + quoted(joined(values, " "));
    if (label == "FILE")
        return " -r -F";
    return label == "FOLDER" ? " -x -a '(__fish_complete_directories)'" : " -x";
}

void printFish(std::ostream& out, const CLI::App& app) {
    const auto printOptions = [&](const CLI::App& command, const std::string& condition) {
        for (const CLI::Option* option : optionsOf(command)) {
            std::string line = "complete -c tilewright -n " + condition;
            for (const std::string& name : spellings(*option))
                line += name.starts_with("--") ? " -l " + name.substr(2)
                                               : (name.size() == 2 ? " -s " : " -o ") + name.substr(1);
            if (option->get_positional() && choicesOf(option->get_type_name()).empty())
                continue;
            if (!isFlag(*option))
                line +=
                    option->get_positional() ? " -f" + fishValues(*option).substr(3) : fishValues(*option);
            out << line << " -d " << quoted(brief(option->get_description())) << "\n";
        }
    };
    out << "# Completion of tilewright for fish.\n";
    printOptions(app, "__fish_use_subcommand");
    for (const CLI::App* command : commandsOf(app)) {
        out << "complete -c tilewright -n __fish_use_subcommand -f -a " << command->get_name() << " -d "
            << quoted(brief(command->get_description())) << "\n";
        printOptions(*command, quoted("__fish_seen_subcommand_from " + command->get_name()));
    }
}

} // namespace

void addCompletionCommand(CLI::App& app, std::ostream& out) {
    const auto words = std::make_shared<Words>();
    CLI::App& command =
        *app.add_subcommand("completion", "Print a script with which a shell completes command lines");
    const std::string shells = "bash|zsh|fish";
    addPositionals(command, "shell", shells, "The shell", *words);
    command.footer(R"(Examples:
  For this session of bash:
    source <(tilewright completion bash)
  For all sessions of fish:
    tilewright completion fish > ~/.config/fish/completions/tilewright.fish
  For all sessions of zsh, in a folder that $fpath names:
    tilewright completion zsh > ~/.zfunc/_tilewright)");
    command.callback([&app, &out, words, shells] {
        const std::string shell = words->size() == 1 ? words->front() : "";
        if (shell == "bash")
            printBash(out, app);
        else if (shell == "zsh")
            printZsh(out, app);
        else if (shell == "fish")
            printFish(out, app);
        else
            throw CLI::ValidationError("completion", "expected the name of a shell: " + shells);
    });
}

} // namespace Tilewright::App
