// The smallest change of a table that turns a verdict, found by trying: each proposal is one line
// changed or put in, and the checks are run again on the changed text.
#pragma once

#include "flatctl/access/access_run.h"

#include <string>
#include <string_view>
#include <vector>

struct table_change {
    std::int32_t line; // changed, or in front of which `text` is put in
    bool is_new;       // put in
    std::string text;  // the whole line
};

namespace flatlink
{

// Changes that turn the verdict together, none of which can be left out; empty where none was
// found. `verdict` is that of the table as it is.
std::vector<table_change> changes_that_turn(std::string_view table,
                                            const access_question_asked &question,
                                            const access_verdict &verdict);

// The table with the changes made.
std::string changed_table(std::string_view table, const std::vector<table_change> &changes);

} // namespace flatlink
