// The files that a verb works on: opened before the work on them begins, and read by a child alone.
#pragma once

#include "flatctl/input/run_child.h"
#include "flatctl/input/world.h"
#include "lib/ulib/descriptor.h"

#include <string>
#include <sys/stat.h>

struct request;

struct input {
    std::string path;  // as it was opened
    std::string shown; // fit to be printed
    descriptor fd;
    struct stat status {
    };
    sandbox_limits limits; // for the work on it
};

namespace flatlink
{

// Opens `path`, "-" for the standard input. Returns the empty text, or what is wrong, in one line.
std::string open_input(const std::string &path, const request &asked, input &opened);

// The same for the database that flatlink would read if `path` were its argument: at its installed
// place, where the host has one.
std::string open_database(const std::string &path, const request &asked, input &opened);

// Takes all of an input that can be read only once, such as a pipe, into memory, so that a second
// child can read it again. Returns as open_input does.
std::string make_rereadable(input &opened);

// Reads the database into the default tree, inside of a child; a failure goes to its error stream.
[[nodiscard]] bool load_input(const input &database);

// Sends the reports of this process to its error stream instead of the system log, which a child
// does not reach.
void tap_reports();

} // namespace flatlink

// What every verb does with the frames of its children that are not its own: messages go to the
// standard error stream, line by line, escaped and after the input's name; look-ups are collected.
class side_frames
{
  public:
    side_frames(const input &of, bool is_quiet) : of_(of), is_quiet_(is_quiet) {}

    void take(frame_kind kind, std::string_view bytes);

    // After the last frame: tells which names and routes were looked up, and how the child ended
    // unless it came to its end. Returns the work's status, STATUS_FOUND for a child that did not.
    int end(const child_result &result);

  private:
    void tell_message(std::string_view line) const;

    const input &of_;
    bool is_quiet_;
    std::string message_;      // begun
    std::string looked_up_[2]; // the first of those without an answer, and with one
    std::size_t look_up_counts_[2] = {};
};

namespace flatlink
{

// Loads and derives inside of a child; the lines of the records go out as frames of kind `data`.
// Returns the status of the work: STATUS_FOUND, and no lines, when the database implies more than
// flatlink writes; a message names the bound.
int derive_in_child(const input &database, const known_world &world, child_port &port);

} // namespace flatlink
