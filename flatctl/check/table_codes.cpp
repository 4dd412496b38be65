#include "flatctl/check/table_codes.h"

#include <algorithm>

using namespace flatlink;

namespace
{

constexpr report_code reports[] = {
    {"cfgerr: %s line %d %s", ""}, // of the reader, whose watch says more
    {"cfgerr: pat:mask can never", ""},
    {"cfgerr: pattern %s too long", ""},
    {"cfgerr: could not find Policy", ""},
    {"cfgerr: hosts takes at least one", "T113"},
    {"vhltcfgerr: rev_dns takes", "T113"},
    {"cfgerr: permit-hosts line must have -policy", "T114"},
    {"cfgerr: -policy needs an argument", "T202"},
    {"cfgerr: could not find %s, line", "T202"},
    {"cfgerr: Too many policies", "T202"},
    {"cfgerr: unknown argument name", "T116"},
    {"cfgerr: missing argument for", "T117"},
    {"cfgerr: %s needs at least one argument", "T117"},
    {"cfgerr: %s needs atleast one argument", "T117"},
    {"cfgerr: missing end of list", "T117"},
    {"cfgerr: invalid value %s for logging", "T111"},
    {"cfgerr: log-enabled keyword", "T111"},
    {"cfgerr: logging keyword", "T111"},
    {"cfgerr: denial-msg must have", "T111"},
    {"AFW: destination blocking rule", "T108"},
};

constexpr struct {
    table_fault fault;
    std::string_view code;
} fault_codes[] = {
    {table_fault::NO_ENTRY, "T101"},
    {table_fault::TOO_LONG, "T102"},
    {table_fault::NO_NEWLINE, "T103"},
    {table_fault::NO_ARGUMENT, "T104"},
    {table_fault::TOO_MANY_ARGUMENTS, "T105"},
    {table_fault::UNPRINTABLE, "T106"},
    {table_fault::OPEN_QUOTE, "T107"},
    {table_fault::OPEN_ESCAPE, "T107"},
    {table_fault::NO_NAME, "T109"},
};

constexpr value_code value_codes[] = {
    {value_fault::WANTS_NUMBER, "T111", " is no number"},
    {value_fault::WANTS_ADDRESS, "T111", " is no address"},
    {value_fault::NOT_KNOWN, "T111", " is no word that it knows"},
    {value_fault::NOT_READ, "T111", " is one argument too many"},
    {value_fault::AFTER_BRACE, "T118", ""},
    {value_fault::NAME_CUT, "T115", ""},
    {value_fault::OUT_OF_RANGE, "T111", " is beyond the range of a number"},
    {value_fault::NO_EFFECT, "T123", ""},
    {value_fault::EMPTY_LIST, "T117", " begins an empty list"},
    {value_fault::LIKE_OPTION, "T117", " is taken for an argument"},
};

} // namespace

const report_code *flatlink::code_of_report(std::string_view format)
{
    const auto *row = std::ranges::find_if(
        reports, [&](const report_code &one) { return format.starts_with(one.format); });
    return row == std::end(reports) ? nullptr : row;
}

std::string_view flatlink::code_of_fault(table_fault what)
{
    const auto *row =
        std::ranges::find_if(fault_codes, [&](const auto &one) { return one.fault == what; });
    return row->code;
}

const value_code &flatlink::code_of_value(value_fault what)
{
    return *std::ranges::find(value_codes, what, &value_code::fault);
}
