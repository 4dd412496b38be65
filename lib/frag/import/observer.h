// Reports the silent decisions of an import to programs that explain a database.
#pragma once

#include <cstdint>
#include <string_view>

struct frag;

// Each call may be null. Lines count from 1; texts and nodes are borrowed for the call.
struct import_observer {
    void *context = nullptr; // passed to each call

    // The value of a node is about to be replaced.
    //   old_line  line of the value that is lost; 0 if the program set it
    void (*value_replaced)(void *context, const frag *node, std::int32_t old_line,
                           std::int32_t new_line) = nullptr;

    // A node keeps its value: the one on `ignored_line` is empty, or existing values are kept.
    void (*value_kept)(void *context, const frag *node, std::int32_t line,
                       std::int32_t ignored_line) = nullptr;

    // A key or tag name continues past the end of its line: a line without '=' became the beginning
    // of the next line's key.
    void (*lines_joined)(void *context, std::int32_t first, std::int32_t last) = nullptr;

    // A part of a key, or the name of a tag or attribute, is too long.
    //   kept  the bytes that make the name
    void (*name_cut)(void *context, std::int32_t line, std::string_view kept) = nullptr;

    // An end tag closes nothing, or text is outside of any element.
    void (*ignored)(void *context, std::int32_t line) = nullptr;

    // The input ended inside a key, tag or comment, which is lost.
    //   line  where it began
    void (*unfinished)(void *context, std::int32_t line) = nullptr;
};

namespace flatlink
{

// Watches every import while it is set; null by default. Borrowed from the program, which resets
// it.
extern const import_observer *import_watch;

} // namespace flatlink
