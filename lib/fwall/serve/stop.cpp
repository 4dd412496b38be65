#include "lib/fwall/serve/stop.h"

#include "lib/fwall/serve/accept_lock.h"
#include "lib/fwall/serve/children.h"
#include "lib/fwall/serve/daemon_signals.h"
#include "lib/fwall/serve/service_manager.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/notice.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <unistd.h>

using namespace flatlink;

using steady = std::chrono::steady_clock;

static int listening = -1;

void flatlink::prepare_stop(int listener)
{
    listening = listener;
}

bool flatlink::is_stop_orderly()
{
    return proxy_stop_timeout > 0 || has_service_manager();
}

// The next of these signals, which are blocked; 0 when the time comes first.
static int next_signal(steady::time_point end)
{
    sigset_t awaited;
    sigemptyset(&awaited);
    for (const int number : {SIGCHLD, SIGUSR1, SIGTERM, SIGINT, SIGHUP})
        sigaddset(&awaited, number);
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - steady::now());
        if (left.count() <= 0)
            return 0;
        const timespec limit{.tv_sec = left.count() / 1000,
                             .tv_nsec = left.count() % 1000 * 1'000'000};
        const int number = sigtimedwait(&awaited, nullptr, &limit);
        if (number > 0 || errno != EINTR)
            return number > 0 ? number : 0;
    }
}

// True when all children have ended within the time, which a signal to stop can cut short.
static bool wait_for_children(int seconds, bool can_be_cut)
{
    const auto end = steady::now() + std::chrono::seconds(seconds);
    for (;;) {
        collect_children();
        if (!has_children())
            return true;
        const int number = next_signal(end);
        if (number == SIGUSR1)
            stat_signal();
        else if (number == 0 || (can_be_cut && number != SIGCHLD))
            return false;
    }
}

// Keeps the manager from ending the service while its connections may still take their time.
static void tell_of_stop()
{
    const std::chrono::microseconds most = std::chrono::seconds(std::max(proxy_stop_timeout, 0)) +
                                           2 * std::chrono::seconds(STOP_GRACE_S);
    tell_service_manager(
        ("STOPPING=1\nEXTEND_TIMEOUT_USEC=" + std::to_string(most.count())).c_str());
}

void flatlink::stop_orderly()
{
    (void)close(listening); // the kernel refuses clients from here on
    accept_unlock();        // one that is stopped alone must not keep the turn
    tell_of_stop();
    signal_acceptors(SIGTERM);
    collect_children();
    if (proxy_stop_timeout <= 0 || !has_children())
        return;
    if (proxy_child_count > 0)
        notice(EVENT_WAITING, 0, "stopping: %d connections have %d seconds to end",
               proxy_child_count, proxy_stop_timeout);
    if (wait_for_children(proxy_stop_timeout, true))
        return;
    if (proxy_child_count > 0)
        notice(EVENT_WAITING, 0, "stopping: ending %d connections", proxy_child_count);
    signal_clients(SIGTERM);
    signal_acceptors(SIGTERM); // whose time may not be over yet
    if (wait_for_children(STOP_GRACE_S, false))
        return;
    signal_clients(SIGKILL);
    // An accepting process that is killed leaves its connections, so it gets the time to end them.
    if (!wait_for_children(STOP_GRACE_S, false))
        signal_acceptors(SIGKILL);
}
