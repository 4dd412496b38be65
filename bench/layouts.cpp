// The conversions between layouts at growing sizes, with their complexity: the upgrade of an older
// database at load, each export, and export followed by import.
#include "bench/generate.h"
#include "lib/frag/export/export.h"
#include "lib/frag/import/import.h"
#include "lib/frag/layout/canon.h"
#include "lib/frag/layout/upgrade.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/symbol.h"

#include <array>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

using namespace flatlink;

// The default tree, whose top level has an index as it has in the tool.
static void import_text(const std::string &text)
{
    free_fraglist(&def_database);
    importer reader(&def_database, 0);
    for (std::size_t pos = 0; pos < text.size(); pos += IMPORT_BLOCK_SIZE)
        reader.feed(std::string_view(text).substr(pos, IMPORT_BLOCK_SIZE));
    reader.finish();
}

static std::string database_of(const benchmark::State &state)
{
    return make_numbered_database(static_cast<std::size_t>(state.range(0)));
}

static void bring_up_to_date()
{
    norm_fragtree(&def_database);
    up41(&def_database);
}

static void from_n_to_4n(benchmark::internal::Benchmark *measured)
{
    measured->RangeMultiplier(2)
        ->Range(50'000, 200'000)
        ->Complexity()
        ->Unit(benchmark::kMillisecond);
}

static void canonicalisation(benchmark::State &state)
{
    const std::string text = database_of(state);
    for (auto _ : state) {
        state.PauseTiming();
        import_text(text);
        state.ResumeTiming();
        norm_fragtree(&def_database);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(canonicalisation)->Apply(from_n_to_4n);

static void upgrade(benchmark::State &state)
{
    const std::string text = database_of(state);
    for (auto _ : state) {
        state.PauseTiming();
        import_text(text);
        norm_fragtree(&def_database);
        state.ResumeTiming();
        up41(&def_database);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(upgrade)->Apply(from_n_to_4n);

static void exported(benchmark::State &state, int version)
{
    import_text(database_of(state));
    bring_up_to_date();
    for (auto _ : state)
        if (exportenv("/dev/null", version) != 0)
            state.SkipWithError("not written");
    state.SetComplexityN(state.range(0));
}
BENCHMARK_CAPTURE(exported, flat, EXPORT_FLAT)->Apply(from_n_to_4n);
BENCHMARK_CAPTURE(exported, numbered, EXPORT_NUMBERED)->Apply(from_n_to_4n);
BENCHMARK_CAPTURE(exported, xml, EXPORT_XML)->Apply(from_n_to_4n);

// Import, upgrade, export in the numbered layout; then the same with the exported file.
static void round_trip(benchmark::State &state)
{
    const std::string text = database_of(state);
    std::array<char, 32> path{"/tmp/round_trip_XXXXXX"};
    close(mkstemp(path.data()));
    for (auto _ : state) {
        import_text(text);
        bring_up_to_date();
        int result = exportenv(path.data(), EXPORT_NUMBERED);
        free_fraglist(&def_database);
        result |= importenv(path.data());
        bring_up_to_date();
        if (result != 0)
            state.SkipWithError("not written or not read");
    }
    std::remove(path.data());
    state.SetComplexityN(state.range(0));
}
BENCHMARK(round_trip)->Apply(from_n_to_4n);

BENCHMARK_MAIN();
