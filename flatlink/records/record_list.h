// Lists of records, and an index that finds a record by the number or name in its lines.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <list>
#include <memory>
#include <type_traits>
#include <vector>

// New records go to the end of a list, those of policies to the front.
template <typename record> using record_list = std::vector<std::unique_ptr<record>>;
template <typename record> using record_stack = std::list<std::unique_ptr<record>>;

// A hash table of records in contiguous slots: a standard table would spend more time on allocating
// and freeing 60,000 nodes than on all look-ups. Owns no record. A failed allocation leaves it
// unchanged.
template <typename record> class record_table
{
  public:
    // The slot of the record with this hash, whose low bits count most, that `is_same` accepts;
    // null if there is none.
    template <typename test> record **find(std::size_t hash, const test &is_same)
    {
        if (slots_.empty())
            return nullptr;
        std::size_t pos = hash & mask();
        for (; slots_[pos].held != nullptr; pos = (pos + 1) & mask())
            if (slots_[pos].hash == hash && is_same(*slots_[pos].held))
                return &slots_[pos].held;
        return nullptr;
    }

    // Adds a record that is not in the table.
    void add(std::size_t hash, record *added)
    {
        constexpr std::size_t SMALLEST = 16;
        if (used_ * 2 >= slots_.size()) {
            record_table larger;
            larger.slots_.resize(std::max(SMALLEST, slots_.size() * 2));
            for (const slot &kept : slots_)
                if (kept.held != nullptr)
                    larger.put(kept);
            slots_.swap(larger.slots_);
        }
        put({hash, added});
        ++used_;
    }

    void clear()
    {
        slots_.clear();
        used_ = 0;
    }

  private:
    struct slot {
        std::size_t hash = 0;
        record *held = nullptr; // null: free
    };

    std::size_t mask() const { return slots_.size() - 1; }

    void put(const slot &added)
    {
        std::size_t pos = added.hash & mask();
        while (slots_[pos].held != nullptr)
            pos = (pos + 1) & mask();
        slots_[pos] = added;
    }

    std::vector<slot> slots_; // a power of two, at most half of them taken
    std::size_t used_ = 0;
};

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
        record **const found = place_of(wanted);
        latest_ = found == nullptr ? nullptr : *found;
        return latest_;
    }

    void invalidate()
    {
        known_.clear();
        seen_ = 0;
        latest_ = nullptr;
    }

  private:
    // Small numbers are consecutive, and so are their slots. Larger keys, such as addresses, often
    // share their low bits, which the standard's hash may leave as they are.
    static std::size_t hash_of(const key_type &wanted)
    {
        constexpr std::size_t SPREAD = 0x9E3779B97F4A7C15ULL; // 2^64 over the golden ratio
        const std::size_t hash = std::hash<key_type>()(wanted);
        return sizeof(key_type) <= sizeof(std::uint16_t) ? hash : (hash * SPREAD) >> 32;
    }

    record **place_of(const key_type &wanted)
    {
        return known_.find(hash_of(wanted),
                           [&wanted](record &known) { return std::invoke(key, known) == wanted; });
    }

    void follow(const record_list<record> &list)
    {
        for (; seen_ < list.size(); ++seen_) {
            record *added = list[seen_].get();
            const key_type &its_key = std::invoke(key, *added);
            if (place_of(its_key) == nullptr)
                known_.add(hash_of(its_key), added);
        }
    }

    // The newest record is the first of the list, so it replaces an older one in the index.
    void follow(const record_stack<record> &list)
    {
        auto added = std::next(list.begin(), static_cast<std::ptrdiff_t>(list.size() - seen_));
        for (; seen_ < list.size(); ++seen_) {
            --added;
            const key_type &its_key = std::invoke(key, **added);
            if (record **const older = place_of(its_key))
                *older = added->get();
            else
                known_.add(hash_of(its_key), added->get());
        }
    }

    record_table<record> known_;
    std::size_t seen_ = 0;
    record *latest_ = nullptr; // what the last look-up found
};
