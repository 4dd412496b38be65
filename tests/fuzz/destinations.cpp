// Entries of destinations, a line each, and a host and a port before them. What is refused stays
// refused and what is allowed stays allowed as the entries around it say.
#include "lib/fwall/access/chkdest.h"
#include "lib/fwall/log/context.h"
#include "lib/fwall/table/cfgrec.h"
#include "tests/fuzz/input_bytes.h"
#include "tests/fuzz/must.h"
#include "tests/ulib/report_log.h"
#include "tests/ulib/scripted_names.h"

#include <cstdint>
#include <string>
#include <vector>

using namespace flatlink;

namespace
{

constexpr const char *keywords[] = {"destination", "ports", "proxy", "afw-dest", "rev_dns"};
constexpr std::int32_t prefixes[] = {0, CFG_PERMIT, CFG_DENY, CFG_ABSORB};

struct owned_list {
    cfg_builder list;
    ~owned_list() { cfg_free(list.head); }

    void add(const char *keyword, std::int32_t flags, std::vector<std::string> words)
    {
        std::vector<char *> argv;
        for (std::string &word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        list.add(cfg_make(keyword, flags, 1, static_cast<int>(words.size()), argv.data()));
    }
};

// A port as an entry may name it: the service of an unknown name ends the process.
std::string port_item(const std::string &word, bool may_be_marked)
{
    const std::string mark = may_be_marked && word.starts_with('!') ? "!" : "";
    if (may_be_marked && word.find('*') <= 1)
        return mark + "*";
    std::string digits = word;
    std::erase_if(digits, [](char c) { return c < '0' || c > '9'; });
    return mark + (digits.empty() ? "any" : digits);
}

// A line: two bytes for keyword and prefix, then words.
void add_line(owned_list &list, std::string line)
{
    input_bytes rest(reinterpret_cast<const std::uint8_t *>(line.data()), line.size());
    const std::string keyword = keywords[rest.byte() % std::size(keywords)];
    const std::int32_t flags = prefixes[rest.byte() % std::size(prefixes)];
    std::vector<std::string> words;
    while (!rest.left.empty())
        words.push_back(rest.until(' ').c_str());
    for (std::size_t i = 0; i < words.size(); ++i)
        if (keyword == "ports" || (keyword == "afw-dest" && i == 1))
            words[i] = port_item(words[i], keyword == "ports");
    list.add(keyword.c_str(), flags, words);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static CServiceContext service;
    static CConnectionContext connection;
    const report_log log;
    servContext = &service;
    connContext = &connection;
    scripted_names names;
    names.hosts = {{"mail.lan", {{"10.0.0.1"}}}, {"two.lan", {{"10.0.0.1", "20.0.0.1"}}}};
    names.names = {{"10.0.0.1", "Mail.LAN"}};
    input_bytes input(data, size);
    const int port = input.byte() * 256 + input.byte();
    const std::string host = input.until('\n').c_str();
    owned_list entries, all_first, none_first;
    all_first.add("destination", CFG_PERMIT, {"*"});
    none_first.add("destination", CFG_DENY, {"*"});
    bool any = false, blocks = false;
    while (!input.left.empty()) {
        const std::string line = input.until('\n');
        for (owned_list *list : {&entries, &all_first, &none_first})
            add_line(*list, line);
    }
    for (const cfgrec *entry = entries.list.head; entry != nullptr; entry = entry->next) {
        any = any || std::string(entry->keyword) == "destination";
        blocks = blocks || std::string(entry->keyword) == "afw-dest";
    }

    const int answer = permit_dst_chk(host.c_str(), port, entries.list.head);
    must(answer == DST_ALLOWED || answer == DST_REFUSED || answer == DST_NO_ADDRESS, "no answer");
    must(answer == permit_dst_chk(host.c_str(), port, entries.list.head), "another answer");
    must(any || answer != DST_ALLOWED, "allowed without an entry");
    const int port_answer = permit_port_chk(port, entries.list.head);
    must(answer != DST_ALLOWED || port_answer == DST_ALLOWED, "allowed against the ports");
    must(permit_dst_chk(host.c_str(), port, none_first.list.head) != DST_ALLOWED,
         "allowed behind a refusal of all");
    const int open = permit_dst_chk(host.c_str(), port, all_first.list.head);
    must(blocks || open == DST_NO_ADDRESS || open == port_answer, "refused behind a permit of all");
    return 0;
}
