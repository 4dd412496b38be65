// Trees that nobody thought up, as flat text. The same seed gives the same text.
#pragma once

#include <random>
#include <string>

// Lines with random keys of up to five parts, some with prefixes and escapes, and values.
inline std::string random_flat_text(unsigned seed)
{
    static constexpr const char *PARTS[] = {
        "a",     "b",      "1",        "2",        "10",           "all%5Finterfaces",
        "rule3", "deny-x", "permit-x", "onlyon-1", "permit-relay", "absorb-deny-y",
    };
    static constexpr const char *VALUES[] = {"", "on", "10.0.0.1", "two words", "a=b", "x_y<z>"};
    std::mt19937 random(seed);
    const auto pick = [&random](auto &table) { return table[random() % std::size(table)]; };
    std::string text;
    for (auto lines = random() % 60; lines > 0; --lines) {
        for (auto parts = random() % 4; parts > 0; --parts)
            text += std::string(pick(PARTS)) + "_";
        text += std::string(pick(PARTS)) + "=" + pick(VALUES) + "\n";
    }
    return text;
}
