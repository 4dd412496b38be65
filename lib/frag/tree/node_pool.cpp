#include "lib/frag/tree/node_pool.h"

#include <array>
#include <cstdlib>

using namespace flatlink;

// The address sanitizer checks the bounds of allocations, so under it each node is one.
#if defined(__SANITIZE_ADDRESS__)
#define NODES_ONE_BY_ONE 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define NODES_ONE_BY_ONE 1
#endif
#endif
#ifndef NODES_ONE_BY_ONE
#define NODES_ONE_BY_ONE 0
#endif

namespace
{

constexpr std::size_t STEP = alignof(void *); // sizes are rounded up to this
constexpr std::size_t LARGEST = 256;          // larger nodes are rare and come from malloc
constexpr std::size_t BLOCK_SIZE = 1 << 20;   // blocks are never freed

// Released memory, linked through its first bytes.
struct free_room {
    free_room *next;
};

std::array<free_room *, LARGEST / STEP + 1> free_rooms{};

// The unused rest of the newest block. The first bytes of a block point to the block before it, so
// that leak checkers find them all.
char *rest = nullptr;
std::size_t rest_size = 0;
void *newest_block = nullptr;

bool start_block()
{
    auto *block = static_cast<char *>(std::malloc(BLOCK_SIZE));
    if (block == nullptr)
        return false;
    *reinterpret_cast<void **>(block) = newest_block;
    newest_block = block;
    rest = block + STEP;
    rest_size = BLOCK_SIZE - STEP;
    return true;
}

} // namespace

void *flatlink::allocate_node(std::size_t size)
{
    if (NODES_ONE_BY_ONE || size > LARGEST)
        return std::malloc(size);
    const std::size_t steps = (size + STEP - 1) / STEP;
    if (free_room *room = free_rooms[steps]) {
        free_rooms[steps] = room->next;
        return room;
    }
    size = steps * STEP;
    if (rest_size < size && !start_block())
        return nullptr;
    char *room = rest;
    rest += size;
    rest_size -= size;
    return room;
}

void flatlink::release_node(void *room, std::size_t size)
{
    if (room == nullptr)
        return;
    if (NODES_ONE_BY_ONE || size > LARGEST) {
        std::free(room);
        return;
    }
    const std::size_t steps = (size + STEP - 1) / STEP;
    auto *given = static_cast<free_room *>(room);
    given->next = free_rooms[steps];
    free_rooms[steps] = given;
}
