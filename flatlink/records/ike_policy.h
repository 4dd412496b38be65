// IKE (phase one) policies: the lines ikePolicy_NAME_....
#pragma once

#include "flatlink/records/field.h"
#include "flatlink/records/records.h"

#include <cstdio>
#include <string_view>

namespace flatlink
{

// The fields of a policy and of a proposal, in the order of their lines.
extern const field_table<ikepol> ikepol_fields;
extern const field_table<ikeprop> ikeprop_fields;

} // namespace flatlink

// Takes one line without "ikePolicy_". Returns 0 when it was used, 1 when not; a line with an
// empty value or without an equals sign is ignored in silence.
int add_partial_ikepol(std::string_view rest);

// Drops proposals without hash, encryption or group, which is what a misspelt word leaves, and
// policies without proposals; puts both into order. Once, when all lines are in.
void finish_ikepols();

// Writes policies and proposals, each numbered from 1 in list order.
void save_ikepols(std::FILE *stream, const record_stack<ikepol> &list);
