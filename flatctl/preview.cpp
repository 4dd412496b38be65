// preview DB: the bytes that flatlink would write over the database, or with --against what they
// would change in flat data that is in use, or with --ledger the account of every line. The
// database is read, and nothing else happens.
#include "flatctl/account/ledger.h"
#include "flatctl/common/setting_output.h"
#include "flatctl/common/text_write.h"
#include "flatctl/forms/flat_diff.h"
#include "flatctl/input/input.h"
#include "flatctl/options.h"
#include "flatctl/verbs.h"

#include <cstdio>
#include <unistd.h>

using namespace flatlink;

// Compares in a child, since the old data comes from outside.
static int compare_with(const input &old_data, const std::string &derived, const request &asked)
{
    side_frames side(old_data, asked.quiet);
    const auto work = [&](child_port &port) {
        std::string text;
        char block[65536];
        ssize_t got = 0;
        while ((got = read(old_data.fd.get(), block, sizeof block)) > 0)
            text.append(block, static_cast<std::size_t>(got));
        if (got < 0) {
            std::perror("read");
            return static_cast<int>(STATUS_UNREADABLE);
        }
        const std::vector<flat_change> changes = compare_flat(text, derived);
        for (const flat_change &change : changes)
            port.send(frame_kind::DATA, shown_change(change, asked.reveal));
        return static_cast<int>(changes.empty() ? STATUS_FINE : STATUS_FOUND);
    };
    const child_result result = run_child(old_data.limits, old_data.fd.get(), work,
                                          [&](frame_kind kind, std::string_view bytes) {
                                              if (kind == frame_kind::DATA && !asked.quiet)
                                                  put(bytes);
                                              side.take(kind, bytes);
                                          });
    return side.end(result);
}

int flatlink::run_preview(const request &asked)
{
    if (asked.ledger && !asked.against.empty()) {
        tell("preview takes --ledger or --against, not both");
        return STATUS_USAGE;
    }
    known_world world;
    input database, old_data;
    std::string error = read_world(asked, world);
    if (error.empty())
        error = open_database(asked.operands[0], asked, database);
    if (error.empty() && !asked.against.empty())
        error = open_input(asked.against, asked, old_data);
    if (!error.empty()) {
        tell(error);
        return STATUS_UNREADABLE;
    }
    setting_output output(asked.reveal);
    side_frames side(database, asked.quiet);
    std::string derived;
    const child_result result = run_child(
        database.limits, database.fd.get(),
        [&](child_port &port) {
            return asked.ledger ? ledger_in_child(database, world, asked, port)
                                : derive_in_child(database, world, port);
        },
        [&](frame_kind kind, std::string_view bytes) {
            if (kind == frame_kind::DATA && asked.ledger && !asked.quiet)
                put(bytes);
            else if (kind == frame_kind::DATA && !asked.against.empty())
                derived += bytes;
            else if (kind == frame_kind::DATA && !asked.quiet)
                output.take(bytes);
            side.take(kind, bytes);
        });
    const int status = side.end(result);
    return status != STATUS_FINE || asked.against.empty() ? status
                                                          : compare_with(old_data, derived, asked);
}
