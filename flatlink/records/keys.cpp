#include "flatlink/records/keys.h"

#include "flatlink/records/line.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/names.h"
#include "flatlink/records/numbered_line.h"
#include "lib/ulib/text.h"

namespace
{

struct key_field {
    std::string_view key;
    void (*store)(swkey &record, std::string_view value);
};

constexpr key_field key_fields[] = {
    {"key", [](swkey &record, std::string_view value) { record.key = value; }},
    {"id", [](swkey &record, std::string_view value) { record.id = value; }},
    {"kidnum",
     [](swkey &record, std::string_view value) { (void)scan_number(value, record.kidnum); }},
    {"type",
     [](swkey &record, std::string_view value) { record.type = parsenametonum(id_list, value); }},
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

void forget_swkey_numbers()
{
    numbers.forget();
}

static int store_line(const numbered_line &line)
{
    swkey &record = key_numbered(line.number);
    for (const key_field &field : key_fields) {
        if (field.key == line.key) {
            field.store(record, line.value);
            return 0;
        }
    }
    complain("vpndata:Bad KEY field (" + std::string(line.key) + ") on key " +
             std::to_string(line.number));
    return 1;
}

void add_partial_swkey(std::string_view rest)
{
    const numbered_line line = read_numbered_line(rest);
    if (line.number < 0 || line.number > HIGHEST_LINE_NUMBER) {
        complain("vpndata:Key index BAD " + std::to_string(line.number));
        return;
    }
    if (!line.value.empty())
        (void)within_memory(MALLOC_FAILURE, [&line](const char *&) { return store_line(line); });
}

void save_swkeys(std::FILE *stream, const record_list<swkey> &list)
{
    int number = 0;
    for (const auto &record : list) {
        const record_writer out(stream, numbered_padded("key", ++number));
        out.text("type", parsenumtoname(id_list, record->type));
        out.text("id", record->id);
        out.number("kidnum", record->kidnum);
        out.text("key", record->key);
    }
}
