// A seam for tools that explain a decision of the checks: the calls below are made as the checks
// compare and decide. They see the decision of the code that enforces it, and cannot change it.
#pragma once

#include <cstdint>

struct cfgrec;

enum class access_reason : std::uint8_t {
    compared,     // with what access_question::with tells
    no_look_up,   // the item wants a name, and `rev_dns` forbids to look it up
    not_known,    // the item wants an identity, and the firewall knows none
    no_arguments, // the entry has none: `argument` is 0, and there is no item
};

// One item of an entry, and whether it fits. All is borrowed for the call.
struct access_question {
    const cfgrec *entry;
    int argument;     // which one of the entry's
    const char *with; // address, name or identity that the item was compared with; null for a port
                      // or the proxy's name, and where nothing was compared
    bool fits;
    access_reason reason;
};

struct access_watch_calls {
    void (*asked)(const access_question &question);
    // The entry decides by this argument; for `afw-dest` the item is the first argument. Where no
    // entry decides, there is no call. A destination of several addresses has one for each.
    void (*decided)(const cfgrec *entry, int argument, bool allows);
};

namespace flatlink
{

// Null: nothing is watched, which is so at the start. What is set must outlive its use. With a
// watch, a source check compares item by item, without what was prepared of them (src_patterns.h).
extern const access_watch_calls *access_watch;

} // namespace flatlink
