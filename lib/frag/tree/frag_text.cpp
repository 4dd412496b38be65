#include "lib/frag/tree/frag_text.h"

#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/ulib/name_table.h"
#include "lib/ulib/report.h"
#include "lib/ulib/text.h"

#include <cstring>
#include <vector>

using namespace flatlink;

static std::string_view without_leading_blanks(const char *text)
{
    const std::string_view view = text_of(text);
    const std::size_t start = view.find_first_not_of(" \t");
    return start == std::string_view::npos ? std::string_view() : view.substr(start);
}

bool is_ws(char c)
{
    return c == ' ' || c == '\t';
}

bool is_wscrlf(char c)
{
    return is_ws(c) || c == '\r' || c == '\n';
}

bool frag_isblank(const char *text)
{
    return without_leading_blanks(text).empty();
}

int frag_istrue(const char *text)
{
    static constexpr name_num words[] = {
        {"on", 1}, {"yes", 1}, {"true", 1}, {"off", 0}, {"no", 0}, {"false", 0},
    };
    const std::string_view word = without_leading_blanks(text);
    if (!word.empty() && is_digit(word[0]))
        return lenient_number(word);
    return parsenametonum(words, word);
}

char *frag_strdup(const char *text)
{
    char *copy = strdup(text);
    if (copy == nullptr)
        outofcore();
    return copy;
}

int strip_crlf_tree(frag **head)
{
    std::vector<frag *> open_lists{*head};
    while (!open_lists.empty()) {
        frag *node = open_lists.back();
        open_lists.pop_back();
        for (; node != nullptr; node = node->next) {
            if (node->value != nullptr)
                while (node->vlen > 0 && is_wscrlf(node->value[node->vlen - 1]))
                    node->value[--node->vlen] = '\0';
            open_lists.push_back(node->child);
        }
    }
    return 0;
}

int export_frags(const frag *first, std::FILE *stream, int /*spare*/)
{
    std::vector<const frag *> open_lists{first};
    while (!open_lists.empty()) {
        const frag *node = open_lists.back();
        open_lists.pop_back();
        if (node == nullptr)
            continue;
        open_lists.push_back(node->next);
        if (node->value == nullptr)
            continue;
        std::fprintf(stream, "%s=", fragkeyname(node));
        if (node->vlen > 0)
            std::fwrite(node->value, 1, static_cast<std::size_t>(node->vlen), stream);
        std::fputc('\n', stream);
        open_lists.push_back(node->child);
    }
    return 0;
}

static void dump_node(frag *node, int indent)
{
    const std::uint32_t flags = node->flags;
    std::printf("%*s%s", indent, "", indent == 0 ? "" : "_");
    if (flags != 0)
        std::printf("(%d)", static_cast<int>(flags));
    if (node->value != nullptr)
        for (char *c = node->value; *c != '\0'; ++c)
            if (*c < 32 || *c > 126)
                *c = '#';
    std::printf("%s[%04x,%d]%s%s\n", node->name, flags, node->vlen,
                node->value == nullptr ? "" : "=", node->value == nullptr ? "<NONE>" : node->value);
}

int dump_frags(frag *first, int indent)
{
    struct open_list {
        frag *node;
        int indent;
    };
    std::vector<open_list> open_lists{{first, indent}};
    while (!open_lists.empty()) {
        const auto [node, depth] = open_lists.back();
        open_lists.pop_back();
        if (node == nullptr)
            continue;
        dump_node(node, depth);
        open_lists.push_back({node->next, depth});
        const int name_length = static_cast<int>(std::strlen(node->name));
        open_lists.push_back({node->child, depth + name_length + 1});
    }
    return 0;
}
