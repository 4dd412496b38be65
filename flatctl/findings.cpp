#include "flatctl/findings.h"

#include <algorithm>
#include <map>
#include <tuple>

using namespace flatlink;

using enum finding_level;

static constexpr finding_row rows[] = {
    {"D101", ERROR, "no line is a key of a firewall configuration",
     "a conversion leaves the default settings, and nothing of the input", "check the path",
     "root:x:0:0:root:/root:/bin/sh"},
    {"D102", ERROR, "it is flat VPN data already",
     "a conversion of it loses every link, policy and pool", "convert the database it came from",
     "vlink_1_lname=~plant"},
    {"D103", ERROR, "it is a device or a pipe", "flatlink refuses to put a file in its place",
     "give the path of a file", ""},
    {"D110", WARNING, "a line without '=' runs on into the next",
     "both lines together are one key, which no program asks for",
     "add the '=' or take the line out", "ip_hostname\nip_domainname=plant.invalid"},
    {"D111", WARNING, "a key is given twice", "the later value counts, and this one is lost",
     "take one of the lines out", "ip_hostname=gate\nip_hostname=tower"},
    {"D112", ERROR, "a blank stands beside the '='",
     "key or value hold the blank, and are not found or not understood", "write KEY=VALUE",
     "ip_hostname =gate"},
    {"D113", ERROR, "a part of a key is too long",
     "it is cut, and the rest of it is taken for the value", "use a shorter name", ""},
    {"D114", WARNING, "a key begins with '#'",
     "nothing is a comment in this notation: the line is a key that no program asks for",
     "take the line out", "#ip_hostname=gate\nip_domainname=plant.invalid"},
    {"D115", WARNING, "the input begins with a byte order mark",
     "the mark is a part of the first key, which is not found then", "save it without the mark",
     "\xEF\xBB\xBFip_hostname=gate\nip_domainname=plant.invalid"},
    {"D116", NOTE, "an empty value does not replace the one before",
     "the earlier value of the key counts", "take one of the lines out",
     "ip_hostname=gate\nip_hostname="},
    {"D117", WARNING, "an end tag or a text belongs to no element", "it is ignored",
     "compare it with its start tag", "<ip><hostname>gate</hostname></net></ip>"},
    {"D118", WARNING, "the input ends inside of a key, tag or comment", "all of that is lost",
     "complete it", "ip_domainname=plant.invalid\nip_hostname"},
    {"D210", ERROR, "objects lead back to themselves, or nest too deep",
     "what is inside is left out of the links", "take one of the references out", ""},
    {"D404", WARNING, "the reader of a record refuses a line", "the field keeps its default",
     "see what the message names", ""},
    {"D501", ERROR, "it implies more than a conversion may make",
     "flatlink leaves the database as it is", "see what the message names", ""},
    {"D502", ERROR, "the work on it ended early", "the findings are not complete",
     "report it together with the input", ""},
    {"D601", WARNING, "others can read its secrets, or write it",
     "the keys of links are known, or chosen, by more than its owner", "chmod 600", ""},
    {"D602", NOTE, "the result depends on a name or a route of the host",
     "sizes and order of links can differ where the answer does",
     "give the answer with --names or --routes, or ask with --resolve", ""},
    {"T101", ERROR, "a line is no entry: it has no colon, or no keyword after it", "it is dropped",
     "write NAME: KEYWORD ARGUMENT...", "relay: timeout 5\nrelay timeout 5"},
    {"T102", ERROR, "a line has more than 1022 characters", "it is dropped",
     "make two lines of it: most keywords may repeat", ""},
    {"T103", ERROR, "the last line has no newline", "it is dropped", "end it with a newline", ""},
    {"T104", ERROR, "a keyword has no argument", "the line is dropped", "give one, or take it out",
     "relay: timeout"},
    {"T105", WARNING, "a line has more than 255 arguments", "those beyond it are dropped",
     "make two lines of it", ""},
    {"T106", WARNING, "a byte of an argument is no printable ASCII character", "it is dropped",
     "write the text without it", "relay: ruleName caf\xC3\xA9"},
    {"T107", WARNING, "a quote, or a backslash, is the last of its line",
     "the quote ends with the line; the backslash is dropped", "close the quote",
     "relay: ruleName \"night shift"},
    {"T108", ERROR, "an afw-dest entry has no port", "it blocks every destination",
     "write afw-dest PATTERN PORT ID", "relay: afw-dest 10.1.1.1"},
    {"T109", ERROR, "a line names no proxy", "it is for none",
     "write a name before the colon, or *", "relay: timeout 5\n: timeout 5"},
    {"T110", WARNING, "a setting is given before", "the first line of it counts, and not this one",
     "take one of the lines out, or move the one for all proxies after those for one",
     "relay: timeout 5\nrelay: timeout 6"},
    {"T111", ERROR, "the value of a setting is not of its kind",
     "a number is read as far as it goes, logging goes to the log daemon, a bind or a message "
     "fails",
     "see what netperm-table(5) says of the keyword", "relay: timeout soon"},
    {"T112", ERROR, "a pattern of addresses is not read as it is written",
     "numbers are kept modulo 256, and what is no octet is ignored", "write a.b.c.d, or a.b:mask",
     "relay: hosts 10.1.1.300 -policy p\npolicy-p: destination *"},
    {"T113", ERROR, "an entry has no pattern", "it fits nothing", "write one, before any option",
     "relay: hosts -policy p\npolicy-p: destination *"},
    {"T114", NOTE, "a hosts line does not begin its options with -policy",
     "the start of the proxy reports it; the line counts, without a policy",
     "name a policy, or leave it", "relay: hosts 10.*"},
    {"T115", WARNING, "the name of a policy has more than 50 characters", "the rest does not count",
     "use a shorter name",
     "relay: hosts * -policy a-name-of-more-than-fifty-characters-is-too-long-for-it\n"
     "policy-a-name-of-more-than-fifty-characters-is-too-long-f: destination *"},
    {"T116", ERROR, "the proxy has no such option",
     "the word is skipped, with a report for each client", "see the manual page of the proxy", ""},
    {"T117", ERROR, "an option lacks its argument, or its list an end",
     "it gives an entry without arguments, or takes all that is left of the line",
     "write -OPTION ARGUMENT or -OPTION { ARGUMENTS }", ""},
    {"T118", WARNING, "a brace stands in the same word as a text", "the text is dropped",
     "put a blank between them", ""},
    {"T119", ERROR, "a pattern fits nothing",
     "a mask must have the bits of its address, and a range an end after its begin",
     "see netperm-table(5)", "relay: hosts 10.1.1.9-10.1.1.1 -policy p\npolicy-p: destination *"},
    {"T201", ERROR, "no client reaches a hosts line",
     "earlier lines take every client that it names", "move it before them, or take it out",
     "relay: hosts 10.* -policy p\nrelay: hosts 10.1.1.1 -policy p\npolicy-p: destination *"},
    {"T202", ERROR, "a policy is not what a hosts line takes it for",
     "the proxy does not start, or refuses the client", "see what the message names",
     "relay: hosts * -policy open"},
    {"T203", ERROR, "a proxy would not start, or would end when it comes to an entry",
     "no client is served, or none that this entry is asked about", "see what the message names",
     "relay: timeout 5 6"},
    {"T204", WARNING, "no hosts line names a policy", "its entries are never asked",
     "name it with -policy, or take it out", "policy-p: destination *"},
    {"T205", NOTE, "a bound of the check is met", "the rest of the table is not checked",
     "check with --proxy, or a part of it", ""},
};

std::span<const finding_row> flatlink::finding_rows()
{
    return rows;
}

const finding_row *flatlink::find_code(std::string_view code)
{
    const auto *found = std::ranges::find(rows, code, &finding_row::code);
    return found == std::end(rows) ? nullptr : found;
}

std::string_view flatlink::level_name(finding_level level)
{
    constexpr std::string_view level_names[] = {"error", "warning", "note"};
    return level_names[static_cast<int>(level)];
}

std::string flatlink::finding_help_text(const finding_row &row)
{
    std::string text = std::string(row.code) + ": " + std::string(level_name(row.level)) + "\n\n";
    text.append("  What it is    ").append(row.text).append(".\n");
    text.append("  What follows  ").append(row.follows).append(".\n");
    text.append("  How to mend   ").append(row.mend).append(".\n");
    if (row.smallest.empty())
        return text;
    text += "\nSmallest input:\n\n    ";
    for (const char c : row.smallest)
        text.append(1, c).append(c == '\n' ? "    " : "");
    return text + "\n";
}

void flatlink::fold_findings(std::vector<finding> &findings)
{
    using sameness = std::tuple<const finding_row *, std::string, std::vector<std::int32_t>>;
    std::map<sameness, std::size_t> firsts;
    std::vector<finding> kept;
    for (finding &one : findings) {
        const auto [first, is_new] =
            firsts.try_emplace({one.row, one.detail, one.related}, kept.size());
        if (is_new) {
            kept.push_back(std::move(one));
            continue;
        }
        finding &before = kept[first->second];
        before.count += one.count;
        if (one.line != 0)
            before.also.push_back(one.line);
    }
    findings = std::move(kept);
}
