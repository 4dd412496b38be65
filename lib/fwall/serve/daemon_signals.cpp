#include "lib/fwall/serve/daemon_signals.h"

#include "lib/fwall/log/log.h"
#include "lib/fwall/serve/children.h"
#include "lib/fwall/serve/stop.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/child_data.h"
#include "lib/ulib/name_table.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/safe_text.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <unistd.h>

using namespace flatlink;

namespace
{

constexpr int held_signals[] = {SIGCHLD, SIGHUP, SIGINT, SIGTERM, SIGUSR1};

constexpr name_num signal_names[] = {{"HUP", SIGHUP}, {"INT", SIGINT}, {"TERM", SIGTERM}};

using safe_line = safe_text<80>;

} // namespace

static void (*volatile proxy_callback)(int number) = nullptr;
WRITTEN_BY_CHILD static volatile sig_atomic_t at_any_instant = 0; // 1 in a connection child
WRITTEN_BY_CHILD static bool held = false; // true from start_daemon_signals on
static sigset_t open_mask;                 // while a process waits, and in its children

static void tell(events event, const safe_line &line)
{
    if (at_any_instant != 0)
        log_at_any_instant(event, REPORT_NOTICE, line.c_str());
    else
        notice(event, 0, "%s", line.c_str());
}

// Installs a handler that none of our others interrupts. SA_RESTART, because an accepting process
// must go on waiting, and proxies should not have to handle EINTR.
static void install(int number, void (*handler)(int number))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int other : held_signals)
        sigaddset(&action.sa_mask, other);
    (void)sigaction(number, &action, nullptr); // cannot fail for these
}

static void on_child(int)
{
    waitwaitwait();
}

static void on_status(int)
{
    stat_signal();
}

void waitwaitwait()
{
    const int error = errno;
    collect_children();
    install(SIGCHLD, on_child);
    errno = error;
}

static void report_signal(int number)
{
    const std::string_view name = parsenumtoname(signal_names, number);
    safe_line line;
    if (name.empty())
        line << "caught signal " << number;
    else
        line << "caught " << name << " signal";
    tell(EVENT_SIGNAL, line);
}

[[noreturn]] static void finish(int number, int status)
{
    if (proxy_callback != nullptr)
        proxy_callback(number);
    if (at_any_instant != 0)
        _exit(status);
    std::exit(status);
}

void hup_exit(int number)
{
    report_signal(number);
    finish(number, 1);
}

static void on_stop(int number)
{
    if (at_any_instant != 0 || !is_stop_orderly())
        hup_exit(number);
    report_signal(number);
    stop_orderly();
    finish(number, 0);
}

void stat_signal()
{
    const int error = errno;
    tell(EVENT_WAITING, safe_line() << proxy_child_count << " of " << proxy_child_limit
                                    << " copies currently active");
    errno = error;
}

void SetProxyCallBack(void (*callback)(int number))
{
    proxy_callback = callback;
}

// The masks are set by pthread_sigmask, which sigprocmask calls from another page of code.
static void hold_signals(sigset_t *before)
{
    sigset_t ours;
    sigemptyset(&ours);
    for (const int number : held_signals)
        sigaddset(&ours, number);
    (void)pthread_sigmask(SIG_BLOCK, &ours, before); // cannot fail
}

void flatlink::start_daemon_signals()
{
    hold_signals(&open_mask);
    for (const int number : held_signals)
        sigdelset(&open_mask, number); // the parent may have started us with them blocked
    held = true;
    install(SIGCHLD, on_child);
    for (const int number : {SIGHUP, SIGINT})
        install(number, hup_exit);
    install(SIGTERM, on_stop);
    install(SIGUSR1, on_status);
}

signals_open::signals_open()
{
    if (held)
        (void)pthread_sigmask(SIG_SETMASK, &open_mask, nullptr);
}

signals_open::~signals_open()
{
    if (held)
        hold_signals(nullptr);
}

void flatlink::give_signals_back()
{
    clear_children();
    at_any_instant = 1;
    held = false;
    (void)pthread_sigmask(SIG_SETMASK, &open_mask, nullptr);
}
