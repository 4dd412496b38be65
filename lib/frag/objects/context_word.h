// The walks of netobj.h, netobj_text.h and pattern.h for callbacks with a context argument: the
// caller's `word`, passed unchanged to each call as the last argument.
#pragma once

#include "lib/frag/objects/netobj.h"
#include "lib/frag/objects/netobj_text.h"
#include "lib/frag/objects/pattern.h"

#include <cstddef>
#include <cstring>

namespace flatlink
{

// A callback that passes `word` on to `callback`.
template <typename callback_type, typename word_type>
object_callback object_callback_with(callback_type callback, word_type word)
{
    return [callback, word](frag **db, frag *obj, const char *type) {
        return callback(db, obj, type, word);
    };
}

template <typename callback_type, typename word_type>
text_callback text_callback_with(callback_type callback, word_type word)
{
    return
        [callback, word](frag *element, const char *text) { return callback(element, text, word); };
}

} // namespace flatlink

template <typename callback_type, typename word_type>
int enum_group(frag **db, frag *obj, callback_type callback, word_type word)
{
    return enum_group(db, obj, flatlink::object_callback_with(callback, word));
}

template <typename callback_type, typename word_type>
int enum_list(frag **db, frag **list, callback_type callback, word_type word)
{
    return enum_list(db, list, flatlink::object_callback_with(callback, word));
}

template <typename callback_type, typename word_type>
int enum_netobj(frag **db, const char *key, callback_type callback, word_type word)
{
    return enum_netobj(db, key, flatlink::text_callback_with(callback, word));
}

template <typename callback_type, typename word_type>
int enum_netobj6(frag **db, frag *obj, const char *key, callback_type callback, word_type word)
{
    return enum_netobj6(db, obj, key, flatlink::text_callback_with(callback, word));
}

template <typename callback_type, typename word_type>
int enum_netobj42(frag **db, const char *key, callback_type callback, word_type word)
{
    return enum_netobj42(db, key, flatlink::text_callback_with(callback, word));
}

template <typename callback_type, typename word_type>
int enum_netgroup(frag **db, frag *group, const char *key, callback_type callback, word_type word)
{
    return enum_netgroup(db, group, key, flatlink::text_callback_with(callback, word));
}

template <typename callback_type, typename word_type>
int enum_netlist(frag **db, frag *list, const char *name, callback_type callback, word_type word)
{
    return enum_netlist(db, list, name, flatlink::text_callback_with(callback, word));
}

// The text callback of netobj_to_netperm, which needs no word.
template <typename word_type> int n2n_func(frag *element, const char *text, word_type)
{
    return n2n_func(element, text);
}

// Texts that are rewritten in place: each of the forms is at most 31 bytes long, which is the room
// that a single pattern needs.
inline int convert_pat(char *text)
{
    if (text == nullptr)
        return convert_pat(static_cast<std::string *>(nullptr));
    std::string rewritten = text;
    const int result = convert_pat(&rewritten);
    std::memcpy(text, rewritten.c_str(), rewritten.size() + 1);
    return result;
}

inline int convert_pat(std::nullptr_t)
{
    return convert_pat(static_cast<std::string *>(nullptr));
}

template <typename callback_type, typename word_type>
int enum_pattern(frag **db, char *text, callback_type callback, word_type word, const char *tag,
                 const char **typeout)
{
    const object_callback calls = flatlink::object_callback_with(callback, word);
    if (text == nullptr)
        return enum_pattern(db, static_cast<std::string *>(nullptr), calls, tag, typeout);
    std::string rewritten = text;
    const int result = enum_pattern(db, &rewritten, calls, tag, typeout);
    if (result == 1)
        std::memcpy(text, rewritten.c_str(), rewritten.size() + 1);
    return result;
}
