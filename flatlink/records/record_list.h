// Lists of records, and how a record is found by what its lines bear.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <type_traits>
#include <unordered_map>
#include <vector>

template <typename record> using record_list = std::vector<std::unique_ptr<record>>;

// Which of several records with one key is found.
enum class wins { EARLIEST, LATEST };

// Stands beside a list while lines are read, and follows it as it grows at the end. A step that
// removes records, or changes keys, says so with forget(). `key` is a pointer to the key's member.
template <typename record, auto key, wins who = wins::EARLIEST> class record_index
{
    using key_type = std::remove_cvref_t<std::invoke_result_t<decltype(key), record &>>;

  public:
    // The record with this key, null if the list has none.
    record *find(const record_list<record> &list, const key_type &wanted)
    {
        if (seen_ > list.size())
            forget();
        for (; seen_ < list.size(); ++seen_) {
            record *added = list[seen_].get();
            const auto [place, is_new] = known_.try_emplace(added->*key, added);
            if (!is_new && who == wins::LATEST)
                place->second = added;
        }
        const auto found = known_.find(wanted);
        return found == known_.end() ? nullptr : found->second;
    }

    void forget()
    {
        known_.clear();
        seen_ = 0;
    }

  private:
    std::unordered_map<key_type, record *> known_;
    std::size_t seen_ = 0;
};
