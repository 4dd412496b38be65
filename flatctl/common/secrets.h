// Which lines hold secrets, and what is shown in the place of one.
#pragma once

#include <string>
#include <string_view>

namespace flatlink
{

// Whether the value of a key is one: of a line of the flat data, or of a key of a database.
bool is_secret_key(std::string_view key);

// Chooses the key of this run, before it makes any child: equal secrets look equal in all of them.
void choose_secret_key();

// "<secret 7f3a>": the same for the same value within one run, another in the next run.
std::string hidden_secret(std::string_view value);

// A line of key=value that ends nowhere, escaped and with its secret hidden.
std::string shown_setting(std::string_view line, bool is_revealed);

} // namespace flatlink
