// Lists of entries that free themselves, and their display.
#pragma once

#include "lib/fwall/cfgrec.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

struct free_list {
    void operator()(cfgrec *list) const { cfg_free(list); }
};
using cfg_list = std::unique_ptr<cfgrec, free_list>;

// One record a line: number, flags, keyword, then each argument in brackets.
inline std::string shown(const cfgrec *list)
{
    std::string text;
    for (; list != nullptr; list = list->next) {
        text +=
            std::to_string(list->lineno) + " " + std::to_string(list->flags) + " " + list->keyword;
        for (int i = 0; i < list->argc; ++i)
            text += std::string("[") + list->argv[i] + "]";
        EXPECT_EQ(list->argv[list->argc], nullptr);
        text += "\n";
    }
    return text;
}
