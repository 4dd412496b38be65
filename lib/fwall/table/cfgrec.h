// One parsed line of netperm-table, and walks, copies and the release of lists of them.
//
// A call that returns a list has three kinds of result: a list, null (nothing matched) and the
// failure marker, which is no record. The calls below take the marker for a list without records.
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

    // Made with the table for the walks of each connection; a copy of the record has none of them.
    src_patterns *patterns = nullptr; // of src_patterns.h; the record's own heap block, or null
    cfg_index *index = nullptr;       // of cfg_index_keywords; the record's own heap block, or null
    cfgrec *next_same = nullptr; // the next of this keyword in an indexed list; for the last of its
                                 // keyword the list's last, and null for that one
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

// A new record with copies of the texts, all in one heap block that cfg_free releases; null when
// there is no memory. Without arguments `argv` points at one shared empty vector.
cfgrec *cfg_make(std::string_view keyword, std::int32_t flags, std::int32_t lineno, int argc,
                 char *const *argv);

} // namespace flatlink

// The first record of `list` with exactly `keyword`, or null. With a null list the walk goes on
// where the last call of cfg_get stopped, on whatever list that was. There is one such place for
// the whole process: after the record found, and nowhere after a call that found none.
cfgrec *cfg_get(const char *keyword, cfgrec *list);

// The first record after `record` with exactly `keyword`, or null, also for a null `record`.
// Leaves the place of cfg_get alone.
cfgrec *cfg_next(const char *keyword, const cfgrec *record);

namespace flatlink
{

// The first record of `list` with exactly `keyword`, or null. Leaves the place of cfg_get alone.
cfgrec *cfg_first(const char *keyword, cfgrec *list);

// The last record of a list that has one.
cfgrec *cfg_last(cfgrec *list);

// Makes an index of a list's keywords, so that the first record of a keyword, and the next one from
// there, are found at once, however many others there are. From then on no record may be put
// between those of the list or taken away; the list may grow at both its ends. Without memory the
// list stays as it is.
void cfg_index_keywords(cfgrec *list);

} // namespace flatlink

// Releases a list whose records came from cfg_make; null is allowed. A walk with cfg_get that
// stood in it is over.
void cfg_free(cfgrec *list);

// A deep copy in the same order, for the caller to cfg_free; its records without arguments have a
// null `argv`. Null for null. Without memory: the failure marker, reported as "syserr: out of
// memory" (event 13507), nothing left behind; also for the marker, without a report.
cfgrec *cfg_copy(const cfgrec *list);

// Lists under construction: appends a record to the end.
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
