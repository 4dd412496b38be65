// IKE (phase one) policies: the lines ikePolicy_NAME_....
#pragma once

#include <cstdio>
#include <string_view>

#include "flatlink/records/records.h"

// Takes one line without "ikePolicy_". Returns 0 when it was used, 1 when not; a line with an
// empty value or without an equals sign is passed over in silence.
int add_partial_ikepol(std::string_view rest);

// Drops proposals without hash, encryption or group, which is what a misspelt word leaves, and
// policies without proposals; puts both into order. Once, when all lines are in.
void finish_ikepols();

// Writes policies and proposals, each numbered from 1 in list order.
void save_ikepols(std::FILE *stream, const record_stack<ikepol> &list);
