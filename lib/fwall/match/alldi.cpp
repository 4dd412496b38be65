#include "lib/fwall/match/alldi.h"

#include <cstring>

bool isalldigits(const char *text)
{
    return text != nullptr && text[std::strspn(text, "0123456789")] == '\0';
}
