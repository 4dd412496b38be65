#include "flatctl/secrets.h"

#include "flatctl/text_write.h"

#include <array>
#include <cstdio>
#include <functional>
#include <sys/random.h>

using namespace flatlink;

bool flatlink::is_secret_key(std::string_view key)
{
    key = key.substr(0, key.find_last_not_of(" \t") + 1); // a misspelt one is a secret all the same
    const std::string_view name = key.substr(key.find_last_of("_[\\ \t") + 1);
    if (name == "secret" || name == "anonsecret" || name == "preshrd")
        return true;
    return name == "key" && key.starts_with("key_");
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

// An element on a line by itself, or a part of one, that may be the text of a secret.
static bool is_secret_element(std::string_view line)
{
    return line.find('<') != std::string_view::npos &&
           (line.find("secret") != std::string_view::npos ||
            line.find("preshrd") != std::string_view::npos);
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
