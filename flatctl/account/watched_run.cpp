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
#include <string>

using namespace flatlink;

namespace
{

// Cuts what a stream writes into lines, and compares each with its note in the log, which was made
// before.
class output_lines
{
  public:
    output_lines(const conversion_log &log, const line_taker &take) : log_(log), take_(take) {}

    void add(std::string_view bytes);
    bool agree() const { return agree_ && begun_.empty() && count_ == log_.output().size(); }

  private:
    void take_line(std::string_view line);

    const conversion_log &log_;
    const line_taker &take_;
    std::string begun_; // a line without its end
    std::size_t count_ = 0;
    bool agree_ = true;
};

void output_lines::take_line(std::string_view line)
{
    const std::size_t equals = line.find('=');
    agree_ = agree_ && count_ < log_.output().size() && equals != std::string_view::npos;
    if (agree_) {
        const output_note &note = log_.output()[count_];
        agree_ = line.substr(0, equals).ends_with(log_.field_key(note.field)) &&
                 conversion_log::hash_of(line.substr(equals + 1)) == note.hash;
    }
    ++count_;
    take_(line);
}

void output_lines::add(std::string_view bytes)
{
    std::size_t end = 0;
    for (; (end = bytes.find('\n')) != std::string_view::npos; bytes.remove_prefix(end + 1)) {
        if (begun_.empty()) {
            take_line(bytes.substr(0, end));
        } else {
            take_line(begun_.append(bytes.substr(0, end)));
            begun_.clear();
        }
    }
    begun_.append(bytes);
}

void write_records_to(output_lines &lines)
{
    cookie_io_functions_t calls{};
    calls.write = [](void *to, const char *bytes, std::size_t size) {
        static_cast<output_lines *>(to)->add({bytes, size});
        return static_cast<ssize_t>(size);
    };
    std::FILE *stream = fopencookie(&lines, "w", calls);
    if (stream == nullptr)
        throw std::bad_alloc();
    write_records(stream);
    if (std::fclose(stream) != 0)
        throw std::bad_alloc();
}

} // namespace

int flatlink::run_watched(const input &database, const known_world &world, const child_port &port,
                          conversion_log &log, const line_taker &take)
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
    output_lines lines(log, take);
    write_records_to(lines);
    log.records_written();
    if (lines.agree())
        return STATUS_FINE;
    std::fputs("the account of the output is not what it holds\n", stderr);
    return STATUS_FAULT;
}
