// Large blocks, kept for the next one that is asked for: the machine gives and takes them page by
// page, which takes longer than all that the library does with a small picture. Under the address
// sanitizer alone, to which a kept block is as good as freed; otherwise no block is large.
#pragma once

#include <cstddef>

namespace fuzz {

bool isLarge(std::size_t size);

// With any contents; null without memory.
void* takeLarge(std::size_t size);

// The size asked for; 0 when the block is no large one.
std::size_t largeSize(const void* block);

// False when the block is no large one.
bool giveBackLarge(const void* block);

}  // namespace fuzz
