#include "flatctl/options.h"

#include "flatctl/common/text_write.h"
#include "flatctl/forms/forms.h"
#include "flatctl/verbs.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <optional>

using namespace flatlink;

namespace
{

constexpr std::string_view colors[] = {"auto", "always", "never"};
constexpr std::string_view kinds[] = {"auto", "database", "table", "flat"};
constexpr std::string_view formats[] = {"text", "json", "jsonl", "sarif"};

constexpr std::size_t MANY = 10000; // more than a command line holds

constexpr verb_row verbs[] = {
    {"check", VERB_CHECK, "FILE...", 1, MANY, "tell what is wrong with a database or a table",
     run_check,
     "Tells the kind of each file and all that a conversion, or a proxy, would drop or take in "
     "another way than it may be meant, with line and column, what follows and how to mend it. "
     "Nothing is written. Findings that are equal but for their place are told once."},
    {"preview", VERB_PREVIEW, "DB", 1, 1, "print what flatlink would write, and touch nothing",
     run_preview,
     "Prints the flat data byte for byte, and on a terminal without its secrets. No host name and "
     "no route is asked about unless an option says so, and both can decide about links: what was "
     "asked is named on the standard error stream, with the answer if there was one."},
    {"convert", VERB_CONVERT, "DB", 1, 1, "write a database in another notation, layout or form",
     run_convert,
     "What the form does not hold is found by reading the result back, listed, and refused unless "
     "--lossy accepts it. A file is replaced as a whole, by a new one of its name, with its owner "
     "and mode; --in-place leaves its old content in DB.YYYYMMDD-HHMMSS~, which its owner alone "
     "can read."},
    {"undo", VERB_UNDO, "DB", 1, 1, "put back what convert --in-place replaced", run_undo,
     "The newest copy beside DB is put back, and what it replaces is kept in DB.undone~. Another "
     "undo goes one step further back."},
    {"explain link", VERB_EXPLAIN_LINK, "N|NAME DB", 2, 2,
     "tell which rule, objects and lines a link comes from", run_explain_link,
     "Derives as a conversion does, and prints for one link of the output, by its number or its "
     "name, the rule, the two sides, the line that each field comes from, and the equal links that "
     "are left out for it."},
    {"explain line", VERB_EXPLAIN_LINE, "N|KEY DB", 2, 2,
     "tell what becomes of a line of a database", run_explain_line,
     "Derives as a conversion does, and prints for one line, by its number or its key, which lines "
     "of the output come from it, or why none does."},
    {"explain access", VERB_EXPLAIN_ACCESS, "TABLE", 1, 1,
     "tell why a proxy lets a client through, or does not", run_explain_access,
     "Runs the checks of a proxy for one client, and prints each item that is compared, the entry "
     "that decides, and the smallest change of the table that turns the verdict, which is tried "
     "before it is told. The proxy is assumed to ask for the destination of --dest."},
    {"help", VERB_HELP, "[VERB|CODE]", 0, 2, "explain a verb, or a finding", run_help},
    {"completion", VERB_COMPLETION, "bash|zsh|fish", 1, 1,
     "print the script that completes command lines", run_completion},
    {"manual", VERB_MANUAL, "[VERB]", 0, 2, "print a manual page, for man -l -", run_manual},
};

constexpr unsigned EXPLAINS_DATABASE = VERB_EXPLAIN_LINK | VERB_EXPLAIN_LINE;
constexpr unsigned READS_DATABASE = VERB_CHECK | VERB_PREVIEW | VERB_CONVERT | EXPLAINS_DATABASE;
constexpr unsigned ASKS_NAMES = READS_DATABASE | VERB_EXPLAIN_ACCESS;

// "a, b or c".
std::string in_words(std::span<const std::string_view> choices)
{
    std::string text(choices.front());
    for (const std::string_view choice : choices.subspan(1))
        text += (choice == choices.back() ? " or " : ", ") + std::string(choice);
    return text;
}

const option_row options[] = {
    {"--proxy", "NAME", VERB_CHECK | VERB_EXPLAIN_ACCESS, "the proxy's name in the table",
     &request::proxy},
    {"--client", "ADDRESS[=NAME]", VERB_EXPLAIN_ACCESS, "who connects", &request::client},
    {"--identity", "NAME", VERB_EXPLAIN_ACCESS,
     "who the client is to the firewall, for patterns that begin with ~", &request::identity},
    {"--dest", "HOST:PORT", VERB_EXPLAIN_ACCESS, "where the client wants to go", &request::dest},
    {"--options", "FILE", VERB_CHECK | VERB_EXPLAIN_ACCESS,
     "options of the proxy's hosts lines and its keywords, as the installed NAME.options has them",
     &request::options},
    {"--kind", "KIND", VERB_CHECK,
     "what FILE is: auto (told by its content), database, table or flat", &request::kind, kinds},
    {"--only", "CODES", VERB_CHECK, "tell these findings alone: D111,D112", &request::only},
    {"--strict", "", VERB_CHECK, "take warnings for errors", &request::strict},
    {"--to", "FORM", VERB_CONVERT, in_words(form_names), &request::to, form_names},
    {"-o", "FILE", VERB_CONVERT, "write FILE, which is replaced as a whole; - is standard output",
     &request::output},
    {"--in-place", "", VERB_CONVERT, "write over DB, and keep its old content beside it",
     &request::in_place},
    {"--lossy", "", VERB_CONVERT, "write even what the form does not hold whole", &request::lossy},
    {"--verify", "", VERB_CONVERT, "read the result back in a second process, and compare",
     &request::verify},
    {"--against", "FLAT", VERB_PREVIEW, "show what would change in flat data, record by record",
     &request::against},
    {"--ledger", "", VERB_PREVIEW,
     "show what becomes of each line, and where each line of the output comes from",
     &request::ledger},
    {"--names", "FILE", ASKS_NAMES, "take host names from FILE, in the format of /etc/hosts",
     &request::names},
    {"--routes", "FILE", ASKS_NAMES, "take routes from FILE: lines of ADDRESS and own address",
     &request::routes},
    {"--resolve", "", ASKS_NAMES, "ask this host for names and routes; otherwise none is known",
     &request::resolve},
    {"--reveal", "", VERB_PREVIEW | VERB_CONVERT, "show secrets on a terminal", &request::reveal},
    {"--yes", "", VERB_PREVIEW | VERB_CONVERT, "show them, with --reveal, on what is no terminal",
     &request::yes},
    {"--memory", "MIB", READS_DATABASE, "address space for the work on an input",
     &request::memory_mib},
    {"--time-limit", "SECONDS", READS_DATABASE, "processor time for it (600)",
     &request::time_limit_s},
    {"--format", "FORMAT", READS_DATABASE | VERB_EXPLAIN_ACCESS, in_words(formats),
     &request::format, formats},
    {"--color", "WHEN", VERB_ALL, "auto (on a terminal, unless NO_COLOR is set), always or never",
     &request::color, colors},
    {"--quiet", "", VERB_ALL, "say nothing: the exit status is the answer (-q)", &request::quiet},
    {"-q", "", VERB_ALL, "", &request::quiet},
    {"--help", "", VERB_ALL, "show this page (-h)", &request::help},
    {"-h", "", VERB_ALL, "", &request::help},
    {"--version", "", VERB_ALL, "show the version", &request::version},
};

constexpr std::string_view FIRST_LINES =
    "flatlink replaces its argument; flatctl touches no file unless it is told to write one.\n";

constexpr std::string_view LAST_LINES =
    "Exit status: 0 fine, 1 errors found or refused, 2 usage, 3 cannot read or write, 4 internal.\n"
    "A file named - is the standard input.\n";

} // namespace

std::span<const verb_row> flatlink::verb_rows()
{
    return verbs;
}

std::span<const option_row> flatlink::option_rows()
{
    return options;
}

const verb_row *flatlink::find_verb(std::string_view name)
{
    const auto *found = std::ranges::find(verbs, name, &verb_row::name);
    return found == std::end(verbs) ? nullptr : found;
}

// ---- the nearest word

// How many letters must be changed, left out, put in, or swapped with the next.
static std::size_t distance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> before_last, last(b.size() + 1), now(b.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        now[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            now[j] = std::min({last[j] + 1, now[j - 1] + 1, last[j - 1] + (a[i - 1] != b[j - 1])});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                now[j] = std::min(now[j], before_last[j - 2] + 1);
        }
        before_last = last;
        std::swap(last, now);
    }
    return last[b.size()];
}

std::string_view flatlink::nearest_word(std::string_view word,
                                        std::span<const std::string_view> words)
{
    constexpr std::size_t LONGEST = 40; // a longer word is no misspelt verb
    std::string_view nearest;
    std::size_t least = std::max<std::size_t>(2, word.size() / 3) + 1;
    for (const std::string_view known : words) {
        const std::size_t steps = word.size() > LONGEST ? least : distance(word, known);
        if (steps < least) {
            least = steps;
            nearest = known;
        }
    }
    return nearest;
}

template <typename rows>
static std::string not_known(std::string_view what, std::string_view word, const rows &known)
{
    std::vector<std::string_view> names;
    for (const auto &row : known)
        names.push_back(row.name);
    std::string text = std::string(what) + " '" + shown_line(word) + "'";
    if (const std::string_view nearest = nearest_word(word, names); !nearest.empty())
        text += "; did you mean " + std::string(nearest) + "?";
    return text;
}

// ---- parser

static std::string store_number(const option_row &option, std::string_view value, request &asked)
{
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(value.begin(), value.end(), number);
    if (error != std::errc() || end != value.end() || number < 1)
        return std::string(option.name) + " needs a number from 1 on, not '" + shown_line(value) +
               "'";
    asked.*std::get<std::int32_t request::*>(option.target) = number;
    return {};
}

static std::string store_argument(const option_row &option, std::string_view value, request &asked)
{
    if (std::holds_alternative<std::int32_t request::*>(option.target))
        return store_number(option, value, asked);
    const auto &choices = option.choices;
    if (!choices.empty() && std::ranges::find(choices, value) == choices.end()) {
        std::string text = std::string(option.name) + " takes";
        for (const std::string_view choice : choices)
            text += (choice == choices.front() ? " " : ", ") + std::string(choice);
        return text + ", not '" + shown_line(value) + "'";
    }
    asked.*std::get<std::string request::*>(option.target) = value;
    return {};
}

// Takes the option at `words[at]`, and its argument from there or from the next word, to which `at`
// then moves.
static std::string take_option(std::span<const std::string> words, std::size_t &at, request &asked)
{
    const std::string_view word = words[at];
    const std::size_t equals = word.starts_with("--") ? word.find('=') : std::string_view::npos;
    const std::string_view name = word.substr(0, equals);
    const auto *option = std::ranges::find(options, name, &option_row::name);
    if (option == std::end(options))
        return not_known("no option", name, options);
    if (asked.verb != nullptr && (option->verbs & asked.verb->bit) == 0)
        return std::string(asked.verb->name) + " takes no " + std::string(name);
    if (const auto *flag = std::get_if<bool request::*>(&option->target)) {
        asked.*(*flag) = true;
        return equals == std::string_view::npos ? "" : std::string(name) + " takes no argument";
    }
    if (equals != std::string_view::npos)
        return store_argument(*option, word.substr(equals + 1), asked);
    if (at + 1 == words.size())
        return std::string(name) + " needs an argument: " + std::string(option->argument);
    return store_argument(*option, words[++at], asked);
}

static bool is_option(std::string_view word)
{
    return word.size() > 1 && word[0] == '-';
}

// What to say of words that begin with no verb.
static std::string no_verb(std::span<const std::string> words)
{
    std::string seconds;
    for (const verb_row &row : verbs)
        if (std::string_view rest = row.name; take_prefix(rest, words[0] + " "))
            seconds.append(seconds.empty() ? "" : ", ").append(rest);
    if (seconds.empty())
        return not_known("no verb", words[0], verbs);
    if (words.size() > 1 && !is_option(words[1]))
        return not_known("no verb", words[0] + " " + words[1], verbs);
    return words[0] + " needs a second word: " + seconds;
}

// Finds the verb among the words in front, of which it takes one or two off.
static std::string take_verb(std::span<const std::string> &words, request &asked)
{
    const auto two_words =
        words.size() > 1 ? find_verb(words[0] + " " + words[1]) : static_cast<verb_row *>(nullptr);
    asked.verb = two_words != nullptr ? two_words : find_verb(words[0]);
    if (asked.verb == nullptr)
        return no_verb(words);
    words = words.subspan(two_words != nullptr ? 2 : 1);
    return {};
}

std::string flatlink::parse_options(std::span<const std::string> words, request &asked)
{
    if (!words.empty() && !is_option(words[0]))
        if (std::string error = take_verb(words, asked); !error.empty())
            return error;
    bool options_ended = false;
    for (std::size_t at = 0; at < words.size(); ++at) {
        if (!options_ended && words[at] == "--") {
            options_ended = true;
        } else if (options_ended || !is_option(words[at])) {
            asked.operands.push_back(words[at]);
        } else if (std::string error = take_option(words, at, asked); !error.empty()) {
            return error;
        }
    }
    if (asked.help || asked.version)
        return {};
    if (asked.verb == nullptr)
        return "a verb is missing";
    if (asked.operands.size() < asked.verb->least_operands)
        return std::string(asked.verb->name) + " needs " + std::string(asked.verb->operands);
    if (asked.operands.size() > asked.verb->most_operands)
        return std::string(asked.verb->name) + " takes no '" +
               shown_line(asked.operands[asked.verb->most_operands]) + "'";
    return {};
}

// ---- help

static std::string padded(std::string_view word, std::size_t width)
{
    std::string text(word);
    text.resize(std::max(width, text.size() + 1), ' ');
    return text;
}

std::string flatlink::overview_text()
{
    std::string text = "usage: flatctl VERB [OPTION...] OPERAND...\n\n";
    text += FIRST_LINES;
    text += "\n";
    for (const verb_row &row : verbs)
        text += "  " + padded(std::string(row.name) + " " + std::string(row.operands), 30) +
                std::string(row.summary) + "\n";
    text += "\nflatctl help VERB shows the options of a verb, flatctl help CODE what a finding "
            "means.\n";
    text += LAST_LINES;
    return text;
}

std::string flatlink::verb_help_text(const verb_row &verb)
{
    std::string text = "usage: flatctl " + std::string(verb.name) + " [OPTION...] " +
                       std::string(verb.operands) + "\n\n";
    text += std::string(verb.summary) + ".\n";
    text += FIRST_LINES;
    text += "\n";
    for (const option_row &row : options)
        if ((row.verbs & verb.bit) != 0 && !row.help.empty())
            text += "  " + padded(std::string(row.name) + " " + std::string(row.argument), 22) +
                    std::string(row.help) + "\n";
    text += "\n";
    text += LAST_LINES;
    return text;
}
