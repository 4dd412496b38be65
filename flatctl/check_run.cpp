#include "flatctl/check_run.h"

#include "flatctl/check_database.h"
#include "flatctl/check_message.h"
#include "flatctl/options.h"

#include <map>

using namespace flatlink;

namespace
{

class check_run
{
  public:
    check_run(const check_task &task, const known_world &world, checked_input &checked)
        : task_(task), world_(world), checked_(checked)
    {
    }

    int run();

  private:
    void take(frame_kind kind, std::string_view bytes);
    void take_message(std::string_view bytes);
    void add_for_whole(std::string_view code, std::string detail);

    const check_task &task_;
    const known_world &world_;
    checked_input &checked_;
    std::map<std::string_view, std::size_t> counts_; // of those about the whole input, by code
    std::string message_;                            // begun
};

void check_run::add_for_whole(std::string_view code, std::string detail)
{
    if (++counts_[code] <= FINDINGS_MAX)
        checked_.findings.push_back({.row = find_code(code), .detail = std::move(detail)});
}

void check_run::take_message(std::string_view bytes)
{
    for (const char c : bytes) {
        if (c != '\n') {
            message_ += c;
            continue;
        }
        add_for_whole("D404", message_);
        message_.clear();
    }
}

void check_run::take(frame_kind kind, std::string_view bytes)
{
    finding found;
    if (kind == frame_kind::RECORD && unpack_finding(bytes, found))
        checked_.findings.push_back(found);
    else if (kind == frame_kind::RECORD)
        (void)unpack_facts(bytes, checked_.facts);
    if (kind == frame_kind::MESSAGE)
        take_message(bytes);
    if (kind == frame_kind::NAME)
        add_for_whole("D602", std::string(bytes));
}

int check_run::run()
{
    const child_result result = run_child(
        checked_.file.limits, checked_.file.fd.get(),
        [&](child_port &port) { return check_in_child(checked_.file, task_, world_, port); },
        [&](frame_kind kind, std::string_view bytes) { take(kind, bytes); });
    if (result.end == child_end::DONE)
        return result.detail;
    const bool is_bound = result.end == child_end::NO_TIME || result.end == child_end::NO_MEMORY;
    add_for_whole(is_bound ? "D501" : "D502", words_for(result));
    return STATUS_FOUND;
}

} // namespace

int flatlink::check_input(const check_task &task, const known_world &world, checked_input &checked)
{
    return check_run(task, world, checked).run();
}
