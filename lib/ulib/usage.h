// What every program answers about itself before it does anything else.
#pragma once

namespace flatlink
{

// The release of these libraries, such as "1.0.0".
const char *release_version();

// Answers --help with `usage` and --version with "NAME RELEASE", each as the first argument and on
// the standard output. Needs no table, log or terminal.
// Returns the status to end with: 0, or 1 after a message if the answer could not be written. -1
// when neither was asked for.
[[nodiscard]] int answer_usage(int argc, char **argv, const char *name, const char *usage);

} // namespace flatlink
