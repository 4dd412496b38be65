// Four calls of the C library under its own names: getenv, inet_aton, mktemp and mkstemp. Only a
// program that links `clib_names` gets them, and then for all of its code; one that links our other
// libraries keeps those of its platform. Nothing of ours calls them by these names.
//
//   getenv     as _findenv (lib/ulib/environ.h): a name ends at its first '=', so that "A=b" finds
//              the variable A
//   inet_aton  as scan_address (lib/fwall/match/scan_address.h): 1 with the address in the result,
//              which may be null, or 0 with the result as it was, also for a null text
//   mktemp     as make_temp_name (lib/fwall/serve/temp_name.h): the template, or null with errno
//   mkstemp    as make_temp_file (the same): a descriptor, or -1 with errno. Its names can be
//              guessed, unlike those of most platforms
#pragma once

#include <arpa/inet.h>
#include <cstdlib>
