// completion SHELL: the script that completes verbs, options and their words, made of the tables.
#include "flatctl/common/text_write.h"
#include "flatctl/options.h"
#include "flatctl/verbs.h"

#include <functional>

using namespace flatlink;

namespace
{

constexpr const char *BASH_END = R"(    esac
    if [ -z "$words" ] && [ "$COMP_CWORD" = 1 ]; then
        words=$verbs
    elif [ -z "$words" ] && [[ $cur == -* ]]; then
        words=$options
    fi
    if [ -n "$words" ]; then
        COMPREPLY=($(compgen -W "$words" -- "$cur"))
    else
        COMPREPLY=($(compgen -f -- "$cur"))
    fi
}
complete -o filenames -F _flatctl flatctl
)";

// The first word of a verb's name, which follows the program's name.
std::string_view first_word(const verb_row &verb)
{
    return verb.name.substr(0, verb.name.find(' '));
}

std::string joined(const auto &words)
{
    std::string text;
    for (const auto &word : words)
        text += (text.empty() ? "" : " ") + std::string(word);
    return text;
}

std::vector<std::string_view> first_words()
{
    std::vector<std::string_view> words;
    for (const verb_row &verb : verb_rows())
        words.push_back(first_word(verb));
    return words;
}

void for_each_option(const verb_row &verb, const std::function<void(const option_row &)> &visit)
{
    for (const option_row &option : option_rows())
        if ((option.verbs & verb.bit) != 0)
            visit(option);
}

// The text inside of single quotes.
std::string quoted(std::string_view text)
{
    std::string inside;
    for (const char c : text)
        inside += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return "'" + inside + "'";
}

std::string bash_script()
{
    std::string text = "_flatctl()\n{\n    local cur=${COMP_WORDS[COMP_CWORD]} words= options=\n";
    text += "    local verbs='" + joined(first_words()) + "'\n    case ${COMP_WORDS[1]} in\n";
    for (const verb_row &verb : verb_rows()) {
        std::vector<std::string_view> names;
        for_each_option(verb, [&](const option_row &option) { names.push_back(option.name); });
        text += "    " + std::string(first_word(verb)) + ") options='" + joined(names) + "' ;;\n";
    }
    text += "    esac\n    case ${COMP_WORDS[COMP_CWORD-1]} in\n";
    for (const option_row &option : option_rows())
        if (!option.choices.empty())
            text +=
                "    " + std::string(option.name) + ") words='" + joined(option.choices) + "' ;;\n";
    return text + BASH_END;
}

std::string zsh_script()
{
    std::string text = "#compdef flatctl\nif (( CURRENT == 2 )); then\n    compadd " +
                       joined(first_words()) + "\n    return\nfi\ncase $words[2] in\n";
    for (const verb_row &verb : verb_rows()) {
        text += std::string(first_word(verb)) + ")\n    _arguments";
        for_each_option(verb, [&](const option_row &option) {
            std::string row = std::string(option.name) + "[" + std::string(option.help) + "]";
            if (!option.argument.empty())
                row += ":argument:" +
                       (option.choices.empty() ? "_files" : "(" + joined(option.choices) + ")");
            text += " \\\n        " + quoted(row);
        });
        text += " \\\n        '*:file:_files'\n    ;;\n";
    }
    return text + "esac\n";
}

std::string fish_script()
{
    std::string text;
    for (const verb_row &verb : verb_rows()) {
        const std::string word(first_word(verb));
        text += "complete -c flatctl -n __fish_use_subcommand -f -a " + word + " -d " +
                quoted(verb.summary) + "\n";
        for_each_option(verb, [&](const option_row &option) {
            const bool is_long = option.name.starts_with("--");
            text += "complete -c flatctl -n '__fish_seen_subcommand_from " + word + "' " +
                    (is_long ? "-l " : "-s ") + std::string(option.name.substr(is_long ? 2 : 1));
            if (!option.argument.empty())
                text += option.choices.empty() ? " -r" : " -x -a '" + joined(option.choices) + "'";
            text += option.help.empty() ? "\n" : " -d " + quoted(option.help) + "\n";
        });
    }
    return text;
}

} // namespace

int flatlink::run_completion(const request &asked)
{
    static constexpr struct {
        std::string_view shell;
        std::string (*script)();
    } SCRIPTS[] = {{"bash", bash_script}, {"zsh", zsh_script}, {"fish", fish_script}};
    for (const auto &row : SCRIPTS) {
        if (row.shell != asked.operands[0])
            continue;
        put(row.script());
        return STATUS_FINE;
    }
    tell("completion knows bash, zsh and fish, not '" + shown_line(asked.operands[0]) + "'");
    return STATUS_USAGE;
}
