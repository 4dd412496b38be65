// rule-form [--version | --help]: asks for one rule in a form on the character screen and prints
// what was entered. Exit status 0 when the rule was saved, 1 when it was not, 2 without a terminal
// that shows the whole form. A signal that ends it is the one that the caller sees it die of.
#include "examples/rule-form/rule.h"
#include "examples/rule-form/terminal.h"
#include "lib/screen/form.h"
#include "lib/ulib/usage.h"

#include <cstdio>

static constexpr char USAGE[] = "usage: rule-form [--version | --help]\n"
                                "Asks for one rule in a form on the terminal and prints it.\n";

// Says which size the terminal has and which one the form needs; the program's exit status.
static int refuse_size(int rows, int columns)
{
    (void)std::fprintf(stderr,
                       "rule-form: the terminal has %d rows of %d columns, the form needs %d of "
                       "%d\n",
                       rows, columns, RULE_FORM_ROWS, RULE_FORM_COLUMNS);
    return 2;
}

int main(int argc, char **argv)
{
    if (const int status = flatlink::answer_usage(argc, argv, "rule-form", USAGE); status >= 0)
        return status;
    rule asked;
    int end = 0;
    {
        form_terminal terminal;
        if (!terminal.usable()) {
            (void)std::fputs("rule-form: needs a terminal to run on\n", stderr);
            return 2;
        }
        const int rows = LINES;
        const int columns = COLS;
        if (rows < RULE_FORM_ROWS || columns < RULE_FORM_COLUMNS) {
            terminal.give_back();
            return refuse_size(rows, columns);
        }
        scobj *form = new_rule_form(asked);
        end = sc_interact(stdscr, form);
        sc_destroy(form);
    }
    if (form_terminal::interrupted() != 0) {
        (void)std::fputs("rule-form: interrupted, nothing saved\n", stderr);
        die_of(form_terminal::interrupted());
    }
    if (end != RULE_SAVED) {
        (void)std::puts(end == RULE_CANCELLED ? "cancelled, nothing saved"
                                              : "input ended, nothing saved");
        return 1;
    }
    (void)std::fputs(lines_of(asked).c_str(), stdout);
    return 0;
}
