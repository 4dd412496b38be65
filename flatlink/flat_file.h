// The reader of a whole flat file, for programs that have one instead of a database.
#pragma once

#include <cstddef>
#include <cstdio>

// Longest piece of a line that is decoded at once, its NUL terminator included. A longer line is
// split into pieces, each decoded as a line of its own.
inline constexpr std::size_t FLAT_LINE_SIZE = 1024;

// Reads a flat file into the records and finishes them.
//   path      null: the database set before, or the default one
//   vpn_only  skip the lines about host names and interfaces
// Ends the program with status 1 when the file cannot be opened, after a message.
void read_vpndata55(const char *path, bool vpn_only);

// Reads one line, or a piece of one, into `buffer` without its newline. Returns `buffer`, or null
// at the end of the file.
char *vpn_getline(char *buffer, int size, std::FILE *stream);

// Ends the program.
[[noreturn]] void vpn_error_exit(int status);
