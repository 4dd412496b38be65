#include "lib/ulib/system_log.h"

#include "lib/ulib/child_data.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/log_sender.h"
#include "lib/ulib/safe_text.h"
#include "lib/ulib/text.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

using namespace flatlink;

static constexpr char SYSTEM_LOG_PATH[] = "/dev/log";
static constexpr int NO_SOCKET = -1;

using log_line = safe_text<8192>;

// Signal handlers read all of this; what they must not see half-written is atomic.
WRITTEN_BY_CHILD static std::atomic<int> log_socket = NO_SOCKET;
static std::atomic<const char *> log_ident = nullptr;
WRITTEN_BY_CHILD static bool is_stream = false; // lines are then separated by NUL terminators
static int log_options = 0;
static int log_facility = LOG_USER;
WRITTEN_BY_CHILD static bool is_host_asked = false;
static int open_calls = 0;                           // calls of open_system_log not yet undone
WRITTEN_BY_CHILD static int log_mask = 0xff;         // setlogmask's, as last read by ask_host
WRITTEN_BY_CHILD static long utc_offset_seconds = 0; // of local time, as last read by ask_host

static int connected_socket(int type)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    set_text(address.sun_path, SYSTEM_LOG_PATH);
    const int fd = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return NO_SOCKET;
    const int flags = type == SOCK_STREAM ? O_NONBLOCK : 0; // only a stream's connect can block
    if ((flags == 0 || fcntl(fd, F_SETFL, flags) == 0) &&
        connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 &&
        (flags == 0 || fcntl(fd, F_SETFL, 0) == 0))
        return fd;
    const int error = errno;
    (void)close(fd); // only just made
    errno = error;
    return NO_SOCKET;
}

static void open_socket()
{
    is_stream = false;
    int fd = connected_socket(SOCK_DGRAM);
    if (fd < 0 && errno == EPROTOTYPE) {
        is_stream = true;
        fd = connected_socket(SOCK_STREAM);
    }
    log_socket = fd;
}

static void close_socket()
{
    if (const int fd = log_socket.exchange(NO_SOCKET); fd >= 0)
        (void)close(fd); // sent data is in the reader's queue already
}

// Reads the settings that a signal handler can't safely ask for.
static void ask_host(std::time_t now)
{
    is_host_asked = true;
    std::tm local{};
    if (localtime_r(&now, &local) != nullptr)
        utc_offset_seconds = local.tm_gmtoff;
    log_mask = setlogmask(0);
}

void flatlink::open_system_log(const char *ident, int options, int facility)
{
    ++open_calls;
    log_ident = ident;
    log_options = options;
    log_facility = facility;
    if (!is_host_asked)
        ask_host(std::time(nullptr));
    if (log_socket < 0)
        open_socket();
}

void flatlink::reopen_system_log()
{
    // Where there was no reader a look at the path costs less than a socket in vain.
    if (log_socket < 0 && access(SYSTEM_LOG_PATH, F_OK) != 0)
        return;
    close_socket();
    open_socket();
}

void flatlink::close_system_log()
{
    --open_calls;
    log_ident = nullptr;
    close_socket();
}

static void add_two_digits(log_line &line, long number, std::string_view leader)
{
    line << (number < 10 ? leader : "") << static_cast<int>(number);
}

// "Mmm dd hh:mm:ss" in local time, the day without leading zero.
static void add_time(log_line &line, std::time_t now)
{
    using namespace std::chrono;
    static constexpr std::string_view months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const sys_seconds local{seconds(now + utc_offset_seconds)};
    const auto day = floor<days>(local);
    const year_month_day date{day};
    const hh_mm_ss clock{local - day};
    line << months[static_cast<unsigned>(date.month()) - 1] << " ";
    add_two_digits(line, static_cast<unsigned>(date.day()), " ");
    add_two_digits(line << " ", clock.hours().count(), "0");
    add_two_digits(line << ":", clock.minutes().count(), "0");
    add_two_digits(line << ":", clock.seconds().count(), "0");
}

// Adds everything before the message. Returns the offset of the part to show on a terminal.
static std::size_t add_head(log_line &line, int priority, std::time_t now)
{
    const int facility = (priority & LOG_FACMASK) == 0 ? log_facility : priority & LOG_FACMASK;
    line << "<" << (facility | LOG_PRI(priority)) << ">";
    add_time(line, now);
    line << " ";
    const std::size_t shown = line.view().size();
    const char *ident = log_ident;
    line << text_of(ident == nullptr ? program_invocation_short_name : ident);
    if ((log_options & LOG_PID) != 0)
        line << "[" << getpid() << "]";
    line << ": ";
    return shown;
}

static bool is_wanted(int priority)
{
    return (log_mask & LOG_MASK(LOG_PRI(priority))) != 0;
}

static bool send_line(std::string_view line)
{
    if (log_socket < 0)
        return false;
    const std::size_t length = line.size() + (is_stream ? 1 : 0); // a NUL follows the view
    const ssize_t sent = send_to_log(log_socket, line.data(), length, nullptr, 0);
    if (sent < 0 || static_cast<std::size_t>(sent) == length)
        return sent >= 0;
    close_socket(); // the stream took a part: the next line would be read as its rest
    return false;
}

// Sends a line; on failure reconnects and tries again, as the reader may have been restarted. False
// with errno.
static bool deliver(std::string_view line)
{
    if (send_line(line))
        return true;
    if (log_socket >= 0 && is_log_full(errno))
        return false;
    close_socket();
    open_socket();
    return send_line(line);
}

static void show_on(int fd, std::string_view shown, std::string_view end)
{
    log_line line;
    line << (shown.ends_with('\n') ? shown.substr(0, shown.size() - 1) : shown) << end;
    (void)!write(fd, line.view().data(), line.view().size()); // only a copy: may fail
}

static void show_on_console(std::string_view shown)
{
    const int fd = open("/dev/console", O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return;
    show_on(fd, shown, "\r\n");
    (void)close(fd); // a console does not buffer
}

static void tell_lost_lines(std::time_t now)
{
    const std::uint32_t count = take_lost(LOST_LINES);
    if (count == 0)
        return;
    log_line line;
    (void)add_head(line, LOG_ERR, now);
    line << "system log lines lost: " << static_cast<int>(count);
    if (!deliver(line.view()))
        count_lost(LOST_LINES, count);
}

void flatlink::vsystem_log(int priority, const char *format, va_list args)
{
    if (open_calls == 0) {
        vsyslog(priority, format, args);
        return;
    }
    const int error = errno;
    const std::time_t now = std::time(nullptr);
    ask_host(now);
    if (!is_wanted(priority))
        return;
    log_line line;
    const std::size_t shown = add_head(line, priority, now);
    errno = error; // for %m
    const int length = std::vsnprintf(line.end(), line.room() + 1, format, args);
    if (length > 0)
        line.extend(std::min(static_cast<std::size_t>(length), line.room()));
    const std::string_view text = line.view().substr(shown);
    if ((log_options & LOG_PERROR) != 0)
        show_on(STDERR_FILENO, text, "\n");
    if (deliver(line.view())) {
        if (has_lost(LOST_LINES))
            tell_lost_lines(now);
    } else {
        if (is_log_full(errno)) // without a reader a line does not count as lost
            count_lost(LOST_LINES);
        if ((log_options & LOG_CONS) != 0)
            show_on_console(text);
    }
    errno = error;
}

void flatlink::system_log(int priority, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    vsystem_log(priority, format, args);
    va_end(args);
}

void flatlink::system_log_at_any_instant(int priority, std::string_view text)
{
    if (open_calls == 0 || !is_wanted(priority))
        return;
    log_line line;
    (void)add_head(line, priority, std::time(nullptr));
    line << text;
    const std::size_t length = line.view().size() + (is_stream ? 1 : 0);
    const int fd = log_socket;
    if (fd < 0 || send_to_log_at_once(fd, line.c_str(), length, nullptr, 0) < 0)
        count_lost(LOST_LINES);
}
