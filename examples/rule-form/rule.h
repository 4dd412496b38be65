// The rule that the form asks for, and the form itself.
#pragma once

#include "lib/screen/scobj.h"

#include <string>

enum rule_end : int { RULE_SAVED = 1, RULE_CANCELLED = 2 };

// The user's input. The form writes the buffers; texts are NUL-terminated.
struct rule {
    static constexpr int NAME_ROOM = 32, SOURCE_ROOM = 64, SECRET_ROOM = 24, TARGET_ROOM = 64;
    char name[NAME_ROOM] = "";
    char source[SOURCE_ROOM] = "";
    char secret[SECRET_ROOM] = "";
    char log_file[TARGET_ROOM] = "";
    char log_host[TARGET_ROOM] = "";
    const char *service = nullptr; // the highlighted items of the menus
    const char *action = nullptr;
    const char *log_to = nullptr;
    char status[64] = ""; // message in the form's last row
};

// What the form takes on the screen: down to its last hint, and across to the end of the field
// beside the log menu.
inline constexpr int RULE_FORM_ROWS = 15, RULE_FORM_COLUMNS = 76;

// The chain of objects that edits `asked`, for sc_interact; sc_destroy releases it. `asked` must
// outlive it. The form ends with a rule_end.
scobj *new_rule_form(rule &asked);

// The rule as lines of "key = value"; the secret by its length only.
std::string lines_of(const rule &entered);
