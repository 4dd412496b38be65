// What the child that checks an input tells its parent, as frames of kind `record`.
#pragma once

#include "flatctl/check/findings.h"
#include "flatctl/input/kind.h"

#include <string>
#include <string_view>

namespace flatlink
{

// The frame's bytes. NUL bytes of the texts become blanks.
std::string packed_finding(const finding &found);
std::string packed_facts(const input_facts &facts);

// A step that may end the process begins; each is counted from 1 on. And why it ends, should it do
// so: the last one that is sent counts.
std::string packed_step(int step);
std::string packed_cause(const finding &found);

// False, and nothing changed, for what is none.
bool unpack_finding(std::string_view bytes, finding &found);
bool unpack_facts(std::string_view bytes, input_facts &facts);
bool unpack_step(std::string_view bytes, int &step);
bool unpack_cause(std::string_view bytes, finding &found);

} // namespace flatlink
