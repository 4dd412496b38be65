#include "examples/rule-form/rule.h"

#include "lib/screen/label.h"
#include "lib/screen/menu.h"
#include "lib/screen/strobj.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

namespace
{

enum place : int { LABEL_X = 2, VALUE_X = 14, MENU_X = 42, TARGET_X = 56 };

constexpr int SECRET_LEAST = 6;

const char *const services[] = {"http", "https", "smtp", "ftp", "ssh", "dns", nullptr};
const char *const actions[] = {"permit", "deny", nullptr};
const char *const log_targets[] = {"file", "host", "nothing", nullptr};

void say(rule &asked, const char *text, int *redraw)
{
    (void)std::snprintf(asked.status, sizeof asked.status, "%s", text);
    *redraw = 1;
}

bool is_name(const std::string &text)
{
    return !text.empty() && std::ranges::all_of(text, [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '-';
    });
}

// The first thing that is wrong with the rule; null when it can be saved.
const char *fault_of(const rule &asked)
{
    if (!is_name(asked.name))
        return "The name takes letters, digits and dashes.";
    if (asked.source[0] == '\0')
        return "Where does the traffic come from?";
    if (std::strlen(asked.secret) < SECRET_LEAST)
        return "The secret needs six characters or more.";
    return nullptr;
}

// Callbacks. Each gets the rule as its argument.

int check_name(WINDOW * /*window*/, scobj * /*field*/, void *arg, int *redraw)
{
    rule &asked = *static_cast<rule *>(arg);
    say(asked, is_name(asked.name) ? "" : "The name takes letters, digits and dashes.", redraw);
    return 0;
}

int show_action(WINDOW * /*window*/, scobj * /*menu*/, void *arg, int *redraw)
{
    rule &asked = *static_cast<rule *>(arg);
    const bool permits = asked.action == actions[0];
    say(asked, permits ? "Matching traffic passes." : "Matching traffic is refused.", redraw);
    return 0;
}

// Enter on the log menu: the repaint swaps what stands beside it.
int show_target(WINDOW * /*window*/, scobj * /*menu*/, void *arg, int *redraw)
{
    say(*static_cast<rule *>(arg), "", redraw);
    return 0;
}

int save(WINDOW * /*window*/, scobj * /*button*/, void *arg, int *redraw)
{
    rule &asked = *static_cast<rule *>(arg);
    const char *fault = fault_of(asked);
    if (fault == nullptr)
        return RULE_SAVED;
    say(asked, fault, redraw);
    return 0;
}

int cancel(WINDOW * /*window*/, scobj * /*button*/, void * /*arg*/, int * /*redraw*/)
{
    return RULE_CANCELLED;
}

// The menu that decides what stands to its right: the caption in one row, the value below it.
scobj *log_menu(rule &asked, int y, scobj *caption, scobj *value)
{
    scobj *menu =
        sc_newmenu(y, MENU_X, log_targets, 0, &asked.log_to, 3, 9, 0, 0, show_target, &asked);
    menu->flags |= SC_SWAP;
    menu->shown[0] = caption;
    menu->shown[1] = value;
    static const char *const captions[] = {"Log file", "Log host", "Not logged"};
    for (int item = 0; item < 3; ++item)
        menu->slots[0][item] = sc_newlabel(y, TARGET_X, captions[item]);
    menu->slots[1][0] = sc_newstrobj(y + 1, TARGET_X, "/var/log/rule.log", asked.log_file,
                                     sizeof asked.log_file, 20, nullptr, nullptr);
    menu->slots[1][1] = sc_newstrobj(y + 1, TARGET_X, nullptr, asked.log_host,
                                     sizeof asked.log_host, 20, nullptr, nullptr);
    menu->slots[1][2] = sc_newlabel(y + 1, TARGET_X, "");
    return menu;
}

} // namespace

scobj *new_rule_form(rule &asked)
{
    scobj *caption = sc_newlabel(7, TARGET_X, "");
    scobj *value = sc_newlabel(8, TARGET_X, "");
    scobj *const objects[] = {
        sc_newclabel(0, "A rule for the firewall"),
        sc_newlabel(2, LABEL_X, "Name"),
        sc_newstrobj(2, VALUE_X, nullptr, asked.name, sizeof asked.name, 20, check_name, &asked),
        sc_newlabel(3, LABEL_X, "From"),
        sc_newstrobj(3, VALUE_X, "any", asked.source, sizeof asked.source, 12, nullptr, nullptr),
        sc_newlabel(4, LABEL_X, "Secret"),
        sc_newstrobj(4, VALUE_X, nullptr, asked.secret, sizeof asked.secret, -12, nullptr, nullptr),
        sc_newlabel(6, LABEL_X, "Service"),
        sc_newmenu(6, VALUE_X, services, 0, &asked.service, 3, 10, 0, 0, nullptr, nullptr),
        sc_newlabel(2, MENU_X, "Action"),
        sc_newmenu(3, MENU_X, actions, 0, &asked.action, 2, 10, 1, 1, show_action, &asked),
        sc_newlabel(6, MENU_X, "Log to"),
        log_menu(asked, 7, caption, value),
        caption,
        value,
        sc_newbutton(11, VALUE_X, "[ Save ]", save, &asked),
        sc_newbutton(11, VALUE_X + 12, "[ Cancel ]", cancel, &asked),
        sc_newlabel(12, LABEL_X, asked.status),
        sc_newlabel(13, LABEL_X,
                    "Tab: next   Arrows: move   Enter on a menu: choose, on a button: press"),
        sc_newlabel(14, LABEL_X, "To leave: Save, Cancel, or Ctrl-C"),
    };
    scobj *head = nullptr;
    for (scobj *object : objects)
        head = sc_add(head, object);
    return head;
}

std::string lines_of(const rule &entered)
{
    const auto line = [](const char *key, const char *value) {
        return std::string(key) + " = " + (value == nullptr ? "" : value) + "\n";
    };
    // A menu that was never left by a key holds its first item.
    const auto chosen = [](const char *item, const char *const *items) {
        return item == nullptr ? items[0] : item;
    };
    const char *log_to = chosen(entered.log_to, log_targets);
    std::string lines =
        line("name", entered.name) + line("from", entered.source) +
        line("secret", (std::to_string(std::strlen(entered.secret)) + " characters").c_str()) +
        line("service", chosen(entered.service, services)) +
        line("action", chosen(entered.action, actions)) + line("log", log_to);
    if (log_to == log_targets[0])
        lines += line("log_file", entered.log_file);
    if (log_to == log_targets[1])
        lines += line("log_host", entered.log_host);
    return lines;
}
