// Names for temporary files.
//
// The X's at the end of a name are replaced by the process number, padded with zeros. While the
// name is taken, letters replace the digits from the first on: with aXX, process 1234 tries a34,
// aa4, ab4 ... az4, aaa. Fails when all names are taken, and without the directory; the name is
// changed then too.
//
// The names can be guessed: only make_temp_file and O_EXCL are safe where others may write.
#pragma once

namespace flatlink
{

// Makes a name that is not taken yet. Returns `name`, or null with errno.
char *make_temp_name(char *name);

// Makes a name and creates the file (mode 0600), open for reading and writing. Returns its
// descriptor, which the caller closes, or -1 with errno.
int make_temp_file(char *name);

} // namespace flatlink
