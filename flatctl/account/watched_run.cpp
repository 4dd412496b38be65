#include "flatctl/account/watched_run.h"

#include "flatctl/common/request.h"
#include "flatctl/input/input.h"
#include "flatlink/driver.h"
#include "lib/frag/import/import.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/symbol.h"
#include "lib/ulib/bounds.h"

#include <cstdio>
#include <cstring>

using namespace flatlink;

bool flatlink::agrees_with(const conversion_log &log, std::string_view output)
{
    for (const output_note &written : log.output()) {
        const std::size_t end = output.find('\n');
        const std::size_t equals = output.find('=');
        if (end == std::string_view::npos || equals >= end)
            return false;
        const std::string_view value = output.substr(equals + 1, end - equals - 1);
        if (!output.substr(0, equals).ends_with(log.field_key(written.field)) ||
            conversion_log::hash_of(value) != written.hash)
            return false;
        output.remove_prefix(end + 1);
    }
    return output.empty();
}

static std::string written_records()
{
    std::string output;
    const cookie_io_functions_t calls = {.read = nullptr,
                                         .write =
                                             [](void *text, const char *bytes, std::size_t size) {
                                                 static_cast<std::string *>(text)->append(bytes,
                                                                                          size);
                                                 return static_cast<ssize_t>(size);
                                             },
                                         .seek = nullptr,
                                         .close = nullptr};
    std::FILE *stream = fopencookie(&output, "w", calls);
    if (stream == nullptr)
        throw std::bad_alloc();
    write_records(stream);
    if (std::fclose(stream) != 0)
        throw std::bad_alloc();
    return output;
}

int flatlink::run_watched(const input &database, const known_world &world, const child_port &port,
                          conversion_log &log, std::string &output)
{
    enter_world(world, port);
    tap_reports();
    start_bounds();
    if (const int error = import_open_env(database.fd.get()); error != 0) {
        std::fprintf(stderr, "%s\n", std::strerror(error));
        return STATUS_UNREADABLE;
    }
    log.import_ended(def_database);
    def_database = upgradeTo42(def_database);
    log.layout_reached(def_database);
    derive_from_tree(false);
    if (!report_bounds())
        return STATUS_FOUND;
    output = written_records();
    log.records_written();
    if (agrees_with(log, output))
        return STATUS_FINE;
    std::fputs("the account of the output is not what it holds\n", stderr);
    return STATUS_FAULT;
}
