// manual: the page flatctl(1) in mdoc, made of the tables of verbs, options and findings.
#include "flatctl/findings.h"
#include "flatctl/options.h"
#include "flatctl/text_write.h"
#include "flatctl/verbs.h"

#include <algorithm>
#include <string>

using namespace flatlink;

namespace
{

constexpr const char *BEGIN = R"(.\" Made by `flatctl manual`.
.Dd November 23, 2026
.Dt FLATCTL 1
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
.Nm
contradicts itself
.El
)";

constexpr const char *END = R"(.Sh SEE ALSO
.Xr flatlink 1 ,
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
    }
    end_line();
    return lines;
}

std::string verb_section(const verb_row &verb)
{
    std::string text = ".Ss flatctl " + std::string(verb.name);
    text += (verb.operands.empty() ? "" : " ") + std::string(verb.operands) + "\n";
    text += line_of(std::string(verb.summary) + ".");
    std::string items;
    for (const option_row &option : option_rows()) {
        if ((option.verbs & verb.bit) == 0 || option.help.empty() || option.verbs == VERB_ALL)
            continue;
        items += ".It Fl " + std::string(option.name.substr(1));
        items += option.argument.empty() ? "\n" : " Ar " + std::string(option.argument) + "\n";
        items += line_of(option.help);
    }
    return items.empty() ? text : text + ".Bl -tag -width Ds -compact\n" + items + ".El\n";
}

std::string options_of_all()
{
    std::string text = ".Ss Options of all verbs\n.Bl -tag -width Ds -compact\n";
    for (const option_row &option : option_rows())
        if (option.verbs == VERB_ALL && !option.help.empty())
            text += ".It Fl " + std::string(option.name.substr(1)) +
                    (option.argument.empty() ? "" : " Ar " + std::string(option.argument)) + "\n" +
                    line_of(option.help);
    return text + ".El\n";
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

} // namespace

int flatlink::run_manual(const request & /*asked*/)
{
    std::string text = BEGIN;
    for (const verb_row &verb : verb_rows())
        text += verb_section(verb);
    put(text + options_of_all() + findings_section() + STATUS_TEXT + END);
    return STATUS_FINE;
}
