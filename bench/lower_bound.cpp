#include "bench/lower_bound.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace
{

struct bound_node {
    bound_node *next = nullptr;
    bound_node *first_child = nullptr;
    bound_node *last_child = nullptr;
    bound_node *parent = nullptr;
    std::string_view name;
    std::string_view value;
    std::size_t child_count = 0;
};

constexpr std::size_t SCANNED_CHILDREN = 16; // with more, a hash finds the child

class bound_tree
{
  public:
    bound_tree() : slots_(1 << 16) {}

    std::size_t node_count() const { return node_count_; }

    bound_node *child(bound_node *parent, std::string_view name)
    {
        if (parent->child_count <= SCANNED_CHILDREN) {
            for (bound_node *node = parent->first_child; node != nullptr; node = node->next)
                if (node->name == name)
                    return node;
            bound_node *made = append(parent, name);
            if (parent->child_count == SCANNED_CHILDREN + 1)
                for (bound_node *node = parent->first_child; node != nullptr; node = node->next)
                    *slot_of(parent, node->name) = node;
            return made;
        }
        bound_node **slot = slot_of(parent, name);
        if (*slot != nullptr)
            return *slot;
        bound_node *made = append(parent, name);
        *slot = made;
        if (++hashed_ * 2 > slots_.size())
            grow();
        return made;
    }

    bound_node *append(bound_node *parent, std::string_view name)
    {
        auto *node = new (room(sizeof(bound_node))) bound_node;
        node->name = copy(name);
        node->parent = parent;
        (parent->last_child != nullptr ? parent->last_child->next : parent->first_child) = node;
        parent->last_child = node;
        ++parent->child_count;
        ++node_count_;
        return node;
    }

    std::string_view copy(std::string_view text)
    {
        char *place = static_cast<char *>(room(text.size() + 1));
        std::memcpy(place, text.data(), text.size());
        place[text.size()] = '\0';
        return {place, text.size()};
    }

    bound_node root;

  private:
    void *room(std::size_t size)
    {
        constexpr std::size_t BLOCK_SIZE = 1 << 20;
        size = (size + 7) & ~std::size_t{7};
        if (left_ < size) {
            left_ = std::max(size, BLOCK_SIZE);
            blocks_.push_back(std::make_unique_for_overwrite<char[]>(left_));
            free_ = blocks_.back().get();
        }
        void *place = free_;
        free_ += size;
        left_ -= size;
        return place;
    }

    bound_node **slot_of(const bound_node *parent, std::string_view name)
    {
        const std::size_t mask = slots_.size() - 1;
        const std::size_t hash =
            std::hash<std::string_view>()(name) ^ (reinterpret_cast<std::uintptr_t>(parent) >> 4);
        for (std::size_t pos = hash & mask;; pos = (pos + 1) & mask)
            if (slots_[pos] == nullptr ||
                (slots_[pos]->parent == parent && slots_[pos]->name == name))
                return &slots_[pos];
    }

    void grow()
    {
        std::vector<bound_node *> old(slots_.size() * 2);
        old.swap(slots_);
        for (bound_node *node : old)
            if (node != nullptr)
                *slot_of(node->parent, node->name) = node;
    }

    std::vector<std::unique_ptr<char[]>> blocks_;
    char *free_ = nullptr;
    std::size_t left_ = 0;
    std::vector<bound_node *> slots_;
    std::size_t hashed_ = 0;
    std::size_t node_count_ = 0;
};

std::string read_whole(const char *path)
{
    std::string text;
    std::FILE *file = std::fopen(path, "re");
    if (file == nullptr)
        return text;
    std::fseek(file, 0, SEEK_END);
    text.resize(static_cast<std::size_t>(std::ftell(file)));
    std::rewind(file);
    text.resize(std::fread(text.data(), 1, text.size(), file));
    std::fclose(file);
    return text;
}

// Calls back for each line of a text, without its newline.
template <typename callback> void for_lines(std::string_view text, callback take)
{
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        take(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

// Calls back for each part of a path.
template <typename callback> void for_parts(std::string_view path, callback take)
{
    for (;;) {
        const std::size_t end = path.find('_');
        take(path.substr(0, end));
        if (end == std::string_view::npos)
            return;
        path.remove_prefix(end + 1);
    }
}

std::size_t equal_start(std::string_view a, std::string_view b)
{
    const std::size_t limit = std::min(a.size(), b.size());
    std::size_t same = 0;
    while (same < limit && a[same] == b[same])
        ++same;
    return same;
}

} // namespace

std::size_t bound_flat(const char *path)
{
    struct passed_part {
        bound_node *node;
        std::size_t end;
    };
    const std::string text = read_whole(path);
    bound_tree tree;
    std::vector<passed_part> passed; // the last line's
    std::string_view last_key;
    for_lines(text, [&](std::string_view line) {
        const std::size_t equals = line.find('=');
        const std::string_view key = line.substr(0, equals);
        const std::size_t same = equal_start(key, last_key);
        while (!passed.empty() && passed.back().end >= same)
            passed.pop_back();
        bound_node *node = passed.empty() ? &tree.root : passed.back().node;
        std::size_t end = passed.empty() ? 0 : passed.back().end + 1;
        for_parts(key.substr(end), [&](std::string_view part) {
            node = tree.child(node, part);
            end += part.size();
            if (end < key.size())
                passed.push_back({node, end});
            ++end;
        });
        node->value = tree.copy(line.substr(equals + 1));
        last_key = key;
    });
    return tree.node_count();
}

std::size_t bound_sections(const char *path)
{
    const std::string text = read_whole(path);
    bound_tree tree;
    bound_node *section = &tree.root;
    for_lines(text, [&](std::string_view line) {
        if (line.starts_with('[')) {
            section = &tree.root;
            for_parts(line.substr(1, line.size() - 2),
                      [&](std::string_view part) { section = tree.child(section, part); });
            return;
        }
        const std::size_t equals = line.find('=');
        tree.child(section, line.substr(0, equals))->value = tree.copy(line.substr(equals + 1));
    });
    return tree.node_count();
}

std::size_t bound_tags(const char *path)
{
    const std::string text = read_whole(path);
    bound_tree tree;
    bound_node *element = &tree.root;
    for (std::size_t pos = text.find('<'); pos < text.size();) {
        const std::size_t tag_end = text.find('>', pos);
        if (text[pos + 1] == '/')
            element = element->parent;
        else
            element =
                tree.append(element, std::string_view(text).substr(pos + 1, tag_end - pos - 1));
        pos = std::min(text.find('<', tag_end), text.size());
        const std::string_view content =
            std::string_view(text).substr(tag_end + 1, pos - tag_end - 1);
        if (content.find_first_not_of('\n') != std::string_view::npos)
            element->value = tree.copy(content);
    }
    return tree.node_count();
}
