// Callbacks for tools that explain a decision of the checks. They are called as the enforcing code
// compares and decides, and cannot change the outcome.
#pragma once

#include <cstdint>

struct cfgrec;

enum class access_reason : std::uint8_t {
    COMPARED,     // with access_question::with
    NO_LOOK_UP,   // the item wants a name, and `rev_dns` forbids the look-up
    NOT_KNOWN,    // the item wants an identity, and the firewall knows none
    NO_ARGUMENTS, // the entry has none: `argument` is 0, and there is no item
};

// One item of an entry, and whether it fits. Everything is borrowed for the call.
struct access_question {
    const cfgrec *entry;
    int argument;     // index into the entry's arguments
    const char *with; // address, name or identity that the item was compared with; null for a port
                      // or the proxy's name, and when nothing was compared
    bool fits;
    access_reason reason;
};

struct access_watch_calls {
    void (*asked)(const access_question &question);
    // `entry` decides, by this argument (for `afw-dest` always the first). Not called when no entry
    // decides; called once per address of a destination that has several.
    void (*decided)(const cfgrec *entry, int argument, bool allows);
};

namespace flatlink
{

// Null, the initial value, for no watch; otherwise borrowed. With a watch a source check compares
// item by item, without the prepared patterns (src_patterns.h), so that each item is reported.
extern const access_watch_calls *access_watch;

} // namespace flatlink
