// IPsec (phase two) policies: the lines ipsecPolicy_NAME_....
#pragma once

#include "flatlink/records/field.h"
#include "flatlink/records/records.h"

#include <cstdio>
#include <string_view>

namespace flatlink
{

// The fields of a policy and of a proposal, in the order of their lines.
extern const field_table<ipsecpol> ipsecpol_fields;
extern const field_table<ipsecprop> ipsecprop_fields;

} // namespace flatlink

// Takes one line without "ipsecPolicy_". Returns 0 when it was used, 1 when not; a line with an
// empty value or without an equals sign is ignored in silence.
int add_partial_ipsecpol(std::string_view rest);

// Lets the allow switches take effect, drops proposals that offer neither AH nor ESP, and
// policies without proposals; puts both into order. Once, when all lines are in.
void finish_ipsecpols();

// Writes policies and proposals, each numbered from 1 in list order.
void save_ipsecpols(std::FILE *stream, const record_stack<ipsecpol> &list);
