// The dispatcher of VPN data lines: whether a line comes from the tree or from a flat file, it
// finds its parser here, by its prefix.
#pragma once

#include <string_view>

// Takes a line of the VPN data. Returns false if it bears no prefix of theirs; true otherwise,
// also for a line that a parser refused, a comment ('#' first), and a line below four characters.
bool decode_vpn_buffer(std::string_view line);

// Takes a line about host names or interfaces; any other is ignored. Returns 0.
int decode_nonvpn_buffer(std::string_view line);
