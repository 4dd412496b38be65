// Configuration files as plain key and value pairs: merged into the current tree of
// lib/frag/tree/symbol.h, and read back by key.
#pragma once

#include <cstddef>
#include <string>

// Merges the file at `path` into the current tree, as importenv does. Returns 0, or 1 after
// "libtoken: Error reading PATH" (event 11500) with the tree unchanged.
int load_tokens(const char *path);

// Copies the value of `key` in the current tree to `destination`. Returns 0; or 1 with
// `destination` unchanged: for a null `destination`, or, if there is no value, after
// "libtoken: No token found KEY" (event 11503).
int get_token(const char *key, std::string *destination);
int get_token(const char *key, char *destination); // with room for the value and a NUL
int get_token(const char *key, std::nullptr_t);
