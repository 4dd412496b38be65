// The access checks of a proxy, run for one client and one destination on the text of a table, and
// watched while they decide. Runs inside of a child that may open files of its own memory.
#pragma once

#include "lib/ulib/address.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct policy_option;

struct access_question_asked {
    std::string proxy;
    u32 client_be = 0;
    std::string host; // of the destination; empty: the client alone is checked
    int port = 0;
    const policy_option *options = nullptr; // of the proxy's `hosts` lines
};

// Where the verdict falls.
enum class access_stage : std::uint8_t { CLIENT, TERMS, DESTINATION, PORT };

// One item that was compared, or an entry that decided.
struct access_step {
    bool is_decision = false;
    std::int32_t line = 0; // of the table
    std::string keyword;   // with its prefix
    std::string item;
    std::string with;        // what it was compared with
    bool fits = false;       // of a decision: it allows
    std::uint8_t reason = 0; // an access_reason
};

struct access_verdict {
    bool permitted = false;
    bool is_known = false;   // false: the proxy would not start with this table
    bool no_address = false; // the destination is a name that no answer is known for
    bool differs = false;    // the checks decide otherwise when they are watched
    access_stage stage = access_stage::CLIENT;
    std::int32_t line = 0; // of the entry that decided; 0 for none
    std::vector<access_step> steps;
    std::vector<std::int32_t> terms; // lines of the entries that hold for a permitted client
};

namespace flatlink
{

// Evaluates the checks that a proxy makes, in their order. Reports go to the standard error stream
// with `table_name` in the place of the table's path. Ends the process as a proxy does for an entry
// that it cannot work with.
access_verdict run_access(std::string_view table, const access_question_asked &question);

} // namespace flatlink
