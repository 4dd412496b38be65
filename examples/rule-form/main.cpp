// rule-form: asks for one rule in a form on the character screen and prints what was entered.
// Exit status 0 when the rule was saved, 1 when it was not, 2 without a usable terminal; a
// signal that ends it is what the caller sees it die of.
#include "examples/rule-form/rule.h"
#include "examples/rule-form/terminal.h"
#include "lib/screen/form.h"

#include <cstdio>

int main()
{
    rule asked;
    int end = 0;
    {
        const CTerminal terminal;
        if (!terminal.usable()) {
            (void)std::fputs("rule-form: needs a terminal to run on\n", stderr);
            return 2;
        }
        scobj *form = new_rule_form(asked);
        end = sc_interact(stdscr, form);
        sc_destroy(form);
    }
    if (CTerminal::interrupted() != 0) {
        (void)std::fputs("rule-form: interrupted, nothing saved\n", stderr);
        die_of(CTerminal::interrupted());
    }
    if (end != RULE_SAVED) {
        (void)std::puts(end == RULE_CANCELLED ? "cancelled, nothing saved"
                                              : "input ended, nothing saved");
        return 1;
    }
    (void)std::fputs(lines_of(asked).c_str(), stdout);
    return 0;
}
