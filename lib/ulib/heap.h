// Heap memory as the C-style calls return it: from malloc, so that the caller can free() it, and
// never null, since exhausted memory ends the process.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace flatlink
{

// Grows `block` (null: a new one) to `size_bytes`; keeps its content, and the new bytes are
// undefined. Never null: calls outofcore() without memory. The old pointer becomes invalid.
void *heap_grow(void *block, std::size_t size_bytes);

// A new heap text with the content of `text`. The caller frees it.
char *heap_copy(std::string_view text);

} // namespace flatlink

struct heap_free {
    void operator()(void *block) const { std::free(block); }
};

// Owner for a text that a C-style call returned: heap_text kept(strsave(name, length)).
using heap_text = std::unique_ptr<char, heap_free>;
