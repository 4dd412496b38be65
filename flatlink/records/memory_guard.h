// Exhausted memory in line parsers: the line is lost, its parser reports it, and reading goes on.
// The records are then incomplete; a program that writes them must watch operator new.
#pragma once

#include <new>

// What is printed. The texts differ by family and place; a blank more or less is part of them.
inline constexpr const char *MALLOC_FAILURE = "vpndata:Malloc failure";
inline constexpr const char *SPACED_MALLOC_FAILURE = "vpndata: Malloc failure";
inline constexpr const char *RNAME_FAILURE = "vpndata:Malloc failure!";
inline constexpr const char *SILENT_FAILURE = "";
inline constexpr const char *POLICY_NAME_FAILURE = "vpndata: error allocating memory for polname";
inline constexpr const char *POOL_NAME_FAILURE = "vpndata: error allocating memory for mcpname";

namespace flatlink
{

// Prints `message`, unless it is null or SILENT_FAILURE. Allocates nothing. Returns 1.
int report_lost_line(const char *message);

// Runs `parse`, a parser of one line or a step of one, and returns its result; 1 when an
// allocation failed. `parse` is given the message for that and changes it as it goes along.
template <typename function> int within_memory(const char *message, function parse)
{
    try {
        return parse(message);
    } catch (const std::bad_alloc &) {
        return report_lost_line(message);
    }
}

} // namespace flatlink
