// The lines that are called unreachable, against every client of a small world.
#include "flatctl/check/shadowed.h"

#include "lib/fwall/access/srcchk.h"
#include "lib/fwall/table/proxy.h"
#include "tests/fwall/proxy_setup.h"
#include "tests/kdev/scripted_platform.h"

#include <random>
#include <set>

using namespace flatlink;

static const std::vector<std::string> addresses = {"9.9.9.9",  "10.0.0.0", "10.0.0.1",
                                                   "10.0.0.2", "10.0.0.3", "10.0.0.4",
                                                   "10.0.0.5", "10.0.0.9", "10.0.1.1"};
static const std::vector<std::string> names = {"", "a.lan", "b.lan", "c.net"};

// Lines that some client reaches, as the check itself answers.
static std::set<std::int32_t> reached(proxy_setup &setup)
{
    std::set<std::int32_t> lines;
    for (const std::string &address : addresses)
        for (const std::string &name : names) {
            setup.names.names.clear();
            if (!name.empty())
                setup.names.names = {{address, name}};
            const sockaddr_in from = plain_address(address.c_str()), local{};
            permit_confp = nullptr;
            if (permit_src_addr_chk(&from, &local) != SRC_NO_RULE)
                lines.insert(permit_confp->lineno);
        }
    return lines;
}

TEST(Shadowed, EveryClientOfRandomLists)
{
    static const std::vector<std::string> patterns = {"*",
                                                      "10.0.0.1",
                                                      "10.0.0.1-10.0.0.3",
                                                      "10.0.0.0-10.0.0.2",
                                                      "10.0.0.*",
                                                      "10",
                                                      "10.0.0.4-10.0.0.5",
                                                      "10.0.0.4:255.255.255.254",
                                                      "10.0.0.0-10.0.0.5", // ranges up to here
                                                      "*.lan",
                                                      "a.lan",
                                                      "B.LAN",
                                                      "c.*",
                                                      "0.0.0.1:0.0.0.255",
                                                      "10.*.1"};
    constexpr std::size_t RANGES = 9;
    std::mt19937 random(5);
    int shadowed_count = 0;
    for (int round = 0; round < 300; ++round) {
        const std::size_t kinds = round % 2 == 0 ? RANGES : patterns.size();
        std::string lines;
        for (auto line = 1 + random() % 6; line-- > 0;) {
            lines += "hosts " + patterns[random() % kinds];
            lines += random() % 3 == 0 ? " " + patterns[random() % kinds] + "\n" : "\n";
        }
        SCOPED_TRACE(lines);
        proxy_setup setup(lines, true);
        const scripted_platform no_device;
        const shadow_result result = find_shadowed(proxy_confp);
        const std::set<std::int32_t> by_client = reached(setup);
        std::set<std::int32_t> open(result.reachable.begin(), result.reachable.end());
        for (const shadowed_line &one : result.shadowed) {
            EXPECT_FALSE(by_client.contains(one.line)) << one.line;
            EXPECT_FALSE(one.takers.empty());
            ++shadowed_count;
        }
        // Of ranges all is told; names and patterns that are no range may be called reachable.
        for (const std::int32_t line : by_client)
            EXPECT_TRUE(open.contains(line)) << line;
        EXPECT_TRUE(kinds != RANGES || open.size() == by_client.size());
    }
    EXPECT_GT(shadowed_count, 150);
}
