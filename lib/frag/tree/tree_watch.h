// Reports what is read from a tree to programs that explain a database.
#pragma once

struct frag;

// Each call may be null. Nodes and texts are borrowed for the call.
struct tree_observer {
    void *context = nullptr; // passed to each call

    // A key led to `node`, or a walk over a list read its value.
    void (*found)(void *context, const frag *node) = nullptr;

    // The text `key` was taken for the key of an object, and none has it.
    //   stands  the text itself is used instead
    void (*missing)(void *context, const char *key, bool stands) = nullptr;
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

} // namespace flatlink
