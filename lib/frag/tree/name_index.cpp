#include "lib/frag/tree/name_index.h"

#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/symbol.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

using namespace flatlink;

// Walking this many nodes costs about as much as a hash look-up.
static constexpr int WALKED_NODES = 12;

static constexpr std::size_t SMALLEST_TABLE = 32;

namespace
{

struct slot {
    std::uint32_t hash = 0;
    frag *node = nullptr; // null: free
};

} // namespace

struct name_index {
    const frag *first = nullptr; // head of the list when it was last in step
    const frag *last = nullptr;
    int length = 0;
    std::uint64_t generation = 0; // of drop_name_indexes
    std::size_t used = 0;
    std::vector<slot> slots; // open addressing; the size is a power of two
};

static std::uint64_t generation = 1;

// The top-level lists that are indexed.
static struct {
    frag **head;
    name_index *index;
} top_lists[] = {{&def_database, nullptr}, {nullptr, nullptr}};

// The place where the index of a list is kept; null for a list that may have several heads.
//   node  any node of the list
static name_index **place_of(frag **head, const frag *node)
{
    frag *parent = node->parent;
    if (parent != nullptr)
        return &parent->child == head ? &parent->names : nullptr;
    for (auto &list : top_lists)
        if (list.head == head)
            return &list.index;
    return nullptr;
}

static bool is_in_step(const name_index *index, frag **head)
{
    return index != nullptr && index->first == *head && index->generation == generation;
}

static std::uint32_t hash_of(std::string_view name)
{
    constexpr std::uint64_t SPREAD = 0x9E3779B97F4A7C15ULL; // 2^64 over the golden ratio
    std::uint64_t hash = name.size();
    std::uint64_t word = 0;
    for (; name.size() > sizeof word; name.remove_prefix(sizeof word)) {
        std::memcpy(&word, name.data(), sizeof word);
        hash = (hash ^ word) * SPREAD;
        hash ^= hash >> 32;
    }
    word = 0;
    std::memcpy(&word, name.data(), name.size());
    hash = (hash ^ word) * SPREAD;
    return static_cast<std::uint32_t>(hash >> 32);
}

static bool is_named(const frag *node, std::string_view name)
{
    const char *stored = node->name;
    for (const char c : name)
        if (*stored++ != c)
            return false;
    return *stored == '\0';
}

// The slot that holds `name`, or the free one where it belongs.
static slot &slot_of(name_index &index, std::string_view name, std::uint32_t hash)
{
    const std::size_t mask = index.slots.size() - 1;
    for (std::size_t pos = hash & mask;; pos = (pos + 1) & mask) {
        slot &candidate = index.slots[pos];
        if (candidate.node == nullptr || (candidate.hash == hash && is_named(candidate.node, name)))
            return candidate;
    }
}

static void grow(name_index &index)
{
    std::vector<slot> old(index.slots.size() * 2);
    old.swap(index.slots);
    const std::size_t mask = index.slots.size() - 1;
    for (const slot &kept : old) {
        if (kept.node == nullptr)
            continue;
        std::size_t pos = kept.hash & mask;
        while (index.slots[pos].node != nullptr)
            pos = (pos + 1) & mask;
        index.slots[pos] = kept;
    }
}

// Enters a node under a name that is not in the index, or in place of an earlier node.
static void enter(name_index &index, slot &place, std::uint32_t hash, frag *node)
{
    const bool is_new = place.node == nullptr;
    place = {hash, node};
    if (is_new && ++index.used * 2 > index.slots.size())
        grow(index);
}

static int steady_depth = 0;

steady_lists::steady_lists()
{
    ++steady_depth;
}

steady_lists::~steady_lists()
{
    --steady_depth;
}

static void build(name_index &index, frag *first)
{
    index = name_index();
    index.slots.resize(SMALLEST_TABLE);
    index.first = first;
    index.generation = generation;
    for (frag *node = first; node != nullptr; node = node->next) {
        const std::uint32_t hash = hash_of(node->name);
        slot &place = slot_of(index, node->name, hash);
        if (place.node == nullptr) // of equal names the first counts
            enter(index, place, hash, node);
        node->is_unlisted = 0;
        index.last = node;
        ++index.length;
    }
}

static frag *look_up(name_index &index, std::string_view name)
{
    return slot_of(index, name, hash_of(name)).node;
}

// Asks the list's index, which is built, or rebuilt if it does not match the list.
static frag *answer_of_index(name_index *&index, frag *first, bool is_fit, std::string_view name)
{
    if (index == nullptr)
        index = new name_index;
    if (is_fit && index->last->next == nullptr) {
        // Both ends may be right although nodes between them were moved to another list.
        frag *node = look_up(*index, name);
        if (node == nullptr || node->parent == first->parent)
            return node;
    }
    build(*index, first);
    return look_up(*index, name);
}

frag *flatlink::find_in_list(frag **head, std::string_view name)
{
    if (*head == nullptr)
        return nullptr;
    name_index **place = place_of(head, *head);
    const bool is_fit = place != nullptr && is_in_step(*place, head);
    if (is_fit && steady_depth > 0)
        return look_up(**place, name);

    const bool is_long = steady_depth > 0 || (is_fit && (*place)->length > CHECKED_NODES);
    const int walk_end = is_long ? WALKED_NODES : CHECKED_NODES;
    frag *node = *head;
    for (int walked = 0; node != nullptr && !is_named(node, name); node = node->next)
        if (++walked > walk_end && place != nullptr)
            return answer_of_index(*place, *head, is_fit, name);
    return node;
}

void flatlink::push_front(frag **head, frag *node)
{
    node->next = *head;
    name_index **place = place_of(head, *head != nullptr ? *head : node);
    if (place != nullptr && *place != nullptr) {
        if (*head != nullptr && is_in_step(*place, head)) {
            const std::uint32_t hash = hash_of(node->name);
            enter(**place, slot_of(**place, node->name, hash), hash, node);
            (*place)->first = node;
            ++(*place)->length;
            node->is_unlisted = 0;
        } else {
            (*place)->generation = 0; // must not match again if its first node returns
        }
    }
    *head = node;
}

void flatlink::free_name_index(name_index *index)
{
    delete index;
}

void flatlink::drop_name_index(frag **head)
{
    if (*head == nullptr)
        return;
    name_index **place = place_of(head, *head);
    if (place == nullptr) {
        // Another head of these nodes may have an index of them.
        drop_name_indexes();
    } else if (*place != nullptr) {
        delete *place;
        *place = nullptr;
    }
}

void flatlink::drop_name_indexes()
{
    ++generation;
}

void flatlink::index_top_list(frag **head)
{
    auto &extra = top_lists[1];
    delete extra.index;
    extra = {head, nullptr};
}
