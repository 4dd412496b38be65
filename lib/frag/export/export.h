// Writes a tree to a file: as flat lines, in the old numbered layout, or as XML.
//
// A flat file has one line for each node with a value, in list order, each node before its
// children: the key, '=', the counted bytes of the value, LF. The key's parts are joined by '_';
// a part is the node's prefix and its stored name, in the form that attr_revmap gives for files.
#pragma once

#include <cstdio>

struct frag;

inline constexpr int EXPORT_FLAT = 0;
inline constexpr int EXPORT_NUMBERED = 4; // the numbered layout of older releases
inline constexpr int EXPORT_XML = 99;

// Nodes with a key of this many bytes or more are written without their children.
inline constexpr int LONGEST_PARENT_KEY = 180;

// Saves the current tree, which is unchanged: what is written is a copy without `temp` and
// `def_proxy_*`, converted to the layout, with the version, in three digits, at
// `version_varnholt.conf`.
//   version  as above; 1 and 41 are taken as 0, any other number changes no layout
// Returns 1 if the file cannot be opened or not be written completely (the written part stays in
// it), else 0.
[[nodiscard]] int exportenv(const char *path, int version);

// Writes a tree without conversion, flat or as XML; XML reshapes it first
// (lib/frag/export/xml_layout.h). Afterwards values end at their counted length.
//   path  null for the standard output, which is closed afterwards, so that it works once
// Returns as exportenv does. Opening the file empties it.
[[nodiscard]] int exportffile(const char *path, frag **head, int version);

// Writes a list and all below it as flat lines; stops at the first write that falls short.
//   version   no effect
//   position  bytes of the key above the list, its '_' included, that the lines begin with;
//             0 for none
// Afterwards values end at their counted length. Returns 0, or 1 when a write fell short.
[[nodiscard]] int outffile(std::FILE *stream, frag *first, int version, int position);
