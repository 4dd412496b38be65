#include "lib/frag/import/token_symbol.h"

#include "lib/frag/import/import.h"
#include "lib/frag/tree/symbol.h"
#include "lib/ulib/notice.h"

#include <cstring>

using namespace flatlink;

int load_tokens(const char *path)
{
    if (path != nullptr && importenv(path) == 0)
        return 0;
    notice(EVENT_NO_FILE, 0, "libtoken: Error reading %s", path == nullptr ? "" : path);
    return 1;
}

int get_token(const char *key, std::string *destination)
{
    if (destination == nullptr)
        return 1;
    if (const char *value = symval(key); value != nullptr) {
        *destination = value;
        return 0;
    }
    notice(EVENT_NO_ENTRY, 0, "libtoken: No token found %s", key == nullptr ? "" : key);
    return 1;
}

int get_token(const char *key, char *destination)
{
    std::string value;
    if (destination == nullptr || get_token(key, &value) != 0)
        return 1;
    std::memcpy(destination, value.c_str(), value.size() + 1);
    return 0;
}

int get_token(const char * /*key*/, std::nullptr_t)
{
    return 1;
}
