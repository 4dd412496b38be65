#include "lib/frag/layout/norm_interfaces.h"

#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/frag/tree/frag_text.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/text.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

using namespace flatlink;

static constexpr const char *ALL_ELEMENT_KEY = "netobj_list_all%5Finterfaces_element";
static constexpr const char *ALL_COUNT_KEY = "netobj_list_all%5Finterfaces_num_elements";

// The interface of an entry; null if there is none or it is blank.
static const char *usable_interface(frag *entry)
{
    const char *interface = fval(&entry->child, "interface");
    return frag_isblank(interface) ? nullptr : interface;
}

namespace
{

// The list of all interfaces while entries are added. It is taken apart at the first entry and
// reassembled at the end, so that all entries together cost one walk.
class all_interfaces
{
  public:
    explicit all_interfaces(frag **head) : head_(head) {}
    ~all_interfaces() { put_together(); }
    all_interfaces(const all_interfaces &) = delete;
    all_interfaces &operator=(const all_interfaces &) = delete;

    // False, with nothing done, if the entry has no interface.
    bool add(frag *entry);

  private:
    void take_apart();
    void put_together();

    frag **head_;
    frag *element_ = nullptr;     // null before the first entry
    std::vector<frag_ptr> order_; // in the order of their numbers; null where one was replaced
    std::unordered_map<std::string, std::vector<std::size_t>> places_; // by interface
};

void all_interfaces::take_apart()
{
    element_ = find_or_make(head_, ALL_ELEMENT_KEY);
    sort_frags(&element_->child);
    frag *rest = take_children(element_);
    while (frag *entry = pop_front(rest)) {
        if (const char *interface = fval(&entry->child, "interface"))
            places_[lower_case(interface)].push_back(order_.size());
        order_.emplace_back(entry);
    }
}

bool all_interfaces::add(frag *entry)
{
    const char *interface = usable_interface(entry);
    if (interface == nullptr)
        return false;
    if (element_ == nullptr)
        take_apart();
    if (const auto equals = places_.find(lower_case(interface)); equals != places_.end()) {
        for (const std::size_t place : equals->second)
            order_[place].reset();
        places_.erase(equals);
    }

    frag_ptr copy(newsymfrag(""));
    copy->child = copy_fragtree(&entry->child, copy.get());
    // A copy's text ends with the counted bytes, so it may be shorter than the entry's.
    places_[lower_case(text_of(fval(&copy->child, "interface")))].push_back(order_.size());
    if (entry->parent != nullptr && entry->parent->parent != nullptr)
        fsetp(&copy->child, "location", fragname(entry->parent->parent), copy.get());
    order_.push_back(std::move(copy));
    return true;
}

// The last one, which is new, goes to the front.
void all_interfaces::put_together()
{
    std::erase(order_, nullptr);
    std::int64_t number = 0;
    for (const frag_ptr &entry : order_)
        rename_unlinked(entry.get(), std::to_string(++number).c_str());
    if (order_.empty())
        return;
    frag_ptr last = std::move(order_.back());
    order_.pop_back();
    while (!order_.empty()) {
        push_child(element_, order_.back().release());
        order_.pop_back();
    }
    push_child(element_, last.release());
}

// The entries of an interface list while some of them leave it.
class leaving_entries
{
  public:
    explicit leaving_entries(frag *element);
    ~leaving_entries() { free_left(); }
    leaving_entries(const leaving_entries &) = delete;
    leaving_entries &operator=(const leaving_entries &) = delete;

    const std::vector<frag *> &all() const { return all_; }

    // Marks this entry for deletion.
    void leave(frag *entry) { left_.insert(entry); }

    // Marks the entry that the key of `entry` leads to: the first that has its name and is not
    // marked. A name with a prefix is not stored as the key shows it, and leads to none.
    void leave_by_name(const frag *entry);

  private:
    void free_left();

    frag *element_;
    std::vector<frag *> all_;
    std::unordered_set<const frag *> left_;
    std::unordered_map<std::string_view, std::vector<frag *>> named_; // last one first
};

leaving_entries::leaving_entries(frag *element) : element_(element)
{
    for (frag *entry = element->child; entry != nullptr; entry = entry->next)
        all_.push_back(entry);
    for (std::size_t left = all_.size(); left-- > 0;)
        named_[all_[left]->name].push_back(all_[left]);
}

void leaving_entries::leave_by_name(const frag *entry)
{
    const std::string shown = std::string(shown_prefix(entry)) + entry->name;
    const auto found = named_.find(shown);
    if (found == named_.end())
        return;
    std::vector<frag *> &candidates = found->second;
    while (!candidates.empty() && left_.contains(candidates.back()))
        candidates.pop_back();
    if (!candidates.empty())
        leave(candidates.back());
}

void leaving_entries::free_left()
{
    std::vector<frag *> kept;
    frag *rest = take_children(element_);
    while (frag *entry = pop_front(rest)) {
        if (left_.contains(entry))
            freefrag(entry);
        else
            kept.push_back(entry);
    }
    for (; !kept.empty(); kept.pop_back())
        push_child(element_, kept.back());
}

// Limit of the memory for aliases in lists inside the interface list itself. Only names with a '=',
// which ends the key early, lead there: an entry can then hold another, and that one the next, so
// that each copy is larger than the last.
constexpr std::int64_t INNER_ALIASES_BYTES = std::int64_t{256} << 20;

// The alias lists used so far, with the number of entries of each.
class alias_lists
{
  public:
    alias_lists(frag **head, const frag *element) : head_(head), element_(element) {}

    // The alias list of an interface, made with its `element` if it is missing.
    frag *list_of(const char *interface);

    // Copies the entry's children into a new entry of the list. Returns false, with nothing done,
    // if that would exceed the limit.
    bool add(frag *list, frag *entry);

  private:
    frag **head_;
    const frag *element_; // of the interface list whose aliases these are
    std::int64_t inner_room_ = INNER_ALIASES_BYTES;
    frag *lists_ = nullptr;                                 // null before the first request
    std::unordered_map<const frag *, std::int64_t> counts_; // by `element`
};

frag *alias_lists::list_of(const char *interface)
{
    const std::string_view full = interface;
    const std::string key = std::string(full.substr(0, full.find(':'))) + "_INTERFACE";
    if (lists_ == nullptr)
        lists_ = find_or_make(head_, "netobj_list");
    frag *list = find_or_make(&lists_->child, key.c_str(), lists_);
    if (ffind(&list->child, "element") == nullptr) {
        fsetp(&list->child, "element", nullptr, list);
        set_number(&list->child, "num_elements", 0, list);
    }
    return list;
}

bool is_below(const frag *node, const frag *top)
{
    while (node != nullptr && node != top)
        node = node->parent;
    return node != nullptr;
}

bool alias_lists::add(frag *list, frag *entry)
{
    if (is_below(list, element_)) {
        inner_room_ -= bytes_of_list(entry->child);
        if (inner_room_ < 0)
            return false;
    }
    frag *element = find_or_make(&list->child, "element", list);
    const auto [count, is_new] = counts_.try_emplace(element, 0);
    if (is_new)
        count->second = count_list(element->child);
    const std::int64_t number = ++count->second;
    frag *alias = add_child(element, std::to_string(number));
    give_children(alias, copy_fragtree(&entry->child, alias));
    set_number(&list->child, "num_elements", number, list);
    return true;
}

} // namespace

// Deletes entries without an interface and moves aliases to the lists of their interfaces.
static void sort_out_entries(frag **head, frag *element)
{
    leaving_entries entries(element);
    alias_lists aliases(head, element);
    bool is_full = false;
    for (frag *entry : entries.all()) {
        const char *interface = usable_interface(entry);
        if (interface == nullptr) {
            entries.leave(entry);
            continue;
        }
        frag_ptr alias = take_frag(&entry->child, "alias");
        frag *list = aliases.list_of(interface);
        if (alias == nullptr || !frag_istrue(alias->value))
            continue;
        if (aliases.add(list, entry)) {
            entries.leave_by_name(entry);
            continue;
        }
        if (!std::exchange(is_full, true))
            notice(EVENT_BAD_ENTRY, 0,
                   "interface %.64s: too many aliases inside of aliases, the rest left as they are",
                   interface);
        push_child(entry, alias.release());
    }
}

int norm_if(frag **head, const char *key)
{
    frag *list = find_or_make(head, key);
    frag *element = find_or_make(&list->child, "element", list);
    del_frag(&list->child, "num_elements");
    sort_out_entries(head, element);
    {
        all_interfaces all(head);
        for (frag *entry = element->child; entry != nullptr; entry = entry->next)
            all.add(entry);
    }
    sort_frags(&element->child);
    set_number(&list->child, "num_elements", number_list(element->child), list);
    return 0;
}

int add_to_allif(frag **head, frag *entry)
{
    return all_interfaces(head).add(entry) ? 0 : 1;
}

// The node above the entries of a list; null if there is no such list.
static frag *element_of(frag *lists, const char *list_name)
{
    return lists == nullptr ? nullptr : ffind2(&lists->child, list_name, "element");
}

int is_in_list(frag **head, const char *list_name, const char *interface)
{
    if (list_name == nullptr || interface == nullptr)
        return 0;
    const frag *element = element_of(ffind(head, "netobj_list"), list_name);
    if (element == nullptr)
        return 0;
    for (frag *entry = element->child; entry != nullptr; entry = entry->next) {
        const char *known = fval(&entry->child, "interface");
        if (known != nullptr && std::strcmp(known, interface) == 0)
            return 1;
    }
    return 0;
}

namespace
{

// is_in_list for many queries: walks each list once.
class interface_sets
{
  public:
    explicit interface_sets(frag *lists) : lists_(lists) {}

    bool holds(const char *list_name, const char *interface);

  private:
    frag *lists_;                                                            // `netobj_list`
    std::unordered_map<const frag *, std::unordered_set<std::string>> sets_; // by `element`
};

bool interface_sets::holds(const char *list_name, const char *interface)
{
    if (list_name == nullptr || interface == nullptr)
        return false;
    const frag *element = element_of(lists_, list_name);
    if (element == nullptr)
        return false;
    const auto [place, is_new] = sets_.try_emplace(element);
    if (is_new)
        for (frag *entry = element->child; entry != nullptr; entry = entry->next)
            if (const char *known = fval(&entry->child, "interface"))
                place->second.insert(known);
    return place->second.contains(interface);
}

} // namespace

int norm_interfaces(frag **head)
{
    for (const char *key : {"netobj_list_Service", "netobj_list_Outside", "netobj_list_Inside"})
        norm_if(head, key);

    const frag *element = find_or_make(head, ALL_ELEMENT_KEY);
    del_frag(head, ALL_COUNT_KEY);
    interface_sets lists(ffind(head, "netobj_list"));
    for (frag *entry = element->child; entry != nullptr; entry = entry->next) {
        const char *location = fval(&entry->child, "location");
        if (!lists.holds(location, fval(&entry->child, "interface")))
            fset_list(&entry, "location", "Unknown");
    }
    set_number(head, ALL_COUNT_KEY, count_list(element->child));
    return 0;
}
