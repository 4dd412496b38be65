// The conversion's stages at growing sizes, with their complexity.
#include "bench/generate.h"
#include "flatlink/derive/rule_walk.h"
#include "flatlink/records/link_sort.h"
#include "flatlink/records/links.h"
#include "flatlink/records/post_decode.h"
#include "lib/frag/import/import.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/symbol.h"
#include "lib/kdev/platform/platform.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <memory>
#include <string>

using namespace flatlink;

static void import_text(const std::string &text, frag **head)
{
    importer reader(head, 0);
    for (std::size_t pos = 0; pos < text.size(); pos += IMPORT_BLOCK_SIZE)
        reader.feed(std::string_view(text).substr(pos, IMPORT_BLOCK_SIZE));
    reader.finish();
}

static void import_notation(benchmark::State &state, notation form)
{
    const std::string text = make_settings(static_cast<std::size_t>(state.range(0)), form);
    for (auto _ : state) {
        frag *head = nullptr;
        import_text(text, &head);
        state.PauseTiming();
        free_fraglist(&head);
        state.ResumeTiming();
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK_CAPTURE(import_notation, flat, notation::FLAT)
    ->RangeMultiplier(2)
    ->Range(50'000, 200'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(import_notation, shuffled, notation::SHUFFLED)
    ->RangeMultiplier(2)
    ->Range(50'000, 200'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(import_notation, sections, notation::SECTIONS)
    ->RangeMultiplier(2)
    ->Range(50'000, 200'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(import_notation, tags, notation::TAGS)
    ->RangeMultiplier(2)
    ->Range(50'000, 200'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

static void load_database(const database_shape &shape)
{
    free_fraglist(&def_database);
    reset_records();
    clear_lookups();
    import_text(make_database(shape), &def_database);
}

static void look_up(benchmark::State &state)
{
    const auto objects = static_cast<std::size_t>(state.range(0));
    load_database({.objects = objects});
    std::size_t number = 0;
    for (auto _ : state) {
        number = (number * 31 + 17) % objects;
        const std::string key = "net_ipaddr_object" + std::to_string(number) + "_addr";
        benchmark::DoNotOptimize(fval(&def_database, key.c_str()));
    }
}
BENCHMARK(look_up)->RangeMultiplier(4)->Range(10'000, 640'000);

static void walk_rules()
{
    start_rule_walk();
    enum_rule_list(
        &def_database, ffind(&def_database, "rule_pffwd"),
        [](frag **db, frag *rule, const char *) { return vpn_enum_link_rules(db, rule, 0); });
}

static void derive(benchmark::State &state)
{
    load_database({.sites = static_cast<std::size_t>(state.range(0))});
    for (auto _ : state) {
        linkinfos.clear();
        invalidate_link_index();
        walk_rules();
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(derive)
    ->RangeMultiplier(2)
    ->Range(5'000, 20'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

// A table without routes: measures the sort and the removal of twins, not the kernel.
static void answer_no_route()
{
    static platform_calls deaf = HOST_PLATFORM;
    deaf.route_open = [] { return -1; };
    platform = &deaf;
}

static void sort_and_twins(benchmark::State &state)
{
    answer_no_route();
    for (auto _ : state) {
        state.PauseTiming();
        load_database({.sites = static_cast<std::size_t>(state.range(0))});
        walk_rules();
        state.ResumeTiming();
        finish_linkinfos();
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(sort_and_twins)
    ->RangeMultiplier(2)
    ->Range(5'000, 20'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

static void whole_run(benchmark::State &state)
{
    answer_no_route();
    const std::string text = make_database({.sites = static_cast<std::size_t>(state.range(0))});
    for (auto _ : state) {
        free_fraglist(&def_database);
        reset_records();
        import_text(text, &def_database);
        walk_rules();
        (void)post_decode();
        std::FILE *out = std::fopen("/dev/null", "we");
        save_linkinfos(out, linkinfos);
        std::fclose(out);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(whole_run)
    ->RangeMultiplier(2)
    ->Range(5'000, 20'000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
