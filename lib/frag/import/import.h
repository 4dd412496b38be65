// Reads a configuration database into a tree. The file may hold three notations, one after the
// other: flat lines (key=value, the key's parts joined by '_'), sections ([part\part] and the
// lines below it), and tags (<name>text</name>, attributes as children of a node `attrs`).
//
// Each value keeps the line that it came from (lib/frag/tree/origin.h); an observer can watch the
// silent decisions of the import (lib/frag/import/observer.h).
//
// Any bytes give a tree: a line without '=' continues on the next, an end tag that closes nothing
// is ignored, and a file that ends early gives what was read so far.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

struct frag;

// Bytes read at a time. A file read gives the same tree wherever its blocks end.
inline constexpr std::size_t IMPORT_BLOCK_SIZE = 32766;

// Longest name part of a flat line or a section, and longest tag or attribute name. A longer flat
// part is cut, the byte after the cut is lost, and the rest becomes the value. A longer section
// part keeps its first bytes. A longer tag name is cut, and the rest is read as attributes.
inline constexpr std::size_t NAME_PART_SIZE = 127;
inline constexpr std::size_t TAG_NAME_SIZE = 63;

// Reads the file at `path` into the list at `head`.
//   keep  non-zero: an existing key keeps its value, and gets the empty one if it had none;
//         0: the file's value replaces it
// Returns 1 with the tree unchanged and errno set if the file cannot be opened, else 0.
// A failed read counts as the end of the file. New nodes are in file order; older ones precede
// them, in reverse order.
int importffile(const char *path, frag **head, int keep);

namespace flatlink
{

// The same for a file that is open for reading and stays the caller's. Returns 0, or the errno of
// a read that failed; the tree then holds what was read before.
[[nodiscard]] int import_open_file(int fd, frag **head, int keep);

} // namespace flatlink

// importffile into the current tree. importenv replaces values and then moves the value of each
// child of `def_proxy_*` to the same name under `def_proxy_global`; importinitialenv keeps
// existing values. Both return importffile's result.
int importenv(const char *path);
int importinitialenv(const char *path);

namespace flatlink
{

// importenv for an open file; returns what import_open_file returns.
[[nodiscard]] int import_open_env(int fd);

// The reader itself, for input that is not a file: feed the bytes in pieces of any size, then call
// finish, which puts every list into file order.
class importer
{
  public:
    importer(frag **head, int keep);
    ~importer();
    importer(const importer &) = delete;
    importer &operator=(const importer &) = delete;

    void feed(std::string_view bytes);
    void finish();

  private:
    struct machine;
    std::unique_ptr<machine> machine_;
};

} // namespace flatlink
