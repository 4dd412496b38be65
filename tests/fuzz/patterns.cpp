// Lines behind twelve bytes of addresses and one that picks the name service's answer. Each is
// a pattern for all of them as texts: the matchers against a plain model of them, and the
// matchers of addresses against plain arithmetic as well.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lib/fwall/match/hnam.h"
#include "lib/fwall/match/inet_aton.h"
#include "lib/fwall/match/nama.h"
#include "lib/kdev/platform/bytes.h"
#include "lib/ulib/report.h"
#include "lib/ulib/wildcard.h"
#include "tests/fuzz/must.h"
#include "tests/fuzz/pattern_model.h"
#include "tests/fwall/scripted_names.h"

namespace
{

constexpr std::size_t TABLE_MAX = 1 << 20; // fields of the model's tables that are worth its time

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
    must(wmatch(p, t) == fits_by_table(places_of(pattern, false), text), "stars");
    must(nacasematch(p, t) == fits_by_table(places_of(pattern, true), text), "stars and sets");
    must(wtmatch(p, t) == last_fitting_word(pattern, text), "a list of patterns");
    for (const char c : text.substr(0, 8)) {
        for (const bool no_case : {false, true}) {
            char_set set;
            const auto end = read_set(pattern, no_case, set);
            const char *const want = !end                                 ? p
                                     : set[static_cast<unsigned char>(c)] ? p + *end
                                                                          : nullptr;
            must(set_match(p, c, no_case) == want, "a set");
        }
    }
}

void check_address_texts(const std::string &pattern, const std::string &address)
{
    const char *const p = pattern.c_str(), *const a = address.c_str();
    u32 addr_be = 7;
    const auto number = address_by_parts(pattern);
    must(scan_address(p, addr_be) == number.has_value(), "what is an address");
    must(addr_be == (number ? network_order(*number) : 7), "an address");
    must(ip_match(p, a) == fits_ip(pattern, address), "an address or a range");
    if (pattern.find('*') == std::string::npos)
        must(maskmatch(p, a) == fits_mask(pattern, address), "octets under a mask");
    must(range_hostmatch(p, a) ==
             (pattern.find('-') != std::string::npos && fits_range(pattern, address)),
         "a range");
}

void check_hosts(const std::string &pattern, const std::string &host, const std::string &address,
                 int answer)
{
    scripted_names names;
    if (answer != 0)
        names.hosts[lower(host)] = {{address}, answer == 1 ? 16 : 4};
    if (answer == 2)
        names.hosts[lower(host)].addresses.clear();
    const std::optional<std::string> known = answer == 3 ? std::optional(address) : std::nullopt;
    must(hostmatch(pattern.c_str(), host.c_str()) == fits_host(pattern, host, known), "a host");
    must(names.asked.size() <= 1, "the name service was asked twice");
}

void check_numbers(u32 address, u32 low, u32 high)
{
    const std::string text = dotted(network_order(address));
    const std::string ends[] = {dotted(network_order(low)), dotted(network_order(high))};
    must(hostmatch((ends[0] + "-" + ends[1]).c_str(), text.c_str()) ==
             (low <= address && address <= high),
         "a range of numbers");
    must(hostmatch((dotted(network_order(low & high)) + ":" + ends[1]).c_str(), text.c_str()) ==
             ((address & high) == (low & high)),
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
    const std::string address = dotted(network_order(number(0)));

    check_numbers(number(0), number(1), number(2));
    check_time(lines.front(), lines.back());
    if (size * size > TABLE_MAX)
        return 0;
    for (const std::string &pattern : lines) {
        for (const std::string &text : lines) {
            check_texts(pattern, text);
            check_address_texts(pattern, text);
            check_hosts(pattern, text, address, data[12] & 3);
        }
        check_address_texts(pattern, address);
        check_hosts(pattern, address, address, data[12] & 3);
    }
    return 0;
}
