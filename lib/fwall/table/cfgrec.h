// One parsed line of netperm-table, and the calls that walk, copy and release lists of them.
//
// A call that returns a list has three kinds of result: a list, null (nothing matched), and the
// failure marker, which is not a record. The calls below treat the marker as an empty list.
#pragma once

#include <cstdint>
#include <string_view>

// cfgrec::flags: 0 or one of these, from the prefix of the keyword.
enum cfg_flag : std::int32_t { CFG_PERMIT = 1, CFG_DENY = 2, CFG_ABSORB = 4 };

struct cfg_index;
struct src_patterns;

struct cfgrec {
    std::int32_t flags = 0;
    std::int32_t lineno = 0; // line in the file, from 1
    char *keyword = nullptr; // prefix removed; never null
    std::int32_t argc = 0;   // 0 or more
    char **argv = nullptr;   // `argc` texts and a null; may itself be null when `argc` is 0
    cfgrec *next = nullptr;  // null at the end

    // Indexes that are built with the table and speed up the walks of each connection; not copied.
    src_patterns *patterns = nullptr; // of src_patterns.h; heap block owned by this record, or null
    cfg_index *index = nullptr;  // of cfg_index_keywords; heap block owned by this record, or null
    cfgrec *next_same = nullptr; // in an indexed list: the next record with this keyword; for the
                                 // keyword's last record the list's last, which itself has null
};

namespace flatlink
{

// The failure marker: all bits set.
inline cfgrec *cfg_failure()
{
    return reinterpret_cast<cfgrec *>(~std::uintptr_t{0}); // NOLINT(performance-no-int-to-ptr)
}

// True for a list with at least one record: neither null nor the marker.
inline bool cfg_has(const cfgrec *list)
{
    return list != nullptr && list != cfg_failure();
}

// A new record with copies of the texts, all in one heap block that cfg_free releases; null without
// memory. Without arguments `argv` points to one shared empty vector.
cfgrec *cfg_make(std::string_view keyword, std::int32_t flags, std::int32_t lineno, int argc,
                 char *const *argv);

} // namespace flatlink

// The first record of `list` with exactly `keyword`, or null. With a null list the walk continues
// where the last call of cfg_get stopped, in whichever list that was. The process has one such
// cursor: it stands after the record found, and nowhere after a call that found none.
cfgrec *cfg_get(const char *keyword, cfgrec *list);

// The first record after `record` with exactly `keyword`, or null, also for a null `record`.
// Leaves the cursor of cfg_get alone.
cfgrec *cfg_next(const char *keyword, const cfgrec *record);

namespace flatlink
{

// The first record of `list` with exactly `keyword`, or null. Leaves the cursor of cfg_get alone.
cfgrec *cfg_first(const char *keyword, cfgrec *list);

// The last record of a list that is not empty.
cfgrec *cfg_last(cfgrec *list);

// Indexes a list's keywords, so that cfg_first and cfg_next find their record without walking past
// the others. After that no record may be inserted between those of the list or removed; the list
// may grow at both ends. Without memory the list stays without an index.
void cfg_index_keywords(cfgrec *list);

} // namespace flatlink

// Releases a list whose records came from cfg_make; null is allowed. Ends a cfg_get walk whose
// cursor stands in it.
void cfg_free(cfgrec *list);

// A deep copy in the same order, for the caller to cfg_free; its records without arguments have a
// null `argv`. Null for null, the failure marker for the marker. Without memory: the marker, after
// the report "syserr: out of memory" (event 13507); nothing leaks.
cfgrec *cfg_copy(const cfgrec *list);

// Builds a list by appending records.
struct cfg_builder {
    cfgrec *head = nullptr;
    cfgrec **tail = &head;

    cfg_builder() = default;
    cfg_builder(const cfg_builder &) = delete; // `tail` points inside
    cfg_builder &operator=(const cfg_builder &) = delete;
    void add(cfgrec *record)
    {
        *tail = record;
        tail = &record->next;
    }
};
