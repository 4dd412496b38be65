#include "lib/ulib/location.h"

#include "lib/ulib/environ.h"
#include "lib/ulib/text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

using namespace flatlink;

static constexpr std::string_view PROFILE = "/opt/KORVwss/.profile.vars";
static constexpr std::string_view LOCAL_ETC = "/usr/local/etc";
static constexpr std::size_t PROFILE_PATH_LENGTH = 1023;
static constexpr std::size_t VALUE_LENGTH = 1024;
static constexpr std::size_t LINE_LENGTH = 8190;

namespace
{

struct installation {
    std::string location;
    std::string local_etc;
};

struct profile_field {
    std::string_view key;
    std::string installation::*text;
};

constexpr profile_field profile_fields[] = {
    {"install_location", &installation::location},
    {"install_locusrlocaletc", &installation::local_etc},
};

struct close_file {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

} // namespace

// Reads one line without its line break; drops characters beyond LINE_LENGTH. False at the end of
// the file.
static bool read_line(std::FILE *file, std::string &line)
{
    line.clear();
    int c = std::getc(file);
    const bool has_line = c != EOF;
    for (; c != EOF && c != '\n'; c = std::getc(file))
        if (line.size() < LINE_LENGTH)
            line += static_cast<char>(c);
    return has_line;
}

static void take_line(installation &found, std::string_view line)
{
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos)
        return;
    std::string_view value = line.substr(equals + 1);
    value = value.substr(0, value.find('\0')); // a path ends at a NUL byte
    value = value.substr(0, value.find_last_not_of("\n\r\t ") + 1);
    for (const profile_field &field : profile_fields)
        if (line.substr(0, equals) == field.key)
            found.*field.text = value.substr(0, VALUE_LENGTH);
}

static std::string profile_path()
{
    return std::string(text_of(_findenv("KORVWSS", nullptr))).append(PROFILE);
}

// `error` receives the errno of opening or reading the profile; 0 when the file does not exist.
static installation read_installation(int &error)
{
    installation found;
    error = 0;
    const std::string path = profile_path();
    if (path.size() > PROFILE_PATH_LENGTH)
        return found;
    const std::unique_ptr<std::FILE, close_file> file(std::fopen(path.c_str(), "re"));
    if (file == nullptr) {
        error = errno == ENOENT || errno == ENOTDIR ? 0 : errno;
        return found;
    }
    std::string line;
    while (read_line(file.get(), line))
        take_line(found, line);
    error = std::ferror(file.get()) != 0 ? errno : 0;
    return found;
}

static installation read_installation()
{
    int error = 0;
    return read_installation(error);
}

static std::string joined(std::string location, std::string_view path)
{
    if (location.ends_with('/') && path.starts_with('/'))
        path.remove_prefix(1);
    return location.append(path);
}

std::optional<std::string> flatlink::installed_path(const char *path)
try {
    if (path == nullptr)
        return std::nullopt;
    return joined(read_installation().location, path);
} catch (const std::bad_alloc &) {
    return std::nullopt;
}

int flatlink::find_location(const char *path, std::string &found)
{
    int error = 0;
    const installation installed = read_installation(error);
    found = error != 0 ? profile_path() : joined(installed.location, path);
    return error;
}

std::optional<std::string> flatlink::installed_local_path(const char *path)
try {
    if (path == nullptr)
        return std::nullopt;
    if (!begins_with_word(path, LOCAL_ETC))
        return path;
    const installation found = read_installation();
    const std::string replacement =
        found.local_etc.empty() ? joined(found.location, LOCAL_ETC) : found.local_etc;
    return replacement + (path + LOCAL_ETC.size());
} catch (const std::bad_alloc &) {
    return std::nullopt;
}

// The text on the heap; null for no text, or without memory.
static char *heap_copy(const std::optional<std::string> &text)
{
    return text ? strdup(text->c_str()) : nullptr;
}

char *getlocation(const char *path)
{
    return heap_copy(installed_path(path));
}

char *getusrlocaletc(const char *path)
{
    return heap_copy(installed_local_path(path));
}
