#include "flatctl/explain_input.h"

#include "flatctl/account/watched_run.h"
#include "flatctl/common/text_write.h"
#include "flatctl/options.h"

using namespace flatlink;

int flatlink::explain_database(const request &asked,
                               int (*work)(const explain_input &, child_port &))
{
    explain_input run{asked, asked.operands[0], {}, {}};
    std::string error = read_world(asked, run.world);
    if (error.empty())
        error = open_database(asked.operands[1], asked, run.database);
    if (!error.empty()) {
        tell(error);
        return STATUS_UNREADABLE;
    }
    side_frames side(run.database, asked.quiet);
    const child_result result = run_child(
        run.database.limits, run.database.fd.get(),
        [&](child_port &port) { return work(run, port); },
        [&](frame_kind kind, std::string_view bytes) {
            if (kind == frame_kind::DATA && !asked.quiet)
                put(bytes);
            side.take(kind, bytes);
        });
    return side.end(result);
}

int flatlink::convert_explained(const explain_input &run, const child_port &port,
                                conversion_log &log, std::string &output)
{
    return run_watched(run.database, run.world, port, log,
                       [&output](std::string_view line) { output.append(line).append(1, '\n'); });
}
