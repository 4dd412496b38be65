#include "lib/fwall/table/cfgrec.h"

#include "lib/ulib/notice.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <vector>

using namespace flatlink;

// Layout of the block: this struct, then the first record of each keyword, sorted by keyword.
struct cfg_index {
    cfgrec *last = nullptr; // of the list
    std::size_t count = 0;

    cfgrec **firsts() { return reinterpret_cast<cfgrec **>(this + 1); }
    cfgrec *first_of(const char *keyword)
    {
        cfgrec **const end = firsts() + count;
        cfgrec **const found =
            std::lower_bound(firsts(), end, keyword, [](const cfgrec *record, const char *wanted) {
                return std::strcmp(record->keyword, wanted) < 0;
            });
        return found != end && std::strcmp((*found)->keyword, keyword) == 0 ? *found : nullptr;
    }
};

static char *empty_vector[1] = {nullptr};
static cfgrec *cursor = nullptr; // where the next cfg_get without a list starts

// Stores a text and its NUL terminator at `place`, and moves `place` past them.
static char *put_text(char *&place, std::string_view text)
{
    char *stored = place;
    place = std::copy(text.begin(), text.end(), place);
    *place++ = '\0';
    return stored;
}

// Layout of the block: the record, the argument vector with its null, the texts.
cfgrec *flatlink::cfg_make(std::string_view keyword, std::int32_t flags, std::int32_t lineno,
                           int argc, char *const *argv)
{
    static_assert(std::is_trivially_destructible_v<cfgrec>, "free() is the whole release");
    static_assert(sizeof(cfgrec) % alignof(char *) == 0, "the vector follows the record");
    const std::size_t vector_size =
        argc == 0 ? 0 : (static_cast<std::size_t>(argc) + 1) * sizeof(char *);
    std::size_t size = sizeof(cfgrec) + vector_size + keyword.size() + 1;
    for (int i = 0; i < argc; ++i)
        size += std::strlen(argv[i]) + 1;
    void *block = std::malloc(size);
    if (block == nullptr)
        return nullptr;
    auto *record = new (block) cfgrec{.flags = flags, .lineno = lineno, .argc = argc};
    char *place = static_cast<char *>(block) + sizeof(cfgrec) + vector_size;
    record->keyword = put_text(place, keyword);
    if (argc == 0) {
        record->argv = empty_vector;
        return record;
    }
    record->argv = reinterpret_cast<char **>(record + 1);
    for (int i = 0; i < argc; ++i)
        record->argv[i] = put_text(place, argv[i]);
    record->argv[argc] = nullptr;
    return record;
}

// A walk meets thousands of records with other keywords; most differ in the first character, which
// saves the call.
static bool has_keyword(const cfgrec &record, const char *keyword)
{
    return record.keyword[0] == keyword[0] && std::strcmp(record.keyword, keyword) == 0;
}

// The first record with the keyword from `record` (may be null) on. Where an indexed list begins,
// its index answers for all of it.
static cfgrec *find_from(const char *keyword, cfgrec *record)
{
    while (record != nullptr && !has_keyword(*record, keyword)) {
        if (record->index == nullptr) {
            record = record->next;
            continue;
        }
        if (cfgrec *found = record->index->first_of(keyword); found != nullptr)
            return found;
        record = record->index->last->next;
    }
    return record;
}

cfgrec *flatlink::cfg_first(const char *keyword, cfgrec *list)
{
    return cfg_has(list) ? find_from(keyword, list) : nullptr;
}

cfgrec *cfg_next(const char *keyword, const cfgrec *record)
{
    if (!cfg_has(record))
        return nullptr;
    if (record->next_same != nullptr && has_keyword(*record, keyword))
        return find_from(keyword, record->next_same);
    return find_from(keyword, record->next);
}

cfgrec *flatlink::cfg_last(cfgrec *list)
{
    for (;;) {
        if (list->index != nullptr)
            list = list->index->last;
        if (list->next == nullptr)
            return list;
        list = list->next;
    }
}

void flatlink::cfg_index_keywords(cfgrec *list)
try {
    if (!cfg_has(list))
        return;
    std::vector<cfgrec *> sorted;
    for (cfgrec *record = list; record != nullptr; record = record->next)
        sorted.push_back(record);
    cfgrec *const last = sorted.back();
    const auto order = [](const cfgrec *a, const cfgrec *b) {
        return std::strcmp(a->keyword, b->keyword);
    };
    std::stable_sort(sorted.begin(), sorted.end(),
                     [order](const cfgrec *a, const cfgrec *b) { return order(a, b) < 0; });
    std::size_t keywords = 1;
    for (std::size_t i = 1; i < sorted.size(); ++i)
        keywords += order(sorted[i - 1], sorted[i]) != 0 ? 1U : 0U;
    void *block = std::malloc(sizeof(cfg_index) + keywords * sizeof(cfgrec *));
    if (block == nullptr)
        return;
    std::free(list->index);
    list->index = new (block) cfg_index{.last = last};
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        if (i == 0 || order(sorted[i - 1], sorted[i]) != 0)
            list->index->firsts()[list->index->count++] = sorted[i];
        else
            sorted[i - 1]->next_same = sorted[i];
    }
    // After its last record a keyword can only follow the list's end, where the list may have
    // grown.
    for (cfgrec *record = list; record != last; record = record->next)
        if (record->next_same == nullptr)
            record->next_same = last;
} catch (const std::bad_alloc &) {
    return; // the list is unchanged
}

cfgrec *cfg_get(const char *keyword, cfgrec *list)
{
    cfgrec *found = cfg_first(keyword, list == nullptr ? cursor : list);
    cursor = found == nullptr ? nullptr : found->next;
    return found;
}

void cfg_free(cfgrec *list)
{
    while (cfg_has(list)) {
        cfgrec *next = list->next;
        if (list == cursor)
            cursor = nullptr;
        std::free(list->patterns);
        std::free(list->index);
        std::free(list);
        list = next;
    }
}

cfgrec *cfg_copy(const cfgrec *list)
{
    if (!cfg_has(list))
        return list == nullptr ? nullptr : cfg_failure();
    cfg_builder copies;
    for (; list != nullptr; list = list->next) {
        cfgrec *copy = cfg_make(list->keyword, list->flags, list->lineno, list->argc, list->argv);
        if (copy == nullptr) {
            notice(EVENT_NO_MEMORY, 0, "syserr: out of memory");
            cfg_free(copies.head);
            return cfg_failure();
        }
        if (copy->argc == 0)
            copy->argv = nullptr;
        copies.add(copy);
    }
    return copies.head;
}
