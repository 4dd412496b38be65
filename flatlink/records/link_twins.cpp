// The finishing step of vlink records: order, the external gateway, and twins.
#include "flatlink/records/link_sort.h"
#include "flatlink/records/links.h"
#include "flatlink/records/names.h"
#include "flatlink/records/record_watch.h"

#include <algorithm>

using namespace flatlink;

static std::size_t twin_hash(const linkinfo &link)
{
    constexpr std::size_t SPREAD = 0x9E3779B97F4A7C15ULL;
    std::size_t hash = 0;
    for (const field<linkinfo> &row : link_fields) {
        if (row.flags & MAY_DIFFER)
            continue;
        hash = (hash ^ row.held.compared.hash(link)) * SPREAD;
        hash ^= hash >> 32;
    }
    return hash;
}

static bool is_twin(const linkinfo &a, const linkinfo &b)
{
    return std::all_of(link_fields.begin(), link_fields.end(), [&a, &b](const auto &row) {
        return (row.flags & MAY_DIFFER) || row.held.compared.same(a, b);
    });
}

bool same_string(const std::string &a, const std::string &b)
{
    return a == b;
}

const linkinfo *find_twin_linkinfo(const linkinfo *record, const record_list<linkinfo> &list)
{
    for (const auto &candidate : list)
        if (candidate.get() == record || is_twin(*candidate, *record))
            return candidate.get();
    return record;
}

static void number_like_rules()
{
    const bool has_rules = std::any_of(linkinfos.begin(), linkinfos.end(),
                                       [](const auto &link) { return link->rulenumber != 0; });
    if (!has_rules)
        for (const auto &link : linkinfos)
            link->rulenumber = link->linkno;
}

// Runs before twins are removed: links over the external gateway may differ only in these fields.
static void open_local_networks()
{
    for (const auto &link : linkinfos) {
        if (link->xgwflags & XGW_USED) {
            link->lnetwork_type = ADDRID_SUBNET;
            link->lnetwork_start = 0;
            link->lnetwork_delimiter = 0;
        }
    }
}

static void keep_first_twins()
{
    record_table<const linkinfo> kept;
    // Marks first, removes afterwards: the table compares the records that it points to.
    record_list<linkinfo> removed;
    for (auto &link : linkinfos) {
        const linkinfo &candidate = *link;
        const std::size_t hash = twin_hash(candidate);
        const linkinfo **const first = kept.find(
            hash, [&candidate](const linkinfo &other) { return is_twin(other, candidate); });
        if (first == nullptr) {
            kept.add(hash, &candidate);
            continue;
        }
        note_dropped(left_out::EQUAL_LINK, &candidate, *first);
        removed.push_back(std::move(link));
    }
    std::erase(linkinfos, nullptr);
}

void finish_linkinfos()
{
    invalidate_link_index();
    number_like_rules();
    vpnauto_sort();
    vpn_clientsort();
    open_local_networks();
    keep_first_twins();
}
