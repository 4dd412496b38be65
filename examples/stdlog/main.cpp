// Watches proxies: stands where the log daemon would, and prints each record as one line.
//   stdlog [PATH]      PATH is /dev/stdlog by default
//   stdlog --version | --help
// A line holds time, priority, event, proxy with its process, then what is known of the connection
// (identifier, user, addresses, rule), a colon and the message:
//   2026-11-22 10:15:00 notice 1503 relay[812] user=ann 10.0.0.1:4711->10.0.0.2:80: denied
// Texts come from outside: what is not printable is shown as \xNN, so that no record can write a
// second line or drive the terminal. A datagram that is no record is counted and reported on the
// error stream. SIGINT and SIGTERM end the program with status 0.
#include "lib/fwall/log/daemon_msg.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/usage.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace flatlink;

static constexpr char USAGE[] = "usage: stdlog [PATH]\n"
                                "       stdlog --version | --help\n"
                                "Takes the records of proxies at PATH, /dev/stdlog without it, and "
                                "prints them.\n";

static volatile sig_atomic_t ended = 0;

// Appends one byte so that it can be shown anywhere.
static void add_visible(std::string &line, char c)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\\')
        line += "\\\\";
    else if (c >= ' ' && c <= '~')
        line += c;
    else
        line.append("\\x").append(1, digits[byte / 16]).append(1, digits[byte % 16]);
}

static std::string visible(std::string_view text)
{
    std::string line;
    for (const char c : text)
        add_visible(line, c);
    return line;
}

// The text before its sender escaped it; what is no escape stays as it is.
static std::string visible_unescaped(std::string_view text)
{
    std::string line;
    while (!text.empty()) {
        unsigned byte = 0;
        const char *digits = text.data() + 1;
        if (text[0] == '%' && text.size() > 2 &&
            std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
            add_visible(line, static_cast<char>(byte));
            text.remove_prefix(3);
        } else {
            add_visible(line, text[0]);
            text.remove_prefix(1);
        }
    }
    return line;
}

static std::string time_text(std::time_t time)
{
    std::tm parts{};
    char text[32] = "?";
    if (localtime_r(&time, &parts) != nullptr)
        (void)std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts); // always fits
    return text;
}

static std::string priority_text(std::int32_t priority)
{
    static constexpr const char *names[] = {"emerg",   "alert",  "crit", "error",
                                            "warning", "notice", "info", "debug"};
    return priority >= 0 && priority < std::ssize(names) ? names[priority]
                                                         : std::to_string(priority);
}

static std::string connection_text(const DaemonMsg &record)
{
    std::string text;
    if (const auto id = field_text(record.connection_id); !id.empty())
        text += " id=" + visible(id);
    if (const auto user = field_text(record.user); !user.empty())
        text += " user=" + visible_unescaped(user);
    if (record.src_ip[0] != '\0' || record.dst_ip[0] != '\0')
        text += " " + visible(field_text(record.src_ip)) + ":" + std::to_string(record.src_port) +
                "->" + visible(field_text(record.dst_ip)) + ":" + std::to_string(record.dst_port);
    if (const auto rule = field_text(record.rule_number); !rule.empty() && rule != "N/A")
        text += " rule=" + visible(rule);
    return text;
}

static void print_record(const DaemonMsg &record)
{
    const std::string line = time_text(record.time) + " " + priority_text(record.priority) + " " +
                             std::to_string(record.event) + " " +
                             visible(field_text(record.proxy_name)) + "[" +
                             std::to_string(record.pid) + "]" + connection_text(record) + ": " +
                             visible_unescaped(field_text(record.text)) + "\n";
    (void)std::fputs(line.c_str(), stdout); // a reader that went away ends us by SIGPIPE
    (void)std::fflush(stdout);
}

// The record in `bytes`, or nothing for a datagram of another size or version.
static std::optional<DaemonMsg> record_of(const char *bytes, std::size_t size)
{
    DaemonMsg record;
    if (size != sizeof record)
        return std::nullopt;
    std::memcpy(&record, bytes, sizeof record);
    if (record.msg_size != std::int32_t{sizeof record} || record.msg_version != DAEMON_MSG_VERSION)
        return std::nullopt;
    return record;
}

// Binds the path. A socket without a reader is a leftover of an earlier one and gives
// way; anything else at the path stays. -1 with errno.
static int bind_log(const sockaddr_un &address)
{
    const auto *plain = reinterpret_cast<const sockaddr *>(&address);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || bind(fd, plain, sizeof address) == 0)
        return fd;
    struct stat status;
    if (errno == EADDRINUSE && lstat(address.sun_path, &status) == 0 && S_ISSOCK(status.st_mode) &&
        connect(fd, plain, sizeof address) != 0 && errno == ECONNREFUSED &&
        unlink(address.sun_path) == 0 && bind(fd, plain, sizeof address) == 0)
        return fd;
    const int error = errno;
    (void)close(fd); // never bound
    errno = error;
    return -1;
}

struct counts {
    unsigned long good = 0;
    unsigned long bad = 0;
};

static void take_datagram(int fd, counts &seen)
{
    std::array<char, sizeof(DaemonMsg) + 1> bytes; // one more shows that there was more
    const ssize_t got = recv(fd, bytes.data(), bytes.size(), MSG_TRUNC);
    if (got < 0)
        return;
    const auto size = static_cast<std::size_t>(got);
    if (const auto record = record_of(bytes.data(), size); record) {
        ++seen.good;
        print_record(*record);
        return;
    }
    ++seen.bad;
    (void)std::fprintf(stderr, "stdlog: datagram of %zu bytes is no record (%lu so far)\n", size,
                       seen.bad);
}

// Signals are let in only while it waits, so none is lost between the test and the wait.
static counts watch(int fd)
{
    sigset_t open;
    sigset_t ending;
    sigemptyset(&ending);
    struct sigaction action = {};
    action.sa_handler = [](int) { ended = 1; };
    for (const int number : {SIGINT, SIGTERM}) {
        sigaddset(&ending, number);
        sigaction(number, &action, nullptr);
    }
    sigprocmask(SIG_BLOCK, &ending, &open);
    counts seen;
    pollfd wanted{.fd = fd, .events = POLLIN, .revents = 0};
    while (ended == 0)
        if (ppoll(&wanted, 1, nullptr, &open) > 0)
            take_datagram(fd, seen);
    return seen;
}

int main(int argc, char **argv)
{
    if (const int status = answer_usage(argc, argv, "stdlog", USAGE); status >= 0)
        return status;
    const std::string path = argc > 1 ? argv[1] : STDLOG_PATH;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (argc > 2 || path.size() >= sizeof address.sun_path) {
        (void)std::fputs(USAGE, stderr);
        return 1;
    }
    set_text(address.sun_path, path);
    (void)umask(0111); // proxies of any identity report, as to the system log
    const int fd = bind_log(address);
    if (fd < 0) {
        (void)std::fprintf(stderr, "stdlog: cannot bind %s: %s\n", path.c_str(),
                           std::strerror(errno));
        return 1;
    }
    const counts seen = watch(fd);
    (void)unlink(path.c_str()); // a leftover is cleared by the next reader
    (void)close(fd);            // nothing more is read
    (void)std::fprintf(stderr, "stdlog: %lu records, %lu bad datagrams\n", seen.good, seen.bad);
    return 0;
}
