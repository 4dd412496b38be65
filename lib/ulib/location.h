// Where the system is installed. The answers come from the profile file
// `/opt/KORVwss/.profile.vars`, with the environment variable KORVWSS put in front of that path.
// Every call reads the file again. Its lines are KEY=VALUE; two keys count:
//   install_location         goes in front of paths
//   install_locusrlocaletc   stands for /usr/local/etc
// The last line with a key counts. White space at the end of a value is dropped, and a value is
// cut at 1024 bytes. Without the file, or with its path above 1023 bytes, both are empty.
#pragma once

#include <optional>
#include <string>

namespace flatlink
{

// The installation location followed by `path`, with one slash where the two meet with two.
// Nothing for a null path or when there is no memory.
std::optional<std::string> installed_path(const char *path);

// The same for callers that must tell an unreadable profile from a missing one: stores the location
// of `path`, not null, in `found`. Returns 0, or the errno of opening or reading the profile; then
// `found` is the profile's path.
int find_location(const char *path, std::string &found);

// `path` with a leading /usr/local/etc, in any case of letters, replaced by the value of
// install_locusrlocaletc as it stands, or else by installed_path("/usr/local/etc"); another path is
// returned as it is. Nothing for a null path or when there is no memory.
std::optional<std::string> installed_local_path(const char *path);

} // namespace flatlink

// The same as texts on the heap, which the caller frees; null for nothing.
char *getlocation(const char *path);
char *getusrlocaletc(const char *path);
