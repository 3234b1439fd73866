// Stand-alone items: a fixed tag and length, and one value byte.
#ifndef ORVA_SINGLE_ITEM_H
#define ORVA_SINGLE_ITEM_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace orva {

template <std::size_t N>
void write_single(void *to, const std::uint8_t (&head)[N], std::uint8_t value) {
    std::memcpy(to, head, N);
    static_cast<std::uint8_t *>(to)[N] = value;
}

template <std::size_t N>
bool starts_with(const void *item, const std::uint8_t (&head)[N]) {
    return std::memcmp(item, head, N) == 0;
}

} // namespace orva

#endif
