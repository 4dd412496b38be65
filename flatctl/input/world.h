// The names and routes that the work on an input knows: those of files, or this host's, or none.
// Without --resolve nothing is asked, so an answer depends on what the command line names alone.
#pragma once

#include "lib/ulib/address.h"

#include <span>
#include <string>
#include <vector>

struct request;
class child_port;
class json_writer;

struct known_world {
    struct host {
        std::string name; // in lower case
        u32 addr_be;
    };
    struct route {
        u32 towards_be;
        u32 own_be; // this firewall's own address on the way there
    };
    struct service {
        std::string name;
        std::string protocol;
        int port_be;
    };
    std::vector<host> hosts;       // in the order of the file; the first of a name answers
    std::vector<route> routes;     // the first that names the address answers
    std::vector<service> services; // in the order of the host's list
    std::string identity;          // of each client of the VPN, with its ~; empty: there is none
    bool may_resolve = false;
};

namespace flatlink
{

// Takes the names of services from this host's list of them, which is a file: tables name
// ports by them.
void read_services(known_world &world);

// Reads what --names and --routes name. Returns the empty text, or what is wrong, in one line.
std::string read_world(const request &asked, known_world &world);

// Puts the world in the place of name service and platform, for the rest of this process. Each
// look-up that a file or the host must answer is sent to the port as a frame of kind `name`.
// Neither argument may end before the process.
void enter_world(const known_world &world, const child_port &port);

// The look-ups of this process so far, each once, as their frames have them.
std::span<const std::string> look_ups_so_far();

// The field "asked" with these look-ups: names, routes, and those of both that got no answer.
void write_look_ups(json_writer &json, std::span<const std::string> look_ups);

} // namespace flatlink
