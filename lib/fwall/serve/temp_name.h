// Names for temporary files. The source defines mktemp and mkstemp, which <cstdlib> declares, in
// place of the platform's calls, for the whole of a program that this source is linked into (by
// lock_init, so by every proxy).
//
//   char *mktemp(char *name)    a name that nothing has yet; returns `name`, or null with errno
//   int mkstemp(char *name)     the same, and makes the file (mode 0600) for reading and writing;
//                               returns its descriptor, or -1 with errno
//
// The X at the end of `name` become the number of the process, filled with zeros in front; while
// something has the name, letters take the place of the digits from the first on: with aXX,
// process 1234 tries a34, aa4, ab4 ... az4, aaa. Fails at the end of the names, and without the
// directory; `name` is changed then too.
//
// The names can be guessed: only mkstemp and O_EXCL are safe where others may write.
#pragma once

#include <cstdlib>
