// Each input is worked on in a child process of its own: a crash, an exit inside of a library or a
// limit met ends that child, and its parent tells what happened. The child sends what it finds
// through a pipe, in frames; the parent never reads a byte of the input itself.
#pragma once

#include "flatctl/input/sandbox.h"

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>

// What a frame holds.
enum class frame_kind : std::uint8_t {
    DATA,    // bytes of the result
    MESSAGE, // bytes for the standard error stream, not escaped yet
    NAME,    // a look-up: QUESTION=ANSWER, or QUESTION alone that got none
    RECORD,  // what a verb's own child and parent agree on
    DONE,    // the work came to its end; the payload is its status, one byte
    MEMORY,  // there was none left
};

// The child's end of the pipe.
class child_port
{
  public:
    explicit child_port(int fd) : fd_(fd) {}

    // Sends one frame, or several when there are more bytes than one holds. A parent that is gone
    // ends the process.
    void send(frame_kind kind, std::string_view bytes) const;

    // A stream whose bytes go out as frames of that kind, for as long as this port lives. Null
    // with errno without memory.
    std::FILE *stream(frame_kind kind);

  private:
    int fd_;
};

// How a child ended.
enum class child_end {
    DONE,      // `detail` is the status that the work returned
    NO_CHILD,  // none could be made; errno
    CRASHED,   // signal
    EXITED,    // before its end, from inside of a library; exit status
    NO_TIME,   // the limit of processor time; 0
    NO_MEMORY, // 0
    GARBLED,   // it sent what is no frame; 0
};

struct child_result {
    child_end end = child_end::NO_CHILD;
    int detail = 0;
};

namespace flatlink
{

// The result in words, for a message after the name of an input.
std::string words_for(const child_result &result);

// Runs `work` in a child, inside of the sandbox, with `input_fd` and the port as its only files;
// standard error stream and reports become frames of kind `message`. `take` gets every frame but
// `done` and `memory`, in order, while the child runs.
//   input_fd  -1 for none
//   work      returns a status from 0 to 255
child_result run_child(const sandbox_limits &limits, int input_fd,
                       const std::function<int(child_port &)> &work,
                       const std::function<void(frame_kind, std::string_view)> &take);

} // namespace flatlink
