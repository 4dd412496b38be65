#include "flatctl/check/check_run.h"

#include "flatctl/check/check_database.h"
#include "flatctl/check/check_message.h"
#include "flatctl/common/request.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <unistd.h>

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
    child_result run_once();
    void take(frame_kind kind, std::string_view bytes);
    void take_message(std::string_view bytes);
    void add_for_whole(std::string_view code, std::string detail);

    const check_task &task_;
    const known_world &world_;
    checked_input &checked_;
    std::map<std::string_view, std::size_t> counts_; // of those about the whole input, by code
    std::string message_;                            // begun
    int first_step_ = 0;                             // of a table, for the next child
    int step_ = 0;                                   // the last that a child began
    finding cause_;                                  // why it ends, should it; its row may be null
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
    else if (kind == frame_kind::RECORD && !unpack_step(bytes, step_) &&
             !unpack_cause(bytes, cause_))
        (void)unpack_facts(bytes, checked_.facts);
    if (kind == frame_kind::MESSAGE)
        take_message(bytes);
    if (kind == frame_kind::NAME)
        add_for_whole("D602", std::string(bytes));
}

child_result check_run::run_once()
{
    cause_ = {};
    return run_child(
        checked_.file.limits, checked_.file.fd.get(),
        [&](child_port &port) {
            return check_in_child(checked_.file, task_, world_, first_step_, port);
        },
        [&](frame_kind kind, std::string_view bytes) { take(kind, bytes); });
}

// Each child of a table tells anew what it sees on its way.
static void drop_equal(std::vector<finding> &findings)
{
    const auto key = [](const finding &one) {
        return std::tuple(one.line, one.row->code, one.column, one.detail);
    };
    std::ranges::stable_sort(findings, {}, key);
    const auto same = [&key](const finding &a, const finding &b) { return key(a) == key(b); };
    findings.erase(std::unique(findings.begin(), findings.end(), same), findings.end());
}

int check_run::run()
{
    constexpr int ENDS_MAX = 100; // of children that a proxy's code ended
    child_result result = run_once();
    for (int ends = 1; result.end == child_end::EXITED && step_ >= first_step_ && step_ > 0;
         ++ends) {
        if (cause_.row == nullptr)
            cause_ = {.row = find_code("T203"), .detail = words_for(result)};
        checked_.findings.push_back(cause_);
        first_step_ = step_ + 1;
        if (ends == ENDS_MAX) {
            add_for_whole("T205", "more entries end a proxy than are tried");
            result = {child_end::DONE, STATUS_FINE};
        } else {
            (void)lseek(checked_.file.fd.get(), 0, SEEK_SET); // fails for what cannot be read twice
            result = run_once();
        }
    }
    if (checked_.facts.kind == "table")
        drop_equal(checked_.findings);
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
