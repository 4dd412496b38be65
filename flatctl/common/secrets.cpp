#include "flatctl/common/secrets.h"

#include "flatctl/common/text_write.h"
#include "flatlink/records/keys.h"
#include "flatlink/records/links.h"
#include "flatlink/records/old_links.h"
#include "flatlink/records/settings.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <sys/random.h>
#include <vector>

using namespace flatlink;

// The last parts of keys whose values are secrets, as the rows of the records say. The loaders keep
// the names that the tree has for them, so they serve for a database, too.
static const std::vector<std::string_view> &secret_names()
{
    static const std::vector<std::string_view> names = [] {
        std::vector<std::string_view> found;
        const auto collect = [&found](const auto &rows) {
            for (const auto &row : rows)
                if ((row.flags & SECRET) != 0)
                    found.push_back(row.key);
        };
        collect(link_fields);
        collect(old_link_fields);
        collect(vpn_settings);
        return found;
    }();
    return names;
}

bool flatlink::is_secret_key(std::string_view key)
{
    key = key.substr(0, key.find_last_not_of(" \t") + 1); // a misspelt one is a secret all the same
    const std::string_view name = key.substr(key.find_last_of("_[\\ \t") + 1);
    // The name in a key record is a word that others use for what is none.
    if (key.starts_with("key_") && std::ranges::any_of(key_fields, [name](const auto &row) {
            return row.key == name && (row.flags & SECRET) != 0;
        }))
        return true;
    return std::ranges::find(secret_names(), name) != secret_names().end();
}

static std::array<char, 16> run_key;

void flatlink::choose_secret_key()
{
    (void)getrandom(run_key.data(), run_key.size(), 0); // so few bytes always come at once
}

// So short a part of a hash under an unknown key tells equal from different, and no more.
std::string flatlink::hidden_secret(std::string_view value)
{
    const std::string keyed = std::string(run_key.begin(), run_key.end()) + std::string(value);
    const std::size_t hash = std::hash<std::string>{}(keyed);
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "<secret %04x>", static_cast<unsigned>(hash & 0xFFFF));
    return text.data();
}

// An element on a line of its own, or a part of one, that may be the text of a secret.
static bool is_secret_element(std::string_view line)
{
    return line.find('<') != std::string_view::npos &&
           std::ranges::any_of(secret_names(), [line](std::string_view name) {
               return line.find(name) != std::string_view::npos;
           });
}

std::string flatlink::shown_setting(std::string_view line, bool is_revealed)
{
    if (!is_revealed && is_secret_element(line))
        return hidden_secret(line);
    const std::size_t equals = line.find('=');
    if (is_revealed || equals + 1 >= line.size() || !is_secret_key(line.substr(0, equals)))
        return shown(line);
    return shown(line.substr(0, equals + 1)) + hidden_secret(line.substr(equals + 1));
}
