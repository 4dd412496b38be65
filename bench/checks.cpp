// The check of a client against a table of 1,000 `hosts` lines of one kind, the last of which fits,
// compared with a plain fnmatch loop over the same patterns in memory, in alternating rounds.
// `ratio` is the median time of a check divided by that of a loop. The lines are consecutive, or
// (mixed) each is followed by an entry of one of five other keywords. A check of names looks up the
// client's name.
#include "bench/rounds.h"
#include "lib/fwall/access/srcchk.h"
#include "lib/fwall/serve/settings.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/name_service.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fnmatch.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

using namespace flatlink;

static constexpr int LINES = 1000;
static constexpr char CLIENT[] = "192.0.2.7";
static char client_name[] = "mail.office.example";

static long look_ups = 0;

static hostent *name_of_client(const void *, socklen_t, int)
{
    static hostent answer{};
    answer.h_name = client_name;
    ++look_ups;
    return &answer;
}

static std::vector<std::string> patterns_of(const std::string &head, const std::string &tail,
                                            const std::string &fitting)
{
    std::vector<std::string> patterns;
    for (int i = 1; i < LINES; ++i)
        patterns.push_back(head + std::to_string(i / 200) + '.' + std::to_string(i % 200) + tail);
    patterns.push_back(fitting);
    return patterns;
}

enum class table { ADJACENT, MIXED };

static void load_table(const std::vector<std::string> &patterns, table kind)
{
    static constexpr const char *others[] = {"timeout 60", "destination 10.*", "ports 80 443",
                                             "ruleNumber 7", "authserver 10.0.0.1 7777"};
    static const int file = memfd_create("hosts", MFD_CLOEXEC);
    std::string text;
    for (std::size_t i = 0; i < patterns.size(); ++i) {
        text += "p: permit-hosts " + patterns[i] + " -policy office\n";
        if (kind == table::MIXED)
            text += std::string("p: ") + others[i % std::size(others)] + '\n';
    }
    if (ftruncate(file, 0) != 0 || pwrite(file, text.data(), text.size(), 0) < 0)
        std::abort();
    cfg_setpfile(("/proc/self/fd/" + std::to_string(file)).c_str());
    set_text(proxy_name, "p");
    if (proxy_load_config() != 0)
        std::abort();
}

// `text` is what fnmatch compares: the client's address or name.
static void check_client(benchmark::State &state, table kind,
                         const std::vector<std::string> &patterns, const char *text)
{
    constexpr int ROUND = 200;
    load_table(patterns, kind);
    static constexpr name_service_calls scripted{
        .host_by_name = nullptr, .host_by_address = name_of_client, .service_by_name = nullptr};
    name_service = &scripted;
    sockaddr_in client{}, local{};
    client.sin_family = local.sin_family = AF_INET;
    client.sin_addr.s_addr = inet_addr(CLIENT);
    std::vector<double> checks, loops;
    look_ups = 0;
    for (auto _ : state) {
        checks.push_back(seconds_of(ROUND, [&](int) {
            if (permit_src_addr_chk(&client, &local) != SRC_PERMITTED)
                std::abort();
        }));
        loops.push_back(seconds_of(ROUND, [&](int) {
            const auto fits = [text](const std::string &pattern) {
                return fnmatch(pattern.c_str(), text, 0) == 0;
            };
            benchmark::DoNotOptimize(std::find_if(patterns.begin(), patterns.end(), fits));
        }));
    }
    state.counters["ratio"] = median(checks) / median(loops);
    state.counters["checks/s"] = ROUND / median(checks);
    state.counters["look-ups"] =
        static_cast<double>(look_ups) / static_cast<double>(ROUND * checks.size());
}

#define CHECK_CLIENT(kind, what, patterns, text)                                                   \
    BENCHMARK_CAPTURE(check_client, kind##_##what, table::kind, patterns, text)->Iterations(50)

CHECK_CLIENT(ADJACENT, addresses, patterns_of("10.", ".*", "192.0.2.*"), CLIENT);
CHECK_CLIENT(ADJACENT, names, patterns_of("*.a", ".example", "*.office.example"), client_name);
CHECK_CLIENT(ADJACENT, identities, patterns_of("~partner", "", "*"), CLIENT);
CHECK_CLIENT(MIXED, addresses, patterns_of("10.", ".*", "192.0.2.*"), CLIENT);
CHECK_CLIENT(MIXED, names, patterns_of("*.a", ".example", "*.office.example"), client_name);
CHECK_CLIENT(MIXED, identities, patterns_of("~partner", "", "*"), CLIENT);
