// Memory of live blocks. Small blocks lie in slabs of one slot size, and what is known of a block is in a table
// beside the slab: no byte that a caller can reach decides anything, and a pointer is looked up before it is
// used. Large blocks are the C library's, in a table of addresses. Every call is made under the lock of the
// memory table.
#ifndef HOST_BLOCK_POOL_H
#define HOST_BLOCK_POOL_H

#include "memory_table.h"

#include <cstddef>
#include <cstdint>

namespace host {

// Makes a block live. Null when the host has no memory.
void *add_block(std::size_t size, Site *site, std::uint8_t partition);

// Copies what is known of the live block that starts at the address. False when there is none.
bool find_block(const void *start, Block &found);

// Gives the memory of a live block back and copies what was known of it. False when none starts at the address.
bool take_block(void *start, Block &taken);

void remove_blocks_of(std::uint8_t partition);

// The same for the live block that the address lies in, with its start. Slow for large blocks.
bool find_around(const void *address, const void *&start, Block &found);

std::uint64_t live_blocks();

// Visits every live block.
void visit_blocks(void (*visit)(const void *start, const Block &block, void *context), void *context);

} // namespace host

#endif
