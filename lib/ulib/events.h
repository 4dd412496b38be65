// The event numbers that the libraries raise. They come in blocks of 500, one block for each kind
// of event; the numbers between belong to the proxies. The log object filters by them.
#pragma once

#include <cstdint>

enum events : std::int32_t {
    EVENT_UNSET = 501,
    EVENT_CHILD_LIMIT = 1500,   // connection refused by the child limit
    EVENT_HOST_DENIED = 1503,   // host denied the use of a proxy
    EVENT_DEST_BLOCKED = 1504,  // destination blocked
    EVENT_PORT_READY = 6000,    // port ready after retries
    EVENT_IDLE = 6005,          // idle limit passed
    EVENT_SOCKET_OPTION = 6500, // a socket, or an option of one, can't be had
    EVENT_SOCKET = 6501,
    EVENT_CONNECT = 6502,
    EVENT_BIND = 6503,
    EVENT_LISTEN = 6504,
    EVENT_ACCEPT = 6505,
    EVENT_SELECT = 6506,
    EVENT_DENIAL_FILE = 6508, // a denial message file can't be shown
    EVENT_NO_NAME = 6509,     // a host's name or address can't be had
    EVENT_WAITING = 10002,    // sleeping before a bind retry; copies active
    EVENT_DAEMON = 10004,     // daemon started
    EVENT_SIGNAL = 10009,     // signal caught
    EVENT_ADDRESS_LENGTH = 10504,
    EVENT_NO_FILE = 11500, // a configuration file can't be read
    EVENT_COMMAND_LINE = 11501,
    EVENT_BAD_ENTRY = 11502, // bad configuration entry
    EVENT_NO_ENTRY = 11503,  // configuration entries or a policy not found
    EVENT_PORTS_TAKEN = 11504,
    EVENT_LOCK_NAME = 13500, // lock file name can't be made
    EVENT_NO_MEMORY = 13507,
    EVENT_SYSTEM = 13510, // lock, fork and other system failures
};
