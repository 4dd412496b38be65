// Lists of records, and an index that finds a record by the number or name in its lines.
#pragma once

#include <cstddef>
#include <functional>
#include <iterator>
#include <list>
#include <memory>
#include <type_traits>
#include <unordered_map>
#include <vector>

// New records go to the end of a list, those of policies to the front.
template <typename record> using record_list = std::vector<std::unique_ptr<record>>;
template <typename record> using record_stack = std::list<std::unique_ptr<record>>;

// Finds the first record of a list with a given key. Kept beside the list while lines are read, and
// extended as it grows; call invalidate() after removing records or changing keys. A failed
// allocation leaves the index unchanged.
//   key   a pointer to the key's member, or a function that returns the key of a record
template <typename record, auto key, typename list_type = record_list<record>> class record_index
{
    using key_type = std::remove_cvref_t<std::invoke_result_t<decltype(key), record &>>;

  public:
    // The first record with this key, null if the list has none.
    record *find(const list_type &list, const key_type &wanted)
    {
        // Lines of one record follow each other.
        if (seen_ == list.size() && latest_ != nullptr && std::invoke(key, *latest_) == wanted)
            return latest_;
        if (seen_ > list.size())
            invalidate();
        follow(list);
        const auto found = known_.find(wanted);
        latest_ = found == known_.end() ? nullptr : found->second;
        return latest_;
    }

    void invalidate()
    {
        known_.clear();
        seen_ = 0;
        latest_ = nullptr;
    }

  private:
    void follow(const record_list<record> &list)
    {
        for (; seen_ < list.size(); ++seen_) {
            record *added = list[seen_].get();
            known_.try_emplace(std::invoke(key, *added), added);
        }
    }

    // The newest record is the first of the list, so it replaces an older one in the index.
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
    record *latest_ = nullptr; // what the last look-up found
};
