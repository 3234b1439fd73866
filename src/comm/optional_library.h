// Optional libraries: opened lazily at run time, looked up by a table with one row per symbol, closed again unless
// they are kept. A missing library or symbol is never fatal; what is logged about it is the area's business.
#ifndef ORVA_OPTIONAL_LIBRARY_H
#define ORVA_OPTIONAL_LIBRARY_H

#include <cstddef>
#include <dlfcn.h>
#include <memory>

namespace orva {

struct LibraryCloser {
    void operator()(void *handle) const {
        dlclose(handle);
    }
};

// Closes on every path; release() keeps the library open for the life of the process.
using OptionalLibrary = std::unique_ptr<void, LibraryCloser>;

[[nodiscard]] inline void *open_library(const char *name) {
    return dlopen(name, RTLD_LAZY);
}

template <typename Entry>
[[nodiscard]] Entry as_entry(void *address) {
    return reinterpret_cast<Entry>(address);
}

enum class SymbolNeed { kRequired, kOptional };

// Where the address of one symbol goes in the record of an area.
template <typename Record>
struct LibrarySymbol {
    const char *name;
    void (*store)(Record &record, void *address);
    SymbolNeed need;
};

// Looks the rows up in order and stores each address, also a null one. Stops at the first required symbol that is
// missing and gives its row back; null when all required ones are there.
template <typename Record, std::size_t Count>
const LibrarySymbol<Record> *find_symbols(void *library, const LibrarySymbol<Record> (&rows)[Count], Record &record) {
    for (const LibrarySymbol<Record> &row : rows) {
        void *const address = dlsym(library, row.name);
        row.store(record, address);
        if (address == nullptr && row.need == SymbolNeed::kRequired) {
            return &row;
        }
    }
    return nullptr;
}

} // namespace orva

#endif
