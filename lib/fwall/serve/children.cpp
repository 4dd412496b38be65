#include "lib/fwall/serve/children.h"

#include "lib/fwall/table/proxy.h"
#include "lib/ulib/child_data.h"

#include <algorithm>
#include <csignal>
#include <sys/wait.h>
#include <vector>

using namespace flatlink;

namespace
{

struct served_client {
    pid_t child;
    in_addr_t client_be;
};

} // namespace

WRITTEN_BY_CHILD static std::vector<pid_t> acceptors;
WRITTEN_BY_CHILD static std::vector<served_client> clients;

void flatlink::add_acceptor(pid_t pid)
{
    acceptors.push_back(pid);
}

void flatlink::add_client(pid_t child, in_addr_t client_be)
{
    clients.push_back({child, client_be});
}

void flatlink::clear_children()
{
    acceptors.clear();
    clients.clear();
}

static void remove_client(pid_t child)
{
    const auto found = std::find_if(clients.begin(), clients.end(),
                                    [&](const served_client &one) { return one.child == child; });
    if (found == clients.end())
        return;
    *found = clients.back(); // the order does not matter
    clients.pop_back();
}

void flatlink::collect_children()
{
    pid_t pid = 0;
    while ((pid = waitpid(-1, nullptr, WNOHANG)) > 0)
        if (std::erase(acceptors, pid) == 0) {
            --proxy_child_count;
            remove_client(pid);
        }
}

int flatlink::clients_from(in_addr_t client_be)
{
    return static_cast<int>(
        std::count_if(clients.begin(), clients.end(),
                      [&](const served_client &one) { return one.client_be == client_be; }));
}

bool flatlink::has_children()
{
    return !acceptors.empty() || !clients.empty();
}

// A child keeps its number until it is collected, so no other process is hit.
void flatlink::signal_acceptors(int number)
{
    for (const pid_t pid : acceptors)
        (void)kill(pid, number);
}

void flatlink::signal_clients(int number)
{
    for (const served_client &one : clients)
        (void)kill(one.child, number);
}
