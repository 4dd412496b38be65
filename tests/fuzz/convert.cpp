// Any bytes as a database, taken the whole way: import, upgrade, derivation, loaders, finishing,
// and the lines that come out. The same database twice must give the same lines, but for the
// numbers of the lists of interfaces, which go on, and the trace, which shows addresses.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "flatlink/decoder.h"
#include "flatlink/driver.h"
#include "flatlink/line.h"
#include "flatlink/loaders.h"
#include "flatlink/pool_loader.h"
#include "flatlink/post_decode.h"
#include "flatlink/records.h"
#include "flatlink/rule_walk.h"
#include "lib/frag/frag.h"
#include "lib/frag/frag_sort.h"
#include "lib/frag/import.h"
#include "lib/frag/symbol.h"
#include "lib/ulib/report.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/must.h"
#include "tests/fuzz/no_network.h"

static void derive_links(const char *key, std::uint32_t flags)
{
    if (frag *rules = ffind(&def_database, key))
        enum_rule_list(&def_database, rules, [flags](frag **db, frag *rule, const char *) {
            return vpn_enum_link_rules(db, rule, flags);
        });
}

template <typename loader> static void load_children(const char *key, loader load)
{
    frag *node = ffind(&def_database, key);
    for (frag *child = node == nullptr ? nullptr : node->child; child; child = child->next)
        load(child);
}

static std::string without_interfaces(std::string_view lines)
{
    std::string kept;
    while (!lines.empty()) {
        const std::string_view line =
            lines.substr(0, std::min(lines.find('\n'), lines.size() - 1) + 1);
        lines.remove_prefix(line.size());
        if (!line.starts_with("netobj_list_"))
            kept += line;
    }
    return kept;
}

// The lines of a database.
static std::string converted(std::string_view text)
{
    memory_file trace;
    memory_file saved;
    fout = trace.stream;
    {
        importer reader(&def_database, 0);
        reader.feed(text);
        reader.finish();
    }
    def_database = upgradeTo42(def_database);
    start_rule_walk();
    derive_links("rule_pffwd", 0);
    derive_links("rule_proxy", PROXY_RULE);
    load_children("vpn_ike", load_ike);
    load_children("vpn_ipsec", load_ipsec);
    load_children("vpn_mcpool", [](frag *pool) { load_mcpool(&def_database, pool); });
    if (frag *settings = ffind(&def_database, "vpn_settings"))
        load_settings(settings);
    build_interface_list(&def_database);
    (void)post_decode();
    std::fclose(trace.stream);
    fout = saved.stream;
    must(save_vpndata("none") == 0, "a save that failed");
    fout = nullptr;
    free_fraglist(&def_database);
    reset_records();
    return without_interfaces({saved.bytes, saved.size});
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static std::FILE *const nowhere = stderr = std::fopen("/dev/null", "we");
    if (nowhere == nullptr)
        return 0;
    // Reports go nowhere, not to the host's log.
    servContext = reinterpret_cast<CServiceContext *>(nowhere);
    connContext = reinterpret_cast<CConnectionContext *>(nowhere);
    report_hook = [](auto...) {};
    platform = &NO_NETWORK;
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    must(converted(text) == converted(text), "two results of one database");
    return 0;
}
