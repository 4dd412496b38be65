// What the child that checks an input tells its parent, as frames of kind `record`.
#pragma once

#include "flatctl/findings.h"
#include "flatctl/kind.h"

#include <string>
#include <string_view>

namespace flatlink
{

// The frame's bytes. NUL bytes of the texts become blanks.
std::string packed_finding(const finding &found);
std::string packed_facts(const input_facts &facts);

// False, and nothing changed, for what is none.
bool unpack_finding(std::string_view bytes, finding &found);
bool unpack_facts(std::string_view bytes, input_facts &facts);

} // namespace flatlink
