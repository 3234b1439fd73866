// Bytes: big-endian load, store and in-place swap at any address, always by memcpy, never by casting to a wider
// pointer.
#ifndef ORVA_BYTES_H
#define ORVA_BYTES_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace orva {

static_assert(std::endian::native == std::endian::little, "the targets are little-endian");

template <typename T>
[[nodiscard]] constexpr T byte_swap(T value) {
    static_assert(sizeof(T) == 2 || sizeof(T) == 4);
    if constexpr (sizeof(T) == 2) {
        return __builtin_bswap16(value);
    } else {
        return __builtin_bswap32(value);
    }
}

// A word in host order at any address.
template <typename T>
[[nodiscard]] inline T load_host(const void *from) {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <typename T>
inline void store_host(void *to, T value) {
    std::memcpy(to, &value, sizeof value);
}

[[nodiscard]] inline std::uint16_t load_be16(const void *from) {
    return byte_swap(load_host<std::uint16_t>(from));
}
[[nodiscard]] inline std::uint32_t load_be32(const void *from) {
    return byte_swap(load_host<std::uint32_t>(from));
}
inline void store_be16(void *to, std::uint16_t value) {
    store_host(to, byte_swap(value));
}
inline void store_be32(void *to, std::uint32_t value) {
    store_host(to, byte_swap(value));
}

// Swaps the word at `at` in place.
template <typename T>
inline void swap_in_place(void *at) {
    store_host(at, byte_swap(load_host<T>(at)));
}

} // namespace orva

#endif
