// Lines after twelve bytes of addresses and one that picks the name service's answer. Each is a
// pattern for all of them as texts. What several matchers say must agree, and addresses are
// compared with plain arithmetic.
#include "lib/fwall/match/hnam.h"
#include "lib/fwall/match/host_pattern.h"
#include "lib/fwall/match/nama.h"
#include "lib/ulib/bytes.h"
#include "lib/ulib/report.h"
#include "lib/ulib/text.h"
#include "lib/ulib/wildcard.h"
#include "tests/fuzz/must.h"
#include "tests/ulib/scripted_names.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using namespace flatlink;

namespace
{

constexpr std::size_t TABLE_MAX = 1 << 20; // pairs of characters that are worth their time

// At least one; each ends at a NUL.
std::vector<std::string> lines_of(std::string_view text)
{
    std::vector<std::string> lines;
    do {
        const std::string line(text.substr(0, text.find('\n')));
        lines.emplace_back(line.c_str());
        text.remove_prefix(std::min(text.size(), line.size() + 1));
    } while (!text.empty());
    return lines;
}

void check_texts(const std::string &pattern, const std::string &text)
{
    const char *const p = pattern.c_str(), *const t = text.c_str();
    must(namatch(p, t) == wmatch(p, t), "two matchers of stars differ");
    if (wmatch(p, t) != 0 && pattern.find('[') == std::string::npos)
        must(nacasematch(p, t) == 1, "without regard to case less fits");
    must(wmatch(p, t) == 0 || wmatch((pattern + "*").c_str(), t) == 1,
         "with one more star less fits");
    (void)wtmatch(p, t);
    for (const char c : text.substr(0, 8)) {
        const char *const end = set_match(p, c, false), *const folded = set_match(p, c, true);
        must(end == nullptr || end == p || *end == ']', "a set ends elsewhere");
        // Without regard to case a set has more members, and an inverted one has fewer.
        const bool is_inverted = pattern.starts_with('^');
        const char *const narrow = is_inverted ? folded : end;
        must(narrow == nullptr || narrow == (is_inverted ? end : folded), "a set and case");
    }
}

void check_hosts(const std::string &pattern, const std::string &host, const std::string &address,
                 int answer)
{
    scripted_names names;
    if (answer != 0)
        names.hosts[lower_case(host)] = {{address}, answer == 1 ? 16 : 4};
    if (answer == 2)
        names.hosts[lower_case(host)].addresses.clear();
    const char *const p = pattern.c_str(), *const h = host.c_str();
    const int fits = hostmatch(p, h);
    must(names.asked.size() <= 1, "the name service was asked twice");
    if (names.asked.empty() && answer == 3 && pattern != "*" && fits != 0 &&
        !is_name_pattern(pattern))
        must(ip_match(p, h) == 1, "a host and its address differ");
    if (!names.asked.empty())
        must(fits == (answer == 3 && ip_match(p, address.c_str()) != 0),
             "a name and its address differ");
    must(hostmatch(lower_case(pattern).c_str(), h) == fits, "case counts");
    (void)maskmatch(p, h);
    (void)range_hostmatch(p, h);
}

void check_numbers(u32 address, u32 low, u32 high)
{
    const std::string text = format_address(network_order(address));
    const std::string ends[] = {format_address(network_order(low)),
                                format_address(network_order(high))};
    must(hostmatch((ends[0] + "-" + ends[1]).c_str(), text.c_str()) ==
             (low <= address && address <= high),
         "a range of numbers");
    must(hostmatch((format_address(network_order(low & high)) + ":" + ends[1]).c_str(),
                   text.c_str()) == ((address & high) == (low & high)),
         "a network");
}

// Many stars, each with many places to try.
void check_time(std::string_view pattern, std::string_view text)
{
    std::string stars, long_text;
    for (int i = 0; i < 24; ++i) {
        (stars += '*') += pattern.substr(0, 8);
        (long_text += text.substr(0, 8)) += pattern.substr(0, 8);
    }
    stars += '\x01';
    (void)wmatch(stars.c_str(), long_text.c_str());
    (void)nacasematch(stars.c_str(), long_text.c_str());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr std::size_t HEADER_SIZE = 13;
    if (size < HEADER_SIZE)
        return 0;
    static int any = 0; // the contexts are only passed on
    servContext = reinterpret_cast<CServiceContext *>(&any);
    connContext = reinterpret_cast<CConnectionContext *>(&any);
    report_hook = [](auto...) {};
    const auto number = [data](std::size_t i) {
        return host_order(load<u32>({data, HEADER_SIZE}, 4 * i));
    };
    const auto lines =
        lines_of({reinterpret_cast<const char *>(data) + HEADER_SIZE, size - HEADER_SIZE});
    const std::string address = format_address(network_order(number(0)));

    check_numbers(number(0), number(1), number(2));
    check_time(lines.front(), lines.back());
    if (size * size > TABLE_MAX)
        return 0;
    for (const std::string &pattern : lines) {
        for (const std::string &text : lines) {
            check_texts(pattern, text);
            check_hosts(pattern, text, address, data[12] & 3);
        }
        check_hosts(pattern, address, address, data[12] & 3);
    }
    return 0;
}
