// Plain fields that several threads read and write without a lock: relaxed access, which orders nothing and costs
// what a plain access costs, but is never torn and never a data race.
#ifndef ORVA_RELAXED_H
#define ORVA_RELAXED_H

namespace orva {

template <typename T>
[[nodiscard]] inline T relaxed_load(const T *field) {
    return __atomic_load_n(field, __ATOMIC_RELAXED);
}

template <typename T, typename V>
inline void relaxed_store(T *field, V value) {
    __atomic_store_n(field, static_cast<T>(value), __ATOMIC_RELAXED);
}

// Adds 1 and returns the new value; no increment is lost.
template <typename T>
inline T relaxed_increment(T *field) {
    return __atomic_add_fetch(field, T{1}, __ATOMIC_RELAXED);
}

} // namespace orva

#endif
