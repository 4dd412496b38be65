// Names for temporary files.
//
// The X at the end of a name become the number of the process, filled with zeros in front; while
// something has the name, letters take the place of the digits from the first on: with aXX,
// process 1234 tries a34, aa4, ab4 ... az4, aaa. Fails at the end of the names, and without the
// directory; the name is changed then too.
//
// The names can be guessed: only make_temp_file and O_EXCL are safe where others may write.
#pragma once

namespace flatlink
{

// A name that nothing has yet. Returns `name`, or null with errno.
char *make_temp_name(char *name);

// The same, and makes the file (mode 0600) for reading and writing. Returns its descriptor, which
// the caller closes, or -1 with errno.
int make_temp_file(char *name);

} // namespace flatlink
