// The terms of a `hosts` entry once more, told in the plainest way: what the fuzz target compares
// policy.h with.
#pragma once

#include "lib/fwall/access/policy.h"
#include "lib/fwall/table/policy_table.h"

#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <utility>

inline constexpr policy_option options[] = {
    {"-none", POLICY_ARG_NONE, "deny-kind a 'b c'"},
    {"-one", POLICY_ARG_ONE, "Permit-timeout"},
    {"-list", POLICY_ARG_LIST, "PERMIT-destination x"},
    {"-rest", POLICY_ARG_REST, nullptr},
    {"-odd", 9, "absorb-odd lost"},
    {},
};
inline constexpr std::pair<const char *, const char *> made_of_option[] = {
    // in front of the line's own
    {"2 kind", "[a][b c]"}, {"1 timeout", ""},    {"1 destination", "[x]"},
    {"0 rest", ""},         {"0 absorb-odd", ""},
};

inline std::string shown(const cfgrec *list)
{
    std::string text;
    for (; list != nullptr; list = list->next) {
        text += std::to_string(list->lineno) + ": " + std::to_string(list->flags) + ' ';
        text += list->keyword;
        for (int i = 0; i < list->argc; ++i)
            ((text += '[') += list->argv[i]) += ']';
        text += '\n';
    }
    return text;
}

using word_list = std::span<char *const>; // the words of a line that are left

inline bool begins(word_list words, char c)
{
    return !words.empty() && words.front()[0] == c;
}

// Takes from `words` what an option of a kind takes, as the record shows it; `fixed` is in front.
inline std::string arguments(int kind, std::string fixed, word_list &words)
{
    if (kind == POLICY_ARG_NONE)
        return fixed;
    if (kind > POLICY_ARG_REST || words.empty())
        return "";
    const bool is_list = kind == POLICY_ARG_LIST && begins(words, '{');
    if (is_list)
        words = words.subspan(1);
    bool more = !is_list || !begins(words, '}');
    while (more && !words.empty()) {
        ((fixed += '[') += words.front()) += ']';
        words = words.subspan(1);
        more = kind == POLICY_ARG_REST || (is_list && !begins(words, '}'));
    }
    if (is_list && !words.empty())
        words = words.subspan(1);
    return fixed;
}

// What the options of a line make and what its policies add; false if a policy is not there.
inline bool terms_of(const cfgrec &hosts, std::string &made, std::string &added)
{
    word_list words(hosts.argv, static_cast<std::size_t>(hosts.argc));
    while (!words.empty() && !begins(words, '-'))
        words = words.subspan(1);
    while (!words.empty()) {
        const std::string_view word = words.front();
        words = words.subspan(1);
        if (word == "-policy") {
            cfgrec *list = words.empty() ? nullptr : cfg_find(words.front());
            if (list == nullptr)
                return false;
            words = words.subspan(1);
            added += shown(list);
            cfg_free(list);
        }
        for (std::size_t i = 0; i < std::size(made_of_option); ++i) {
            if (word != options[i].name)
                continue;
            const auto [head, fixed] = made_of_option[i];
            made += std::to_string(hosts.lineno) + ": " + head;
            made += arguments(options[i].kind, fixed, words) + '\n';
            break;
        }
    }
    return true;
}
