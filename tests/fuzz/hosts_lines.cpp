// Lines of a table: who may use the proxy, and on what terms. A line of the input is the proxy's
// unless it begins with `policy-`; before them stand a client's address and a byte that picks what
// the VPN driver knows. Patterns compiled at the check and patterns prepared before it must give
// one answer with the same questions and reports, before and after policies are joined, and the
// terms of a line are whole or none.
#include "lib/fwall/access/access_watch.h"
#include "lib/fwall/access/policy.h"
#include "lib/fwall/access/srcchk.h"
#include "lib/fwall/match/src_patterns.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/policy_table.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/fixed_text.h"
#include "tests/fuzz/must.h"
#include "tests/fuzz/no_network.h"
#include "tests/fuzz/path_file.h"
#include "tests/ulib/report_log.h"
#include "tests/ulib/scripted_names.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace flatlink;

namespace
{

struct client_identity {
    std::string_view text, display; // without a `~` in front of the display the driver knows none
};

constexpr client_identity identities[] = {
    {"", ""}, {"~alice", "~Alice (home)"}, {"~23456789abcdefg", "~B"}, {"~bob", "Bob"}};

const client_identity *known = identities; // the first: there is no device
int identity_questions = 0;

int answer_client_check(int /*device*/, unsigned long /*request*/, byte_area message)
{
    ++identity_questions;
    std::fill(message.begin(), message.end(), std::uint8_t{0});
    std::copy(known->text.begin(), known->text.end(), message.begin() + 8);
    std::copy(known->display.begin(), known->display.end(), message.begin() + 24);
    return 0;
}

constexpr platform_calls device()
{
    platform_calls calls = NO_NETWORK;
    calls.vpn_open = [] { return known == identities ? no_such(ENOENT) : 0; };
    calls.vpn_ioctl = answer_client_check;
    return calls;
}

// What a check answers, and what it asks and reports.
struct outcome {
    int code;
    const cfgrec *entry;
    std::string shown;
    std::vector<std::string> asked;
    int identity_questions;
    std::vector<told> reports;

    bool operator==(const outcome &) const = default;
};

outcome check(scripted_names &names, u32 address_be)
{
    names.asked.clear();
    report_log::reports.clear();
    identity_questions = 0;
    sockaddr_in client{}, local{};
    client.sin_addr.s_addr = address_be;
    set_text(proxy_rladdr, "");
    permit_confp = nullptr;
    const int code = permit_src_addr_chk(&client, &local);
    outcome result{code,        permit_confp,       proxy_rladdr,
                   names.asked, identity_questions, report_log::reports};
    must(result.identity_questions <= 1, "the driver was asked twice");
    must(result.asked.size() <= 1, "the name service was asked twice");
    return result;
}

// Which terms there are is told in tests/fwall; here that each line's end where the table begins.
void check_terms(const cfgrec &hosts)
{
    static constexpr policy_option options[] = {{"-none", POLICY_ARG_NONE, "deny-kind a 'b c'"},
                                                {"-one", POLICY_ARG_ONE, "Permit-timeout"},
                                                {"-list", POLICY_ARG_LIST, "destination x"},
                                                {"-rest", POLICY_ARG_REST, nullptr},
                                                {"-odd", 9, "absorb-odd lost"},
                                                {}};
    policy_confp = proxy_confp;
    const bool are_whole = get_policy(&hosts, options) == 0;
    must(are_whole || policy_confp == proxy_confp, "half of the terms");
    while (policy_confp != proxy_confp) { // the records of options, which have no owner
        must(policy_confp != nullptr && policy_confp->lineno >= 1, "terms that lost the table");
        cfgrec *rest = std::exchange(policy_confp->next, nullptr);
        cfg_free(std::exchange(policy_confp, rest));
    }
}

// Patterns of a list and of those that joined it later, prepared apart, against a watched walk,
// which uses none of them.
void check_grown(scripted_names &names, std::span<const u32> clients)
{
    static constexpr access_watch_calls SILENT = {[](const access_question &) {},
                                                  [](const cfgrec *, int, bool) {}};
    for (const u32 client : clients) {
        const outcome prepared = check(names, client);
        access_watch = &SILENT;
        must(check(names, client) == prepared, "a watched walk gives another answer");
        access_watch = nullptr;
    }
}

std::string table_of(std::string_view lines)
{
    std::string table;
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, lines.find('\n'));
        lines.remove_prefix(std::min(lines.size(), line.size() + 1));
        ((table += line.starts_with("policy-") ? "" : "n: ") += line) += '\n';
    }
    return table;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr std::size_t HEADER_SIZE = 5;
    if (size < HEADER_SIZE)
        return 0;
    static constexpr platform_calls DEVICE = device();
    platform = &DEVICE;
    const report_log log;
    scripted_names names;
    static path_file file;
    file.set_text(
        table_of({reinterpret_cast<const char *>(data) + HEADER_SIZE, size - HEADER_SIZE}));
    cfg_setpfile(file.path().c_str());
    known = identities + data[4] % std::size(identities);
    const u32 own = load<u32>({data, HEADER_SIZE}, 0);
    const u32 clients[] = {own, parse_address("10.0.0.1"), parse_address("10.1.2.3"),
                           NOT_AN_ADDRESS};
    names.names = {{"10.0.0.1", "Mail.Office.LAN"}, {"10.1.2.3", std::string(300, 'X')}};
    names.names.emplace(format_address(own), "");

    proxy_confp = cfg_read("n");
    must(proxy_confp != cfg_failure(), "a table that cannot be read");
    (void)cfg_bldCFGlist();
    std::vector<outcome> unprepared;
    for (const u32 client : clients)
        unprepared.push_back(check(names, client));
    cfg_index_keywords(proxy_confp);
    compile_host_patterns(proxy_confp);
    for (std::size_t i = 0; i < std::size(clients); ++i)
        must(check(names, clients[i]) == unprepared[i], "prepared patterns give another answer");
    for (const outcome &one : unprepared)
        if (one.entry != nullptr)
            check_terms(*one.entry);
    check_grown(names, clients);
    free_cfglist();
    cfg_free(proxy_confp);
    proxy_confp = policy_confp = permit_confp = nullptr;
    return 0;
}
