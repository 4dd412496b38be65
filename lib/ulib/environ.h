// Look-up of environment variables. It differs from most platforms' getenv in one point: a name
// ends at its first '=', so that "A=b" finds the variable A.
#pragma once

// Finds a variable in the environment, which may be null.
//   name       up to its end or its first '='; null finds nothing
//   offsetout  receives the index of the entry in `environ`, untouched when there is none; may
//              be null
// Returns the value, which is the environment's and lives until that is changed; null for none.
char *_findenv(const char *name, int *offsetout);
