#include "flatlink/records/keys.h"

#include "flatlink/records/line.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/names.h"
#include "flatlink/records/numbered_line.h"

using namespace flatlink;

namespace
{

constexpr field<swkey> fields_of_key[] = {
    {"type", as<word_of<id_list>, &swkey::type>},
    {"id", as<as_text, &swkey::id>},
    {"kidnum", as<scanned_decimal, &swkey::kidnum>},
    {"key", as<as_text, &swkey::key>, SECRET},
};

record_index<swkey, &swkey::index> numbers;

swkey &key_numbered(std::int32_t number)
{
    if (swkey *found = numbers.find(swkeys, number))
        return *found;
    swkeys.push_back(std::make_unique<swkey>());
    swkeys.back()->index = number;
    return *swkeys.back();
}

} // namespace

constinit const field_table<swkey> flatlink::key_fields = fields_of_key;

void flatlink::invalidate_swkey_index()
{
    numbers.invalidate();
}

void add_partial_swkey(std::string_view rest)
{
    const numbered_line line = read_numbered_line(rest);
    if (line.number < 0 || line.number > HIGHEST_LINE_NUMBER) {
        complain("vpndata:Key index BAD " + std::to_string(line.number));
        return;
    }
    if (line.value.empty())
        return;
    (void)within_memory(MALLOC_FAILURE, [&line](const char *&message) {
        if (!store_field<swkey>(key_fields, key_numbered(line.number), line.key, line.value,
                                message))
            complain("vpndata:Bad KEY field (" + std::string(line.key) + ") on key " +
                     std::to_string(line.number));
        return 0;
    });
}

void flatlink::save_swkeys(std::FILE *stream, const record_list<swkey> &list)
{
    int number = 0;
    for (const auto &record : list)
        print_fields<swkey>(record_writer(stream, numbered_padded("key", ++number)), key_fields,
                            *record);
}
