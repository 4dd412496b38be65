// vlink records: the lines vlink_N_key=value, which make, fill and print a linkinfo.
#pragma once

#include "flatlink/records/field.h"
#include "flatlink/records/records.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace flatlink
{

// The fields of a link, in the order of their lines. A new field is a member of linkinfo, and its
// row here.
extern const field_table<linkinfo> link_fields;

// Whether the remote end is fixed and its gateway is given.
bool has_fixed_gateway(const linkinfo &link);

// The lines of one link that a program makes itself. They mean what the same lines of a file mean,
// but none is put together to be taken apart again.
class link_lines
{
  public:
    explicit link_lines(std::uint16_t number);

    // Bytes of "NUMBER_key=value", as far as it is kept.
    std::size_t line_size(std::string_view key, std::string_view value) const;

    // As add_partial_linkinfo of that line, cut to LINE_SIZE - 1 bytes.
    int add(std::string_view key, std::string_view value);

  private:
    std::uint16_t number_;
    std::string prefix_;       // of each line in the trace
    linkinfo *link_ = nullptr; // null until a line has a value
};

} // namespace flatlink

// Takes one line without "vlink_" and echoes it to the trace. Finds or makes the record of its
// number and stores one field. Returns 0 when the line was used, or ignored for its empty value,
// or its key is unknown, which is reported; 1 after the report of a bad format.
int add_partial_linkinfo(std::string_view rest);

// Brings linkinfos to its final form, once all lines are in: sorts, gives links over the external
// gateway the whole address space as local network, and removes all but the first of equal links.
void finish_linkinfos();

// The first record of the list that equals `record`, which may be `record` itself. Compares
// addresses, flags and authentication, but not names, labels and policies.
const linkinfo *find_twin_linkinfo(const linkinfo *record, const record_list<linkinfo> &list);

// Both absent, or both there and equal.
bool same_string(const std::string &a, const std::string &b);

// The same of texts that may be null, which equals null alone.
inline bool same_string(const char *a, const char *b)
{
    return a == nullptr || b == nullptr ? a == b : std::strcmp(a, b) == 0;
}

// Writes the records, numbered from 1 in list order.
void save_linkinfos(std::FILE *stream, const record_list<linkinfo> &list);

namespace flatlink
{

// Invalidates the number index; call after renumbering or removing records.
void invalidate_link_index();

} // namespace flatlink
