// Records as bytes, for the tests that store and encode them whole.
#ifndef ORVA_RECORD_BYTES_H
#define ORVA_RECORD_BYTES_H

#include <cstdint>
#include <cstring>
#include <vector>

namespace orva_test {

using Bytes = std::vector<std::uint8_t>;

// A record of which every byte, padding included, is `byte`. It is not copied: copies need not keep padding.
template <typename Record>
struct Filled {
    explicit Filled(std::uint8_t byte) {
        std::memset(&record, byte, sizeof record);
    }
    Record record;
};

template <typename Record>
Bytes bytes_of(const Record &record) {
    Bytes bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

} // namespace orva_test

#endif
