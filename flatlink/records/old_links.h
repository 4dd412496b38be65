// Links of the older flat form: the lines link_NN_, pair_NN_ and pass_NN_, numbered with two or
// four digits, which hold phase one and phase two inline.
#pragma once

#include "flatlink/records/field.h"
#include "flatlink/records/records.h"

#include <cstdio>
#include <string_view>

namespace flatlink
{

// The fields of an older link, in the order of their lines.
extern const field_table<vpnlink> old_link_fields;

} // namespace flatlink

// Takes one line without its prefix. `offset` separates the families: 0 for link, PAIR_INDEX for
// pair, PASS_INDEX for pass lines. Returns 0 when the line was used or its key ignored, or is
// unknown, which is reported; 1 for a bad number, which is reported, and in silence for a line
// without a value.
int add_partial_vpnlink(std::string_view rest, std::int32_t offset);

namespace flatlink
{

// Invalidates the number index; call after renumbering or removing links.
void invalidate_vpnlink_index();

} // namespace flatlink

// Writes the records, numbered from 1 with four digits; `prefix` is the family's word. A record
// without an authentication algorithm of phase two gets its default, HMAC MD5.
void save_vpnlinks(std::FILE *stream, const record_list<vpnlink> &list, std::string_view prefix);

// Puts `links` into the order of their numbers, drops those for which no mode line came, and
// gives a link without a log identifier its number. A number below 0 goes first.
void order_vpnlinks();

// Turns pairs of the older layout into links: joins the two halves of a name and takes the type
// from the number. Sorts linkinfos.
void merge_pair_links();

// Gives links with the mode swipe the values of a standard IKE link.
void upgrade_swipe_links();
