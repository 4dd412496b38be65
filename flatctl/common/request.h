// What a command line asks for, once it is read, and how a run ends.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Exit statuses, the same for every verb.
enum exit_status : int {
    STATUS_FINE = 0,       // fine, permitted, same
    STATUS_FOUND = 1,      // findings of level error, denied, different, refused
    STATUS_USAGE = 2,      // the command line makes no sense
    STATUS_UNREADABLE = 3, // something cannot be read or written
    STATUS_FAULT = 4,      // flatctl contradicts itself
};

struct verb_row;

// What the command line asks for.
struct request {
    const verb_row *verb = nullptr;
    std::vector<std::string> operands;

    std::string against; // flat data to compare with
    std::string client;  // ADDRESS or ADDRESS=NAME
    std::string color = "auto";
    std::string dest; // HOST:PORT
    std::string format = "text";
    std::string identity; // of a client, as the firewall knows it
    std::string kind = "auto";
    std::string names;   // path of a file in hosts format
    std::string only;    // codes, with commas between them
    std::string options; // path of a file with the options of a proxy
    std::string output;  // path
    std::string proxy;
    std::string routes; // path of a file with an address and the own address towards it a line
    std::string to;
    std::int32_t memory_mib = 0; // for each input's child; 0: told by the input's size
    std::int32_t time_limit_s = 600;
    bool in_place = false;
    bool ledger = false;
    bool lossy = false;
    bool quiet = false;
    bool resolve = false;
    bool reveal = false;
    bool strict = false;
    bool verify = false;
    bool yes = false;

    bool help = false;
    bool version = false;
};
