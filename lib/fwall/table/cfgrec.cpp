#include "lib/fwall/table/cfgrec.h"

#include "lib/ulib/notice.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

static char *empty_vector[1] = {nullptr};
static cfgrec *cursor = nullptr; // where cfg_get goes on

// Stores a text and its terminator at `place`, which is left behind them.
static char *put_text(char *&place, std::string_view text)
{
    char *stored = place;
    place = std::copy(text.begin(), text.end(), place);
    *place++ = '\0';
    return stored;
}

// Layout of the block: the record, the vector with its null, the texts.
cfgrec *cfg_make(std::string_view keyword, std::int32_t flags, std::int32_t lineno, int argc,
                 char *const *argv)
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

// A walk passes thousands of records of other keywords: most differ in their first character.
static bool has_keyword(const cfgrec &record, const char *keyword)
{
    return record.keyword[0] == keyword[0] && std::strcmp(record.keyword, keyword) == 0;
}

cfgrec *cfg_first(const char *keyword, cfgrec *list)
{
    if (!cfg_has(list))
        return nullptr;
    return has_keyword(*list, keyword) ? list : cfg_next(keyword, list);
}

static cfgrec *behind_run(const cfgrec &record)
{
    return record.run_last == nullptr ? record.next : record.run_last->next;
}

cfgrec *cfg_next(const char *keyword, const cfgrec *record)
{
    if (!cfg_has(record))
        return nullptr;
    cfgrec *next = record->next;
    while (next != nullptr && !has_keyword(*next, keyword))
        next = behind_run(*next);
    return next;
}

cfgrec *cfg_last(cfgrec *list)
{
    while (list->next != nullptr)
        list = list->run_last == nullptr || list->run_last == list ? list->next : list->run_last;
    return list;
}

void cfg_mark_runs(cfgrec *list)
{
    if (!cfg_has(list))
        return;
    while (list != nullptr) {
        cfgrec *last = list;
        while (last->next != nullptr && has_keyword(*last->next, list->keyword))
            last = last->next;
        cfgrec *const behind = last->next;
        for (; list != behind; list = list->next)
            list->run_last = last;
    }
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
