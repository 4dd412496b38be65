// Lines of a table: who may use the proxy, and on what terms. A line of the input is the proxy's
// unless it begins with `policy-`; in front of them stand a client's address and a byte that picks
// what the VPN driver knows. Patterns read at the check, patterns made ready before it and a plain
// walk must give one answer, and the list of terms must be in its order.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "lib/fwall/match/src_patterns.h"
#include "lib/ulib/fixed_text.h"
#include "tests/fuzz/hosts_model.h"
#include "tests/fuzz/must.h"
#include "tests/fuzz/no_network.h"
#include "tests/fuzz/path_file.h"
#include "tests/fwall/scripted_names.h"

namespace
{

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

outcome check(u32 address_be)
{
    sockaddr_in client{}, local{};
    client.sin_addr.s_addr = address_be;
    set_text(proxy_rladdr, "");
    permit_confp = nullptr;
    outcome result;
    result.code = permit_src_addr_chk(&client, &local);
    result.entry = permit_confp;
    result.shown = proxy_rladdr;
    return result;
}

// The outcome of a walk, with what it asked and reported.
template <typename walk> outcome watched(scripted_names &names, walk run)
{
    names.asked.clear();
    report_log::reports.clear();
    identity_questions = 0;
    outcome result = run();
    result.asked = names.asked;
    result.identity_questions = identity_questions;
    result.reports = report_log::reports;
    return result;
}

// Compares with a plain walk, which reports no entry without arguments and asks no driver.
void check_plain(scripted_names &names, u32 client_be, outcome got)
{
    must(got.identity_questions <= 1, "the driver was asked twice");
    got.identity_questions = 0;
    got.reports.clear();
    const std::string address = dotted(client_be);
    outcome plain = watched(names, [&] { return plain_walk(address.c_str(), *known); });
    plain.reports.clear();
    must(got == plain, "a plain walk gives another answer");
}

void check_terms(const cfgrec &hosts)
{
    std::string made, added;
    const std::string before = shown(proxy_confp);
    policy_confp = proxy_confp;
    const bool joined = terms_of(hosts, made, added);
    must((get_policy(&hosts, options) == 0) == joined, "whether the policies are there");
    must(shown(policy_confp) == (joined ? made : "") + before + added, "the order of the terms");
    while (policy_confp != proxy_confp) { // the records of options, which are nobody's
        cfgrec *rest = std::exchange(policy_confp->next, nullptr);
        cfg_free(std::exchange(policy_confp, rest));
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
    const u32 clients[] = {own, address_of("10.0.0.1"), address_of("10.1.2.3"), NOT_AN_ADDRESS};
    names.names = {{"10.0.0.1", "Mail.Office.LAN"}, {"10.1.2.3", std::string(300, 'X')}};
    names.names.emplace(dotted(own), "");

    proxy_confp = cfg_read("n");
    must(proxy_confp != cfg_failure(), "a table that cannot be read");
    (void)cfg_bldCFGlist();
    outcome unprepared[std::size(clients)];
    const auto checked = [&](u32 client) { return watched(names, [=] { return check(client); }); };
    std::transform(std::begin(clients), std::end(clients), unprepared, checked);
    cfg_mark_runs(proxy_confp);
    prepare_src_patterns(proxy_confp);
    for (std::size_t i = 0; i < std::size(clients); ++i) {
        must(checked(clients[i]) == unprepared[i], "patterns made ready give another answer");
        check_plain(names, clients[i], unprepared[i]);
    }
    for (const outcome &one : unprepared)
        if (one.entry != nullptr)
            check_terms(*one.entry);
    free_cfglist();
    cfg_free(proxy_confp);
    proxy_confp = policy_confp = permit_confp = nullptr;
    return 0;
}
