// What a process gives up before it reads a byte from outside: new privileges, core files, the
// file system (Landlock, where the kernel has it) and most system calls. What it has open stays.
#pragma once

#include <cstdint>

struct sandbox_limits {
    std::uint64_t memory_bytes = 0;    // of address space; not enforced under AddressSanitizer
    std::int32_t time_s = 0;           // of processor time; SIGXCPU ends the process after it
    bool may_use_memory_files = false; // make files of memory, and open them by their descriptors
    bool may_resolve = false;          // leave sockets and the reading of files to the name service
};

namespace flatlink
{

// Enters for good. A refused system call fails with EPERM, an open of a file with EACCES or EPERM.
// A kernel without one of the means leaves the others. Returns false, and errno, only if the
// process could still gain privileges.
[[nodiscard]] bool enter_sandbox(const sandbox_limits &limits);

} // namespace flatlink
