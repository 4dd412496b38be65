// Lists of records, and how a record is found by what its lines bear.
#pragma once

#include <cstddef>
#include <functional>
#include <iterator>
#include <list>
#include <memory>
#include <type_traits>
#include <unordered_map>
#include <vector>

// Most lines make their record at the end of its list, those of policies at the front.
template <typename record> using record_list = std::vector<std::unique_ptr<record>>;
template <typename record> using record_stack = std::list<std::unique_ptr<record>>;

// Finds the first record of a list with a given key. Stands beside the list while lines are read,
// and follows it as it grows; a step that removes records, or changes keys, calls invalidate(). A
// failed allocation leaves the index as it was.
//   key   a pointer to the key's member, or a function that gives the key of a record
template <typename record, auto key, typename list_type = record_list<record>> class record_index
{
    using key_type = std::remove_cvref_t<std::invoke_result_t<decltype(key), record &>>;

  public:
    // The first record with this key, null if the list has none.
    record *find(const list_type &list, const key_type &wanted)
    {
        if (seen_ > list.size())
            invalidate();
        follow(list);
        const auto found = known_.find(wanted);
        return found == known_.end() ? nullptr : found->second;
    }

    void invalidate()
    {
        known_.clear();
        seen_ = 0;
    }

  private:
    void follow(const record_list<record> &list)
    {
        for (; seen_ < list.size(); ++seen_) {
            record *added = list[seen_].get();
            known_.try_emplace(std::invoke(key, *added), added);
        }
    }

    // The newest record stands first, and so it is the one that is found.
    void follow(const record_stack<record> &list)
    {
        auto added = std::next(list.begin(), static_cast<std::ptrdiff_t>(list.size() - seen_));
        for (; seen_ < list.size(); ++seen_) {
            --added;
            known_.insert_or_assign(std::invoke(key, **added), added->get());
        }
    }

    std::unordered_map<key_type, record *> known_;
    std::size_t seen_ = 0;
};
