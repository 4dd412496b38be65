// Reads any bytes as a flat file of the older form, with its links and keys, and writes what
// became of it: every record is whole and in order, and what was written reads back as it was.
#include "flatlink/driver.h"
#include "flatlink/flat_file.h"
#include "flatlink/records/keys.h"
#include "flatlink/records/links.h"
#include "flatlink/records/old_links.h"
#include "flatlink/records/records.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/must.h"
#include "tests/fuzz/no_network.h"
#include "tests/fuzz/path_file.h"
#include "tests/ulib/scripted_names.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

using namespace flatlink;

namespace
{

void read_records(std::string_view text)
{
    static path_file file;
    file.set_text(text);
    reset_records();
    invalidate_link_index();
    read_vpndata55(file.path().c_str(), false);
    network_database = nullptr;
}

void check_links()
{
    for (const auto &link : links) {
        must(!link->lname.empty(), "a link without a name stayed");
        must(link->mode != MODE_SWIPE, "a link kept the mode swipe");
        must(link->index >= 0 && link->index <= PASS_INDEX + 9999, "a number out of range");
    }
    order_vpnlinks();
    for (std::size_t i = 0; i < links.size(); ++i) {
        must(links[i]->mode != MODE_UNSET, "a link without a mode stayed");
        must(links[i]->logid != 0 || links[i]->index == 0, "a link without a log identifier");
        must(i == 0 || links[i - 1]->index < links[i]->index, "links out of order");
    }
}

// Log identifiers are written in another base than they are read in.
std::string without_logids(std::string_view text)
{
    std::string rest;
    for (std::size_t pos = 0; pos < text.size();) {
        const std::size_t end = text.find('\n', pos) + 1;
        if (text.compare(pos + std::string_view("link_0001").size(), 7, "_logid=") != 0)
            rest.append(text, pos, end - pos);
        pos = end;
    }
    return rest;
}

std::string written()
{
    memory_file file;
    save_vpnlinks(file.stream, links, "link");
    save_swkeys(file.stream, swkeys);
    std::fclose(file.stream);
    return without_logids({file.bytes, file.size});
}

bool has_long_line(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1);
        if (end + 1 >= FLAT_LINE_SIZE)
            return true;
        text.remove_prefix(end + 1);
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    platform = &NO_NETWORK;
    const scripted_names no_names;
    read_records(std::string_view(reinterpret_cast<const char *>(data), size));
    for (const auto &record : swkeys)
        must(!record->key.empty(), "a key without material stayed");
    check_links();
    const std::string text = written();
    if (!has_long_line(text)) {
        read_records(text);
        check_links();
        must(written() == text, "a second save differs");
    }
    reset_records();
    return 0;
}
