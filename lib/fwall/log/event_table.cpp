#include "lib/fwall/log/event_table.h"

#include <algorithm>
#include <array>

namespace
{

// One row per range of neighbouring events with the same level; 394 events in all.
struct event_range {
    std::int32_t first;
    std::int32_t last;
    std::int32_t level;
};

constexpr event_range ranges[] = {
    {0, 0, 0},         {500, 500, 0},     {501, 501, 4},     {502, 502, 0},     {1000, 1000, 2},
    {1500, 1513, 1},   {2000, 2001, 1},   {2500, 2505, 1},   {2506, 2506, 0},   {3000, 3013, 1},
    {4000, 4001, 2},   {4500, 4507, 1},   {5000, 5001, 1},   {5500, 5501, 1},   {6000, 6001, 3},
    {6002, 6002, 0},   {6003, 6004, 2},   {6005, 6008, 3},   {6500, 6500, 2},   {6501, 6501, 1},
    {6502, 6502, 2},   {6503, 6505, 1},   {6506, 6508, 3},   {6509, 6509, 2},   {6510, 6510, 4},
    {7000, 7005, 4},   {7500, 7500, 1},   {7501, 7501, 4},   {7502, 7505, 1},   {8000, 8000, 4},
    {8500, 8500, 1},   {8501, 8501, 4},   {8502, 8502, 1},   {9000, 9001, 1},   {9500, 9503, 1},
    {10000, 10000, 0}, {10001, 10001, 1}, {10002, 10002, 4}, {10003, 10003, 0}, {10004, 10005, 1},
    {10006, 10006, 0}, {10007, 10007, 1}, {10008, 10008, 2}, {10009, 10009, 3}, {10500, 10500, 0},
    {10501, 10501, 1}, {10502, 10502, 0}, {10503, 10504, 2}, {11000, 11000, 4}, {11500, 11504, 1},
    {12000, 12001, 1}, {12500, 12509, 1}, {13000, 13001, 0}, {13500, 13504, 1}, {13505, 13505, 0},
    {13506, 13509, 1}, {13510, 13510, 0}, {13511, 13513, 1}, {14000, 14000, 1}, {14500, 14506, 1},
    {15000, 15006, 1}, {16000, 16002, 1}, {16500, 16508, 1}, {17000, 17006, 1}, {18000, 18000, 3},
    {18001, 18004, 1}, {18005, 18005, 3}, {18500, 18500, 1}, {19000, 19003, 5}, {20000, 20003, 0},
    {20004, 20004, 1}, {20005, 20006, 3}, {20007, 20007, 1}, {20008, 20009, 3}, {21000, 21000, 4},
    {21001, 21002, 3}, {21003, 21005, 0}, {21006, 21006, 1}, {22000, 22000, 0}, {22001, 22009, 2},
    {30000, 30013, 1}, {30500, 30511, 1}, {31000, 31017, 1}, {32000, 32105, 1}, {32500, 32524, 1},
};

constexpr std::size_t EVENT_COUNT = 394;

struct event_level {
    std::int32_t event;
    std::int32_t level;
};

// Throws, which stops the compilation, when the ranges hold more or fewer events.
constexpr std::array<event_level, EVENT_COUNT> event_rows()
{
    std::array<event_level, EVENT_COUNT> rows{};
    std::size_t count = 0;
    for (const event_range &range : ranges)
        for (std::int32_t event = range.first; event <= range.last; ++event)
            rows.at(count++) = {event, range.level};
    if (count != EVENT_COUNT)
        throw "the number of events changed";
    return rows;
}

constexpr std::array<event_level, EVENT_COUNT> event_table = event_rows();

static_assert(std::adjacent_find(event_table.begin(), event_table.end(),
                                 [](const event_level &a, const event_level &b) {
                                     return a.event >= b.event;
                                 }) == event_table.end(),
              "the search needs ascending events, each once");

} // namespace

std::int32_t lookup_loglevel_byid(events event)
{
    const auto row = std::lower_bound(
        event_table.begin(), event_table.end(), event,
        [](const event_level &entry, events wanted) { return entry.event < wanted; });
    return row != event_table.end() && row->event == event ? row->level : 0;
}
