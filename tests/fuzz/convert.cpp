// Any bytes as a database, taken the whole way: import, upgrade, derivation, loaders, finishing,
// and the lines that come out. The same database twice must give the same lines, but for the
// numbers of the lists of interfaces, which go on, and the trace, which shows addresses.
#include "flatlink/driver.h"
#include "flatlink/records/line.h"
#include "flatlink/records/records.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/symbol.h"
#include "lib/ulib/report.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/no_network.h"
#include "tests/fuzz/path_file.h"
#include "tests/ulib/scripted_names.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

using namespace flatlink;

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
    static path_file database;
    database.set_text(text);
    memory_file trace;
    fout = trace.stream;
    derive_records(database.path().c_str(), false);
    std::fclose(trace.stream);
    memory_file saved;
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
    const scripted_names no_names;
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    must(converted(text) == converted(text), "two results of one database");
    return 0;
}
