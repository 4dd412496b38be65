#include "lib/frag/objects/pattern.h"

#include "lib/frag/objects/object_run.h"
#include "lib/frag/tree/frag.h"
#include "lib/ulib/text.h"

#include <array>
#include <string_view>
#include <vector>

using namespace flatlink;

namespace
{

constexpr std::size_t OCTETS = 4;

struct dotted_pattern {
    std::array<int, OCTETS> value{};
    std::array<int, OCTETS> mask{};
    bool has_wildcard = false;
};

} // namespace

// Not find_first_not_of, which searches its set anew for each character: each side of each link is
// read here.
template <typename test> static std::size_t skip(std::string_view text, std::size_t pos, test fits)
{
    while (pos < text.size() && fits(text[pos]))
        ++pos;
    return pos;
}

template <char wanted> static bool is(char c)
{
    return c == wanted;
}

// Reads the octets. Returns 0 when the text is nothing but octets, else convert_pat's result.
static int read_octets(std::string_view text, dotted_pattern &pattern)
{
    std::size_t octet = 0;
    for (std::size_t pos = 0; pos < text.size(); ++octet) {
        if (octet == OCTETS)
            return text[pos] == ':' || text[pos] == '-' ? 1 : -1;
        if (text[pos] == '*') {
            pattern.has_wildcard = true;
            pos = skip(text, pos, is<'*'>);
        } else if (is_digit(text[pos])) {
            pattern.value[octet] = lenient_number(text.substr(pos)) & 255;
            pattern.mask[octet] = 255;
            pos = skip(text, pos, is_digit);
        } else {
            return -1;
        }
        pos = skip(text, pos, is<'.'>);
    }
    pattern.has_wildcard = pattern.has_wildcard || octet < OCTETS;
    return 0;
}

static std::string joined(const std::array<int, OCTETS> &octets)
{
    std::string text;
    for (const int octet : octets) {
        if (!text.empty())
            text += '.';
        text += std::to_string(octet);
    }
    return text;
}

int convert_pat(std::string *text)
{
    if (text == nullptr)
        return -1;
    dotted_pattern pattern;
    if (const int result = read_octets(*text, pattern); result != 0)
        return result;
    if (!pattern.has_wildcard)
        return 1;
    *text = joined(pattern.value) + ":" + joined(pattern.mask);
    return 0;
}

static void normalise(std::string *text, const char **typeout)
{
    const int result = convert_pat(text);
    if (result < 0)
        while (text->starts_with("*."))
            text->erase(0, 2);
    if (typeout != nullptr && result <= 0)
        *typeout = result < 0 ? "dns" : "ipnet";
}

static std::vector<std::string> words_of(std::string_view text)
{
    std::vector<std::string> words;
    for (std::size_t pos = skip(text, 0, is<' '>); pos < text.size();
         pos = skip(text, pos, is<' '>)) {
        const std::size_t end = std::min(text.find(' ', pos), text.size());
        words.emplace_back(text.substr(pos, end - pos));
        pos = end;
    }
    return words;
}

// Groups unlinked from the tree, with everything that a configuration put below them.
static std::vector<frag_ptr> replaced_groups;

void flatlink::free_replaced_patterns()
{
    replaced_groups.clear();
}

// Makes a group of temporary pattern objects, one per word; null if the tree does not accept it.
static frag *make_pattern_group(frag **db, std::string_view text, const std::string &tag)
{
    const std::string members_key = "temp_patgroup_" + tag + "_elem";
    replaced_groups.emplace_back(fdel(db, members_key.c_str()));
    frag *members = fset(db, members_key.c_str(), nullptr);
    if (members->parent == nullptr)
        return nullptr;
    // A word makes three nodes, which stay in memory until free_replaced_patterns.
    constexpr long long WORD_STEPS = 100;
    int number = 0;
    for (const std::string &word : words_of(text)) {
        if (!take_steps(WORD_STEPS, members))
            break;
        const std::string name = std::to_string(++number);
        const std::string object_key = std::string("temp_pattern_").append(tag) + name;
        fsetp(&members->child, (name + "_obj").c_str(), object_key.c_str(), members);
        fsetp(&members->child, (name + "_type").c_str(), "pattern", members);
        fset(db, (object_key + "_pat").c_str(), word.c_str());
    }
    return members->parent;
}

int enum_pattern(frag **db, std::string *text, const object_callback &callback, const char *tag,
                 const char **typeout)
{
    if (text == nullptr)
        return 0;
    if (text->find(' ') == std::string::npos) {
        normalise(text, typeout);
        return 1;
    }
    frag *group = make_pattern_group(db, *text, tag);
    if (group != nullptr)
        enum_group(db, group, callback);
    return 0;
}
