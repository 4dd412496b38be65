// Look-up of environment variables. It differs from most platforms' getenv in one point: a name
// ends at its first '=', so that "A=b" finds the variable A.
#pragma once

// Finds a variable in `environ`, which may be null.
//   name       used up to its first '='; null finds nothing
//   offsetout  receives the index of the entry in `environ`; unchanged when there is none; may be
//              null
// Returns the value, which belongs to the environment and is valid until that changes; null for
// none.
char *_findenv(const char *name, int *offsetout);
