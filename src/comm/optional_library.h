// Optional libraries: opened lazily at run time, looked up by a table with one row per symbol, closed again unless
// they are kept. A missing library or symbol is never fatal; what is logged about it is the area's business.
#ifndef ORVA_OPTIONAL_LIBRARY_H
#define ORVA_OPTIONAL_LIBRARY_H

#include <cstddef>
#include <cstring>
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

// The loader's text for its last failure. It is copied before anything is logged: a sink that uses the loader itself
// replaces the text. A longer text is truncated.
class LoaderReason {
public:
    LoaderReason() {
        const char *const text = dlerror();
        isPresent_ = text != nullptr;
        if (isPresent_) {
            std::strncpy(text_, text, sizeof text_ - 1);
        }
    }
    [[nodiscard]] bool is_present() const {
        return isPresent_;
    }
    [[nodiscard]] const char *words() const {
        return text_;
    }

private:
    static constexpr std::size_t kSize = 1024;
    char text_[kSize] = {};
    bool isPresent_;
};

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
// missing and returns its row; null when all required ones are there.
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
