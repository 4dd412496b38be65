#include "flatlink/records/settings.h"

#include "flatlink/records/field.h"
#include "flatlink/records/line.h"
#include "flatlink/records/names.h"
#include "flatlink/records/records.h"
#include "lib/ulib/text.h"

#include <algorithm>

using namespace flatlink;

namespace
{

// In the tree the value is the key of a policy, "vpn_ike_NAME": a value that is longer than what
// stands before the name loses that much, whatever it is.
void store_client_policy(std::string_view value)
{
    constexpr std::size_t KEY_START_SIZE = std::string_view("vpn_ike_").size();
    clientIKEpolicy = value.size() > KEY_START_SIZE ? value.substr(KEY_START_SIZE) : value;
}

void store_thread_count(std::string_view value)
{
    cryptoThreadCount = std::clamp(lenient_number(value), 2, 9);
}

template <auto &setting> void store_switch(std::string_view value)
{
    word_of<onoff_list>::read(setting, value);
}

template <auto &setting> std::string print_switch()
{
    return std::string(parsenumtoname(onoff_list, setting));
}

constexpr vpn_setting rows[] = {
    {"anonsecret",
     [](std::string_view value) {
         anonsecret = value.substr(0, ANONSECRET_LENGTH);
         if (anonsecret.size() < value.size())
             note_cut(anonsecret);
     },
     [] { return anonsecret; }, SECRET},
    {"clientIKEpolicy", store_client_policy, [] { return clientIKEpolicy; }},
    {"kernelacceleration", store_switch<klevelHardAccel>, print_switch<klevelHardAccel>},
    {"useracceleration", store_switch<ulevelHardAccel>, print_switch<ulevelHardAccel>},
    {"aggressivemode", store_switch<aggressiveMode>, print_switch<aggressiveMode>},
    {"threadcount", store_thread_count},
};

} // namespace

const std::span<const vpn_setting> flatlink::vpn_settings = rows;

bool flatlink::store_setting(std::string_view line)
{
    const line_parts parts = split_line(line);
    if (!parts.has_equals)
        return false;
    for (const vpn_setting &row : vpn_settings) {
        if (row.key != parts.key)
            continue;
        note_stored(&row, row.key, parts.value);
        row.store(parts.value);
        return true;
    }
    return false;
}

void flatlink::save_settings(std::FILE *stream)
{
    const record_writer out(stream, "vpn_");
    for (const vpn_setting &row : vpn_settings) {
        if (row.print == nullptr)
            continue;
        const std::string value = row.print();
        note_written(&row, row.key, value);
        out.text(row.key, value);
    }
    std::fflush(stream);
}
