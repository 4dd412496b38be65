#include "flatctl/forms/tree_diff.h"

#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <string_view>
#include <unordered_map>

using namespace flatlink;

namespace
{

constexpr std::uint32_t ACCESS_BITS = FRAG_PERMIT | FRAG_DENY | FRAG_ABSORB | FRAG_ONLYON;

std::string_view whole_value(const frag *node)
{
    const auto counted = static_cast<std::size_t>(std::max(node->vlen, 0));
    return {node->value, std::max(counted, std::strlen(node->value))};
}

std::string_view trimmed(std::string_view text)
{
    const std::size_t begin = text.find_first_not_of(" \t\r\n");
    const std::size_t end = text.find_last_not_of(" \t\r\n");
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, end - begin + 1);
}

// Visits a list and all below it until `visit` returns true; returns whether it did.
template <typename visitor> bool any_node(const frag *first, visitor visit)
{
    std::vector<const frag *> open{first};
    while (!open.empty()) {
        const frag *node = open.back();
        open.pop_back();
        for (; node != nullptr; node = node->next) {
            if (visit(node))
                return true;
            if (node->child != nullptr)
                open.push_back(node->child);
        }
    }
    return false;
}

// Whether the node has a value, or any below it.
bool has_value(const frag *node)
{
    const auto is_set = [](const frag *one) { return one->value != nullptr; };
    return is_set(node) || any_node(node->child, is_set);
}

class comparison
{
  public:
    comparison(bool is_rearranged, std::size_t most) : is_rearranged_(is_rearranged), most_(most) {}

    tree_comparison run(const frag *before, const frag *after)
    {
        open_.push_back({before, after});
        while (!open_.empty()) {
            const auto [old_list, new_list] = open_.back();
            open_.pop_back();
            compare_lists(old_list, new_list);
        }
        return std::move(found_);
    }

  private:
    struct pair {
        const frag *before, *after;
    };

    void tell(const frag *node, const char *what)
    {
        if (++found_.count <= most_)
            found_.differences.push_back({fragkeyname(node), what});
    }

    void tell_place(const frag *node, const char *what)
    {
        if (is_rearranged_)
            ++found_.rearranged;
        else
            tell(node, what);
    }

    void compare_nodes(const frag *before, const frag *after)
    {
        if ((before->flags & ACCESS_BITS) != (after->flags & ACCESS_BITS))
            tell(before, "its access prefix");
        if (before->value == nullptr || after->value == nullptr) {
            if (before->value != after->value)
                tell(before, before->value == nullptr   ? "it gets an empty value"
                             : before->value[0] != '\0' ? "its value"
                                                        : "its empty value");
        } else if (const auto old_value = whole_value(before), new_value = whole_value(after);
                   old_value != new_value) {
            tell(before, trimmed(old_value) == trimmed(new_value)
                             ? "white space at an end of its value"
                             : "bytes of its value");
        }
        if (before->child != nullptr || after->child != nullptr)
            open_.push_back({before->child, after->child});
    }

    // Most lists are the same on both sides, and are walked in step.
    void compare_lists(const frag *before, const frag *after)
    {
        while (before != nullptr && after != nullptr &&
               std::strcmp(before->name, after->name) == 0) {
            compare_nodes(before, after);
            before = before->next;
            after = after->next;
        }
        if (before != nullptr || after != nullptr)
            pair_by_name(before, after);
    }

    void pair_by_name(const frag *before, const frag *after)
    {
        std::unordered_map<std::string_view, std::deque<const frag *>> left;
        for (const frag *node = after; node != nullptr; node = node->next)
            left[node->name].push_back(node);
        std::vector<const frag *> partners;
        for (const frag *node = before; node != nullptr; node = node->next) {
            auto &same = left[node->name];
            if (!same.empty()) {
                partners.push_back(same.front());
                compare_nodes(node, same.front());
                same.pop_front();
            } else if (has_value(node)) {
                tell(node, "it, with all that is below it");
            }
        }
        std::size_t at = 0; // of the partner that is to come next
        for (const frag *node = after; node != nullptr; node = node->next) {
            if (auto &same = left[node->name]; !same.empty() && same.front() == node) {
                same.pop_front();
                if (has_value(node))
                    tell_place(node, "it appears, and was not there");
            } else if (partners[at++] != node && has_value(node)) {
                tell_place(node, "its place among its siblings");
            }
        }
    }

    bool is_rearranged_;
    std::size_t most_;
    std::vector<pair> open_;
    tree_comparison found_;
};

} // namespace

tree_comparison flatlink::compare_trees(const frag *before, const frag *after, bool is_rearranged,
                                        std::size_t most)
{
    return comparison(is_rearranged, most).run(before, after);
}

std::size_t flatlink::count_values(const frag *first)
{
    std::size_t count = 0;
    (void)any_node(first, [&](const frag *node) {
        count += node->value != nullptr ? 1 : 0;
        return false;
    });
    return count;
}
