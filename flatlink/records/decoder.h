// The dispatcher of VPN data lines: whether a line comes from the tree or from a flat file, it
// finds its parser here, by its prefix. Also the reader of a whole flat file.
#pragma once

#include <cstdio>
#include <string_view>

struct frag;

// Takes a line of the VPN data. Returns false if it bears no prefix of theirs; true otherwise,
// also for a line that a parser refused, a comment ('#' first), and a line below four characters.
bool decode_vpn_buffer(std::string_view line);

// Takes a line about host names or interfaces; any other is passed over. Returns 0.
int decode_nonvpn_buffer(std::string_view line);

// Reads a flat file into the records and finishes them.
//   path      null: the database set before, or the default one
//   vpn_only  skip the lines about host names and interfaces
// Ends the program with status 1 when the file cannot be opened.
void read_vpndata55(const char *path, bool vpn_only);

// Longest piece of a line that is decoded at once, its end mark included. A longer line comes in
// pieces, each decoded as a line of its own.
inline constexpr std::size_t FLAT_LINE_SIZE = 1024;

// Reads one line, or a piece of one, into `buffer` without its newline. Returns `buffer`, or null
// at the end of the file.
char *vpn_getline(char *buffer, int size, std::FILE *stream);

// Ends the program.
[[noreturn]] void vpn_error_exit(int status);

// Loads the interface lists of a tree into intf_list and finishes them.
void build_interface_list(frag **tree);
