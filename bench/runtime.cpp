// The frequent work of a proxy: reading its table, walking entries, and reporting. Reports are
// compared with bare datagrams of the same size, in alternating rounds; `ratio` is the median rate
// of the reports divided by that of the bare sends.
#include "bench/rounds.h"
#include "lib/fwall/log/context.h"
#include "lib/fwall/log/escape.h"
#include "lib/fwall/log/log.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/enargv.h"
#include "lib/ulib/fixed_text.h"

#include <array>
#include <benchmark/benchmark.h>
#include <csignal>
#include <string>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace flatlink;

// Sets a table of `lines` entries, every second for the proxy "p".
static void set_table(int lines)
{
    static const int file = memfd_create("table", MFD_CLOEXEC);
    std::string text;
    for (int i = 0; i < lines; ++i)
        text += std::string(i % 2 == 0 ? "p" : "other") + ": permit-hosts 10." +
                std::to_string(i / 256 % 256) + "." + std::to_string(i % 256) +
                ".* -policy \"office " + std::to_string(i % 10) + "\"\n";
    if (ftruncate(file, 0) != 0 || pwrite(file, text.data(), text.size(), 0) < 0)
        std::abort();
    cfg_setpfile(("/proc/self/fd/" + std::to_string(file)).c_str());
}

static void read_table(benchmark::State &state)
{
    set_table(static_cast<int>(state.range(0)));
    for (auto _ : state)
        cfg_free(cfg_read("p"));
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(read_table)
    ->RangeMultiplier(2)
    ->Range(25'000, 100'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

static void split_arguments(benchmark::State &state)
{
    std::array<char *, 256> argv;
    std::array<char, 1024> buffer;
    for (auto _ : state)
        benchmark::DoNotOptimize(enargv("10.1.2.* \"a b\" -policy office -x y\\ z", argv.data(),
                                        256, buffer.data(), 1024));
}
BENCHMARK(split_arguments);

static void walk_entries(benchmark::State &state)
{
    set_table(2 * static_cast<int>(state.range(0)));
    cfgrec *list = cfg_read("p");
    for (auto _ : state)
        for (const cfgrec *entry = cfg_get("hosts", list); entry != nullptr;
             entry = cfg_get("hosts", nullptr))
            benchmark::DoNotOptimize(entry);
    state.SetItemsProcessed(state.iterations() * state.range(0));
    cfg_free(list);
}
BENCHMARK(walk_entries)->Arg(1000);

static void test_level(benchmark::State &state)
{
    std::int32_t event = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Log::WithinLogLevel(static_cast<events>(event), 2));
        event = (event + 7919) % 33000;
    }
}
BENCHMARK(test_level);

static void escape_text(benchmark::State &state)
{
    std::string text(1000, 'x');
    for (std::size_t i = 0; state.range(0) != 0 && i < text.size();
         i += static_cast<std::size_t>(state.range(0)))
        text[i] = ',';
    std::array<char, 1024> escaped;
    for (auto _ : state) {
        benchmark::DoNotOptimize(hexescNonAsciiPlus(escaped.data(), text.c_str(), 1024, ","));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(escape_text)->Arg(0)->Arg(20);

// A process that reads the datagrams sent to its path, which the destructor removes.
struct reader {
    std::string path = "/tmp/bench-log-" + std::to_string(getpid());
    pid_t pid = -1;

    reader()
    {
        const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
        const sockaddr_un address = address_of_path();
        if (bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
            std::abort();
        pid = fork();
        char bytes[2048];
        while (pid == 0)
            if (recv(fd, bytes, sizeof bytes, 0) < 0)
                _exit(0);
        close(fd);
    }
    ~reader()
    {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        unlink(path.c_str());
    }
    reader(const reader &) = delete;
    reader &operator=(const reader &) = delete;

    sockaddr_un address_of_path() const
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        set_text(address.sun_path, path);
        return address;
    }
};

static void send_records(benchmark::State &state)
{
    constexpr int ROUND = 1000;
    const reader log_daemon;
    const sockaddr_un address = log_daemon.address_of_path();
    CServiceContext service;
    CConnectionContext connection;
    service.SetProxyName("relay");
    connection.SetSrcIPAddress("10.0.0.1");
    connection.SetDstIPAddress("10.0.0.2");
    connection.SetRule("12", "office", 5);
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    uniq.event = EVENT_HOST_DENIED;
    Log log("bench", nullptr, 0, 8);
    log.mode = LOG_MODE_STDLOG;
    log.stdlog.address = address;
    if (log_connect(&log.stdlog) != 0) // as V_OpenLog leaves it
        std::abort();
    const DaemonMsg bare;
    std::vector<double> reports;
    std::vector<double> sends;
    for (auto _ : state) {
        reports.push_back(seconds_of(ROUND, [&](int i) {
            log.SendLog(&service, &connection, &uniq, 5, "deny host=%s/%s, number %d", "peer",
                        "10.0.0.1", i);
        }));
        sends.push_back(seconds_of(ROUND, [&](int) {
            (void)sendto(log.stdlog.fd, &bare, sizeof bare, 0,
                         reinterpret_cast<const sockaddr *>(&address), sizeof address);
        }));
    }
    state.counters["ratio"] = median(sends) / median(reports);
    state.counters["records/s"] = ROUND / median(reports);
    state.counters["bare/s"] = ROUND / median(sends);
}
BENCHMARK(send_records)->Iterations(50)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
