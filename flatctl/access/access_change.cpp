#include "flatctl/access/access_change.h"

#include <algorithm>

using namespace flatlink;

namespace
{

std::vector<std::string> lines_of(std::string_view text)
{
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        lines.emplace_back(line);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    return lines;
}

// The line with one more item in front of its others.
std::string with_item(const std::string &line, const std::string &item)
{
    const std::size_t colon = line.find(':');
    const std::size_t keyword = line.find_first_not_of(" \t", colon + 1);
    const std::size_t end = line.find_first_of(" \t", keyword);
    if (colon == std::string::npos || end == std::string::npos)
        return line;
    return line.substr(0, end) + " " + item + line.substr(end);
}

// The name that the lines of the terms bear: that of the policy which a `hosts` line names, or the
// proxy's.
std::string name_of_terms(const std::vector<std::string> &lines, const access_question_asked &asked,
                          const access_verdict &verdict)
{
    constexpr std::string_view OPTION = " -policy ";
    for (const access_step &step : verdict.steps) {
        if (!step.is_decision || !step.keyword.ends_with("hosts"))
            continue;
        const std::string &line = lines[static_cast<std::size_t>(step.line - 1)];
        const std::size_t at = line.find(OPTION);
        if (at == std::string::npos)
            break;
        const std::string rest = line.substr(at + OPTION.size());
        return "policy-" + rest.substr(0, rest.find_first_of(" \t"));
    }
    return asked.proxy;
}

struct stage_words {
    std::string_view keyword; // without its prefix
    std::string item;
};

stage_words words_of(const access_question_asked &asked, access_stage stage)
{
    if (stage == access_stage::DESTINATION)
        return {"destination", asked.host};
    if (stage == access_stage::PORT)
        return {"ports", std::to_string(asked.port)};
    return {"hosts", format_address(asked.client_be)};
}

// The number that a line of the changed table has in the table as it is; 0 for one that was put in.
std::int32_t line_before(std::int32_t line, const std::vector<table_change> &changes)
{
    std::vector<std::int32_t> places;
    for (const table_change &change : changes)
        if (change.is_new)
            places.push_back(change.line);
    std::ranges::sort(places);
    std::int32_t put_in = 0;
    for (const std::int32_t place : places) {
        if (place + put_in == line)
            return 0;
        put_in += place + put_in < line ? 1 : 0;
    }
    return line - put_in;
}

// The `hosts` line that decides about the client; 0 for none.
std::int32_t hosts_line(const access_verdict &verdict)
{
    for (const access_step &step : verdict.steps)
        if (step.is_decision && step.keyword.ends_with("hosts"))
            return step.line;
    return 0;
}

// The changes worth a try for the stage that refuses, the smallest first, with the numbers of the
// table as it is.
std::vector<table_change> proposals(std::string_view table, const access_question_asked &asked,
                                    const access_verdict &verdict,
                                    const std::vector<table_change> &changes)
{
    const std::vector<std::string> lines = lines_of(changed_table(table, changes));
    const stage_words words = words_of(asked, verdict.stage);
    const bool takes_marks =
        verdict.stage == access_stage::DESTINATION || verdict.stage == access_stage::PORT;
    std::vector<table_change> all;
    // Nothing overrules a block, and an item more does not change the terms of a line.
    if (verdict.line > 0 && verdict.steps.back().keyword == "afw-dest")
        return {{line_before(verdict.line, changes), false,
                 "# " + lines[static_cast<std::size_t>(verdict.line - 1)]}};
    for (const access_step &step : verdict.steps) {
        const bool denies = step.keyword.starts_with("deny-");
        if (!step.keyword.ends_with(words.keyword) || step.line < 1 || (denies && !takes_marks) ||
            verdict.stage == access_stage::TERMS ||
            std::ranges::any_of(all, [&](const auto &one) { return one.line == step.line; }))
            continue;
        const std::string &line = lines[static_cast<std::size_t>(step.line - 1)];
        all.push_back({step.line, false, with_item(line, (denies ? "!" : "") + words.item)});
    }
    std::string name = takes_marks ? name_of_terms(lines, asked, verdict) : asked.proxy;
    std::int32_t place = static_cast<std::int32_t>(lines.size()) + 1;
    if (verdict.line > 0) {
        place = verdict.line;
        const std::string &line = lines[static_cast<std::size_t>(place - 1)];
        name = line.substr(0, line.find(':'));
    }
    all.push_back(
        {place, true, name + ": permit-" + std::string(words.keyword) + " " + words.item});
    if (takes_marks) // the options of a hosts line come before all that a line of the proxy says
        all.push_back({hosts_line(verdict), true,
                       asked.proxy + ": permit-hosts " + format_address(asked.client_be)});
    for (table_change &change : all)
        change.line = line_before(change.line, changes);
    std::erase_if(all, [](const table_change &change) { return change.line == 0; });
    return all;
}

// Tries changes after one another, each of which brings the client a stage further, or past the
// entry that decides.
struct change_search {
    std::string_view table;
    const access_question_asked &question;
    int tries_left = 1000; // bounds the time for a long table

    // True when the verdict is turned by `changes`, which the call extends.
    bool go_on(const access_verdict &now, std::vector<table_change> &changes)
    {
        constexpr std::size_t CHANGES_MAX = 8;
        if (now.permitted || changes.size() == CHANGES_MAX)
            return now.permitted;
        for (const table_change &proposal : proposals(table, question, now, changes)) {
            if (tries_left-- <= 0)
                return false;
            changes.push_back(proposal);
            const access_verdict next = run_access(changed_table(table, changes), question);
            const bool is_elsewhere = next.stage == now.stage && next.line != now.line;
            if ((next.permitted || next.stage > now.stage || is_elsewhere) && go_on(next, changes))
                return true;
            changes.pop_back();
        }
        return false;
    }
};

} // namespace

std::string flatlink::changed_table(std::string_view table,
                                    const std::vector<table_change> &changes)
{
    std::string text;
    std::int32_t number = 0;
    const auto put_new = [&](std::int32_t at) {
        for (const table_change &change : changes)
            if (change.is_new && change.line == at)
                text += change.text + "\n";
    };
    for (const std::string &line : lines_of(table)) {
        put_new(++number);
        const auto changed = std::ranges::find_if(changes, [&](const table_change &change) {
            return !change.is_new && change.line == number;
        });
        text += (changed == changes.end() ? line : changed->text) + "\n";
    }
    put_new(number + 1);
    return text;
}

std::vector<table_change> flatlink::changes_that_turn(std::string_view table,
                                                      const access_question_asked &question,
                                                      const access_verdict &verdict)
{
    const auto permits = [&](const std::vector<table_change> &changes) {
        return run_access(changed_table(table, changes), question).permitted;
    };
    if (verdict.permitted) {
        // One line in front of the one that permits the client.
        const std::vector<table_change> changes = {
            {hosts_line(verdict), true,
             question.proxy + ": deny-hosts " + format_address(question.client_be)}};
        return permits(changes) ? std::vector<table_change>() : changes;
    }
    change_search search{table, question};
    std::vector<table_change> changes;
    if (!search.go_on(verdict, changes))
        return {};
    for (std::size_t i = 0; i < changes.size();) { // what is not needed goes
        std::vector<table_change> fewer = changes;
        fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
        if (permits(fewer))
            changes = fewer;
        else
            ++i;
    }
    return changes;
}
