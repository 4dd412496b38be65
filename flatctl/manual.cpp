// manual: the page flatctl(1), and one for each verb that has details, in mdoc, made of the tables
// of verbs, options and findings.
#include "flatctl/check/findings.h"
#include "flatctl/common/text_write.h"
#include "flatctl/options.h"
#include "flatctl/verbs.h"

#include <algorithm>
#include <set>
#include <string>

using namespace flatlink;

namespace
{

constexpr const char *MADE = R"(.\" Made by `flatctl manual`.
.Dd November 23, 2026
)";

constexpr const char *FIRST_SENTENCE = R"(.Xr flatlink 1
replaces its argument;
.Nm flatctl
touches no file unless it is told to write one.
)";

constexpr const char *BEGIN = R"(.Dt FLATCTL 1
.Os
.Sh NAME
.Nm flatctl
.Nd look at a firewall configuration before it is converted
.Sh SYNOPSIS
.Nm
.Ar verb
.Op Ar option ...
.Op Ar operand ...
.Sh DESCRIPTION
.Xr flatlink 1
replaces its argument;
.Nm
touches no file unless it is told to write one.
It asks the code that converts and decides, and prints what that does.
Each input is worked on in a process of its own with bounded memory and time,
without a file system and, unless
.Fl Fl resolve
is given, without a network.
.Pp
The result goes to the standard output and all else to the standard error
stream.
A file named
.Ql -
is the standard input.
What is printed of an input cannot drive a terminal, and secrets are shown as
.Ql <secret 7f3a> :
equal ones look equal within one run.
)";

constexpr const char *STATUS_TEXT = R"(.Sh EXIT STATUS
.Bl -tag -width 1n -compact
.It 0
fine, permitted, the same
.It 1
findings of level error, denied, different, refused
.It 2
the command line makes no sense
.It 3
something cannot be read or written
.It 4
.Nm flatctl
contradicts itself
.El
)";

constexpr const char *END = R"(.Xr flatlink 1 ,
.Xr flatlink-database 5 ,
.Xr netperm-table 5
)";

// A text on lines of its own, of the length that the format asks for; what would be a request to
// the formatter at the start of a line is none.
std::string line_of(std::string_view text)
{
    constexpr std::size_t LONGEST = 78;
    std::string lines, line;
    const auto end_line = [&] {
        lines += (line.starts_with('.') || line.starts_with('\'') ? "\\&" : "") + line + "\n";
        line.clear();
    };
    while (!text.empty()) {
        std::string word;
        for (const char c : text.substr(0, text.find(' ')))
            word += c == '\\' ? std::string("\\e") : std::string(1, c);
        text.remove_prefix(std::min(text.find(' '), text.size() - 1) + 1);
        if (!line.empty() && line.size() + 1 + word.size() > LONGEST)
            end_line();
        line += (line.empty() ? "" : " ") + word;
        if (word.ends_with('.') && !text.empty()) // the format wants each sentence on a line
            end_line();
    }
    end_line();
    return lines;
}

// The options of a verb: its own, or those of all verbs.
std::string option_items(const verb_row &verb, bool is_own)
{
    std::string items;
    for (const option_row &option : option_rows()) {
        if ((option.verbs & verb.bit) == 0 || option.help.empty() ||
            (option.verbs != VERB_ALL) != is_own)
            continue;
        items += ".It Fl " + std::string(option.name.substr(1));
        items += option.argument.empty() ? "\n" : " Ar " + std::string(option.argument) + "\n";
        items += line_of(option.help);
    }
    return items.empty() ? items : ".Bl -tag -width Ds -compact\n" + items + ".El\n";
}

std::string verb_section(const verb_row &verb)
{
    std::string text = ".Ss flatctl " + std::string(verb.name);
    text += (verb.operands.empty() ? "" : " ") + std::string(verb.operands) + "\n";
    return text + line_of(std::string(verb.summary) + ".") + option_items(verb, true);
}

// The name of a verb's page: flatctl-explain-access.
std::string page_name(const verb_row &verb)
{
    std::string name = "flatctl-" + std::string(verb.name);
    std::ranges::replace(name, ' ', '-');
    return name;
}

std::string findings_section()
{
    std::string text = ".Sh FINDINGS\n.Bl -tag -width D000 -compact\n";
    for (const finding_row &row : finding_rows())
        text += ".It " + std::string(row.code) + "\n" +
                line_of(std::string(level_name(row.level)) + ": " + std::string(row.text) + "; " +
                        std::string(row.follows) + ".");
    return text + ".El\n";
}

std::string verb_page(const verb_row &verb)
{
    const std::string name = page_name(verb);
    std::string title = name;
    std::ranges::transform(title, title.begin(),
                           [](char c) { return c >= 'a' && c <= 'z' ? char(c - 'a' + 'A') : c; });
    const std::string own = option_items(verb, true);
    std::string text = MADE;
    text += ".Dt " + title + " 1\n.Os\n.Sh NAME\n.Nm " + name + "\n.Nd " +
            std::string(verb.summary) + "\n.Sh SYNOPSIS\n.Nm flatctl " + std::string(verb.name) +
            "\n.Op Ar option ...\n.Ar " + std::string(verb.operands) + "\n.Sh DESCRIPTION\n" +
            line_of(verb.details) + ".Pp\n" + FIRST_SENTENCE + ".Sh OPTIONS\n" + own +
            (own.empty() ? "" : ".Pp\n") + "Of all verbs:\n" + option_items(verb, false);
    if (verb.bit == VERB_CHECK)
        text += findings_section();
    return text + STATUS_TEXT + ".Sh SEE ALSO\n.Xr flatctl 1 ,\n.Xr flatlink 1\n";
}

std::string whole_page()
{
    std::string text = MADE;
    text += BEGIN;
    for (const verb_row &verb : verb_rows())
        text += verb_section(verb);
    text += ".Ss Options of all verbs\n" + option_items(verb_rows().front(), false);
    text += findings_section();
    text += STATUS_TEXT;
    text += ".Sh SEE ALSO\n";
    std::set<std::string> pages;
    for (const verb_row &verb : verb_rows())
        if (!verb.details.empty())
            pages.insert(page_name(verb));
    for (const std::string &page : pages)
        text += ".Xr " + page + " 1 ,\n";
    return text + END;
}

} // namespace

// manual [VERB]
int flatlink::run_manual(const request &asked)
{
    if (asked.operands.empty()) {
        put(whole_page());
        return STATUS_FINE;
    }
    std::string name = asked.operands[0];
    if (asked.operands.size() > 1)
        name += " " + asked.operands[1];
    const verb_row *verb = find_verb(name);
    if (verb == nullptr || verb->details.empty()) {
        tell("no page of '" + shown_line(name) + "'; the verbs are in flatctl(1)");
        return STATUS_USAGE;
    }
    put(verb_page(*verb));
    return STATUS_FINE;
}
