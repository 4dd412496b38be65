#include "lib/fwall/log/stdlog.h"

#include "lib/ulib/fixed_text.h"
#include "lib/ulib/report.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

int log_open(stdlog_conn *conn)
{
    conn->address.sun_family = AF_UNIX;
    set_text(conn->address.sun_path, STDLOG_PATH);
    conn->fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    if (conn->fd < 0) {
        const int error = errno;
        conn->fd = -1;
        syslog(REPORT_ERROR, "Failed to create stdlog socket errno=%d %s", error,
               std::strerror(error));
        return error;
    }
    if (fcntl(conn->fd, F_SETFD, FD_CLOEXEC) < 0)
        syslog(REPORT_ERROR, "Failed to set close-on-exec flag errno=%d %s", errno,
               std::strerror(errno));
    return 0;
}

void log_close(stdlog_conn *conn)
{
    if (conn->fd >= 0)
        (void)close(conn->fd); // datagrams: nothing is pending
    conn->fd = -1;
}

// An interrupted wait for a full queue is begun again: a signal must not cost a record.
static void send_record(const void *record, std::size_t length, const stdlog_conn &conn)
{
    constexpr useconds_t NO_BUFFER_WAIT_US = 100;
    while (sendto(conn.fd, record, length, 0, reinterpret_cast<const sockaddr *>(&conn.address),
                  sizeof conn.address) < 0) {
        if (errno == ENOBUFS) {
            usleep(NO_BUFFER_WAIT_US);
            continue;
        }
        if (errno == EINTR)
            continue;
        syslog(REPORT_ERROR, "!!! Error sending std log msg: errno=%d %s\n", errno,
               std::strerror(errno));
        return;
    }
}

int log_transmit(const void *record, std::size_t length, stdlog_conn *conn)
{
    stdlog_conn temporary;
    stdlog_conn *used = conn == nullptr ? &temporary : conn;
    const bool open = used->fd >= 0 || log_open(used) == 0;
    if (open)
        send_record(record, length, *used);
    log_close(&temporary);
    return open ? 1 : 0;
}

int log_daemonmsg(std::int32_t mode, const DaemonMsg *record, stdlog_conn *conn)
{
    return (mode & LOG_MODE_STDLOG) == 0 ? 1 : log_transmit(record, sizeof *record, conn);
}

CStdLog::CStdLog(std::int32_t log_mode) : mode(log_mode)
{
    (void)log_open(&stdlog); // each send tries again
}

CStdLog::~CStdLog()
{
    log_close(&stdlog);
}

int CStdLog::log_daemonmsg(const DaemonMsg &record)
{
    return ::log_daemonmsg(mode, &record, &stdlog);
}
