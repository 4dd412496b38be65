// Reports what is read from a tree to programs that explain a database.
#pragma once

#include <cstdint>
#include <string_view>

struct frag;

// Why a walk over objects goes no further.
enum class walk_stop : std::uint8_t {
    RECURSIVE, // the object contains itself
    DEEP,      // it is nested too deeply
};

// Each call may be null. Nodes and texts are borrowed for the call.
struct tree_observer {
    void *context = nullptr; // passed to each call

    // A key led to `node`, or a walk over a list read its value.
    void (*found)(void *context, const frag *node) = nullptr;

    // The text `key` was taken for the key of an object, and none has it.
    //   stands  the text itself is used instead
    void (*missing)(void *context, const char *key, bool stands) = nullptr;

    // The object `obj` has no child `key`, and is left out, or stands for less, without it.
    void (*absent)(void *context, const frag *obj, const char *key) = nullptr;

    // An object is of a type that does not count where it was named: it is left out, or its key
    // stands for it.
    void (*unfit)(void *context, const frag *obj) = nullptr;

    // A walk over objects ends at `obj`.
    void (*stopped)(void *context, walk_stop why, const frag *obj) = nullptr;

    // The text of an object is longer than what is kept of it.
    void (*cut)(void *context, std::string_view kept) = nullptr;
};

namespace flatlink
{

// Watches every look-up while it is set; null by default. Borrowed from the program, which resets
// it.
inline const tree_observer *tree_watch = nullptr;

inline void note_found(const frag *node)
{
    if (tree_watch != nullptr && tree_watch->found != nullptr)
        tree_watch->found(tree_watch->context, node);
}

// `key` may be null, which is no reference at all.
inline void note_missing(const char *key, bool stands = false)
{
    if (tree_watch != nullptr && tree_watch->missing != nullptr && key != nullptr)
        tree_watch->missing(tree_watch->context, key, stands);
}

inline void note_absent(const frag *obj, const char *key)
{
    if (tree_watch != nullptr && tree_watch->absent != nullptr)
        tree_watch->absent(tree_watch->context, obj, key);
}

inline void note_unfit(const frag *obj)
{
    if (tree_watch != nullptr && tree_watch->unfit != nullptr)
        tree_watch->unfit(tree_watch->context, obj);
}

inline void note_stopped(walk_stop why, const frag *obj)
{
    if (tree_watch != nullptr && tree_watch->stopped != nullptr)
        tree_watch->stopped(tree_watch->context, why, obj);
}

inline void note_text_cut(std::string_view kept)
{
    if (tree_watch != nullptr && tree_watch->cut != nullptr)
        tree_watch->cut(tree_watch->context, kept);
}

} // namespace flatlink
