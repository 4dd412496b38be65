// Reports the decisions of a derivation to programs that explain it: the rules, the steps from a
// rule to its links, and where the values of a link come from.
#pragma once

#include <cstdint>

struct frag;

// What a step works on. Steps lie inside of each other: a group's members become pairs of their
// own, two peers become links of each, a list of networks becomes one link for each.
enum class derivation_step : std::uint8_t {
    RULE,    // first: the rule
    PAIR,    // first, second: source and destination
    CHAINED, // first, second: two peers
    OFFER,   // first: the peer whose links are made; second: what stands on this side
    TRUSTED, // first, second: remote and local side
};

// Where the next value of a link comes from.
enum class value_source : std::uint8_t {
    READ,        // the nodes found since the value before it
    PROGRAM,     // no node: it is the same in all links of its kind
    PEER,        // a child of the peer
    REMOTE_SIDE, // the nodes found when that side was expanded
    LOCAL_SIDE,
    RULE, // a child of the rule
};

// Each call may be null. Nodes are borrowed for the call and may be null where an object was not
// found; those below the top-level node `temp` are freed soon after.
struct derivation_observer {
    void *context = nullptr; // passed to each call

    void (*entered)(void *context, derivation_step step, const frag *first,
                    const frag *second) = nullptr;
    void (*left)(void *context) = nullptr; // the innermost step

    // A side of the rule names no object.
    //   key  of the side: "src", "dst" or "dest"
    void (*no_side)(void *context, const frag *rule, const char *key) = nullptr;

    // A side of the rule names an object only without its last part.
    void (*shortened)(void *context, const frag *rule, const char *key) = nullptr;

    // One side of a link is about to be expanded, or for `read` an entry of a pool; for `program`,
    // an expansion came to its end.
    void (*expands)(void *context, value_source side, const frag *obj) = nullptr;

    // A link of `peer` is about to be made; the fields that are stored next are its own.
    void (*link)(void *context, const frag *peer) = nullptr;

    // The origin of the link's next value; `read` after each, which may not have been stored: what
    // is found from now on is of the next.
    //   key  of the child, for `peer` and `rule`; else null
    void (*from)(void *context, value_source source, const char *key) = nullptr;
};

namespace flatlink
{

// Watches every derivation while it is set; null by default. Borrowed from the program, which
// resets it.
inline const derivation_observer *derivation_watch = nullptr;

// One step, for the length of a block.
class step_note
{
  public:
    step_note(derivation_step step, const frag *first, const frag *second = nullptr)
    {
        if (derivation_watch != nullptr && derivation_watch->entered != nullptr)
            derivation_watch->entered(derivation_watch->context, step, first, second);
    }
    ~step_note()
    {
        if (derivation_watch != nullptr && derivation_watch->left != nullptr)
            derivation_watch->left(derivation_watch->context);
    }
    step_note(const step_note &) = delete;
    step_note &operator=(const step_note &) = delete;
};

inline void note_no_side(const frag *rule, const char *key)
{
    if (derivation_watch != nullptr && derivation_watch->no_side != nullptr)
        derivation_watch->no_side(derivation_watch->context, rule, key);
}

inline void note_shortened(const frag *rule, const char *key)
{
    if (derivation_watch != nullptr && derivation_watch->shortened != nullptr)
        derivation_watch->shortened(derivation_watch->context, rule, key);
}

inline void note_expands(value_source side, const frag *obj)
{
    if (derivation_watch != nullptr && derivation_watch->expands != nullptr)
        derivation_watch->expands(derivation_watch->context, side, obj);
}

inline void note_link(const frag *peer)
{
    if (derivation_watch != nullptr && derivation_watch->link != nullptr)
        derivation_watch->link(derivation_watch->context, peer);
}

inline void note_from(value_source source, const char *key = nullptr)
{
    if (derivation_watch != nullptr && derivation_watch->from != nullptr)
        derivation_watch->from(derivation_watch->context, source, key);
}

} // namespace flatlink
