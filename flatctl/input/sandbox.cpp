#include "flatctl/input/sandbox.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

using namespace flatlink;

namespace
{

#if defined(__x86_64__)
constexpr std::uint32_t OWN_ARCHITECTURE = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t OWN_ARCHITECTURE = AUDIT_ARCH_AARCH64;
#else
constexpr std::uint32_t OWN_ARCHITECTURE = 0; // no filter
#endif

// What a computation needs that has its input and its pipe open: memory, reading, writing, ending.
constexpr int calls_of_a_computation[] = {
    SYS_read,
    SYS_readv,
    SYS_pread64,
    SYS_write,
    SYS_writev,
    SYS_close,
    SYS_lseek,
    SYS_fstat,
    SYS_newfstatat,
    SYS_fcntl,
    SYS_mmap,
    SYS_munmap,
    SYS_mremap,
    SYS_mprotect,
    SYS_brk,
    SYS_madvise,
    SYS_futex,
    SYS_rt_sigaction,
    SYS_rt_sigreturn,
    SYS_rt_sigprocmask,
    SYS_sigaltstack,
    SYS_exit,
    SYS_exit_group,
    SYS_clock_gettime,
    SYS_gettimeofday,
    SYS_getrandom,
    SYS_getpid,
    SYS_gettid,
    SYS_tgkill,
    SYS_sched_yield,
    SYS_getrusage,
    SYS_sched_getaffinity,
    SYS_restart_syscall,
#ifdef SYS_time
    SYS_time,
#endif
#ifdef __SANITIZE_ADDRESS__ // which looks at memory through a pipe before it tells an object's type
    SYS_pipe2,
    SYS_close,
#ifdef SYS_pipe
    SYS_pipe,
#endif
#endif
};

// What a library needs that opens its input by a path, which is that of a file of memory then.
constexpr int calls_for_memory_files[] = {SYS_memfd_create, SYS_openat};

// What the name service and the look-up of routes need on top.
constexpr int calls_of_a_resolver[] = {
    SYS_openat,      SYS_socket,
    SYS_connect,     SYS_bind,
    SYS_sendto,      SYS_recvfrom,
    SYS_sendmsg,     SYS_recvmsg,
    SYS_sendmmsg,    SYS_setsockopt,
    SYS_getsockopt,  SYS_getsockname,
    SYS_getpeername, SYS_ppoll,
    SYS_pselect6,    SYS_faccessat,
    SYS_readlinkat,  SYS_getdents64,
    SYS_uname,       SYS_ioctl,
    SYS_getuid,      SYS_geteuid,
    SYS_getgid,      SYS_getegid,
    SYS_statx,       SYS_clock_nanosleep,
    SYS_fstatfs,     SYS_set_robust_list,
    SYS_rseq,
#ifdef SYS_open
    SYS_open,        SYS_stat,
    SYS_lstat,       SYS_poll,
    SYS_select,      SYS_access,
    SYS_readlink,
#endif
};

// ---- system call filter

void allow(std::vector<sock_filter> &program, int call)
{
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1));
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
}

void filter_calls(const sandbox_limits &limits)
{
    if (OWN_ARCHITECTURE == 0)
        return;
    std::vector<sock_filter> program = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, OWN_ARCHITECTURE, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
    };
    for (const int call : calls_of_a_computation)
        allow(program, call);
    if (limits.may_use_memory_files)
        for (const int call : calls_for_memory_files)
            allow(program, call);
    if (limits.may_resolve)
        for (const int call : calls_of_a_resolver)
            allow(program, call);
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM));
    const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
    (void)prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter); // a kernel may lack it
}

// ---- file system

// Of linux/landlock.h, whose older versions do not know them all.
struct ruleset_attributes {
    std::uint64_t handled_files;
    std::uint64_t handled_network;
    std::uint64_t scoped;
};

struct [[gnu::packed]] path_attributes {
    std::uint64_t allowed;
    std::int32_t parent_fd;
};

constexpr std::uint64_t FILES_EXECUTE = 1 << 0;
constexpr std::uint64_t FILES_READ = 1 << 2;
constexpr std::uint64_t FILES_READ_FOLDER = 1 << 3;
constexpr std::uint64_t NETWORK_TCP = 0b11;      // bind, connect
constexpr std::uint64_t SCOPE_EVERYTHING = 0b11; // abstract sockets, signals

// What each version of Landlock can deny in the file system: so many bits.
constexpr int file_bits[] = {0, 13, 14, 15, 15, 16};
constexpr long VERSION_WITH_NETWORK = 4;
constexpr long VERSION_WITH_SCOPES = 6;

constexpr std::uint32_t ASK_VERSION = 1;
constexpr int RULE_PATH = 1;

void allow_reading_everywhere(int ruleset)
{
    const int root = open("/", O_PATH | O_CLOEXEC);
    const path_attributes rule = {FILES_EXECUTE | FILES_READ | FILES_READ_FOLDER, root};
    (void)syscall(SYS_landlock_add_rule, ruleset, RULE_PATH, &rule, 0);
    (void)close(root);
}

void lock_file_system(bool may_resolve)
{
    const long version = syscall(SYS_landlock_create_ruleset, nullptr, 0, ASK_VERSION);
    if (version < 1)
        return;
    constexpr long LAST = std::size(file_bits) - 1;
    ruleset_attributes attributes{};
    attributes.handled_files = (std::uint64_t{1} << file_bits[version < LAST ? version : LAST]) - 1;
    if (!may_resolve && version >= VERSION_WITH_NETWORK)
        attributes.handled_network = NETWORK_TCP;
    if (!may_resolve && version >= VERSION_WITH_SCOPES)
        attributes.scoped = SCOPE_EVERYTHING;
    const auto ruleset =
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0));
    if (ruleset < 0)
        return;
    if (may_resolve)
        allow_reading_everywhere(ruleset);
    (void)syscall(SYS_landlock_restrict_self, ruleset, 0);
    (void)close(ruleset);
}

// ---- limits

void set_limit(__rlimit_resource resource, std::uint64_t soft, std::uint64_t hard)
{
    rlimit limit{};
    if (getrlimit(resource, &limit) != 0)
        return;
    limit.rlim_max = std::min<rlim_t>(limit.rlim_max, hard);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, soft);
    (void)setrlimit(resource, &limit); // lowering is always allowed
}

} // namespace

bool flatlink::enter_sandbox(const sandbox_limits &limits)
{
    set_limit(RLIMIT_CORE, 0, 0); // an image would hold secrets
    if (limits.time_s > 0) {
        const auto seconds = static_cast<std::uint64_t>(limits.time_s);
        set_limit(RLIMIT_CPU, seconds, seconds + 1);
    }
#ifndef __SANITIZE_ADDRESS__ // whose shadow of all memory needs address space
    if (limits.memory_bytes > 0)
        set_limit(RLIMIT_AS, limits.memory_bytes, limits.memory_bytes);
#endif
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        return false;
    lock_file_system(limits.may_resolve);
    filter_calls(limits);
    return true;
}
