// Reading and writing fields of a record that is held as bytes. Every access is checked against
// the record's end: a field outside is 0 when read and dropped when written, so a short or
// broken record from outside costs a wrong value at worst.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

using byte_view = std::span<const std::uint8_t>;
using byte_area = std::span<std::uint8_t>;

namespace flatlink
{

// True when a field of `size` bytes at `offset` lies inside `bytes`.
inline bool holds(byte_view bytes, std::size_t offset, std::size_t size)
{
    return offset <= bytes.size() && bytes.size() - offset >= size;
}

// The field at `offset`, in the byte order of the record; all zero when it does not fit.
template <typename plain> plain load(byte_view bytes, std::size_t offset)
{
    static_assert(std::is_trivially_copyable_v<plain>);
    plain field{};
    if (holds(bytes, offset, sizeof field))
        std::memcpy(&field, bytes.data() + offset, sizeof field);
    return field;
}

// Stores `field` at `offset` as it stands; nothing happens when it does not fit.
template <typename plain> void store(byte_area bytes, std::size_t offset, const plain &field)
{
    static_assert(std::is_trivially_copyable_v<plain>);
    if (holds(bytes, offset, sizeof field))
        std::memcpy(bytes.data() + offset, &field, sizeof field);
}

// The bytes of a plain record, to read or to write.
template <typename plain> byte_area area_of(plain &record)
{
    static_assert(std::is_trivially_copyable_v<plain>);
    return {reinterpret_cast<std::uint8_t *>(&record), sizeof record};
}

template <typename plain> byte_view bytes_of(const plain &record)
{
    static_assert(std::is_trivially_copyable_v<plain>);
    return {reinterpret_cast<const std::uint8_t *>(&record), sizeof record};
}

} // namespace flatlink
