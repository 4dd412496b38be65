// The settings that stand once in the flat data, each in a line "vpn_KEY=value". One row a setting,
// read by parser, writer and everything that shows settings.
#pragma once

#include <cstdio>
#include <span>
#include <string>
#include <string_view>

namespace flatlink
{

struct vpn_setting {
    std::string_view key;
    void (*store)(std::string_view value);
    std::string (*print)() = nullptr; // null: never written
    unsigned flags = 0;               // SECRET of field.h
};

// In the order of their lines.
extern const std::span<const vpn_setting> vpn_settings;

// Stores "KEY=value", a line without its prefix; false when there is no such setting.
bool store_setting(std::string_view line);

// Writes the lines of all settings and flushes.
void save_settings(std::FILE *stream);

} // namespace flatlink
