// Run-time libraries in memory: what dlopen and dlsym find in a test.
#ifndef ORVA_LIBRARY_DOUBLE_H
#define ORVA_LIBRARY_DOUBLE_H

#include <map>
#include <string>
#include <vector>

namespace orva_test {

// The owner keeps it alive until the next reset.
struct Libraries {
    std::map<std::string, std::map<std::string, void *>> present; // symbols by library, addresses by symbol
    std::vector<std::string> calls; // "open NAME MODE", "symbol NAME SYMBOL", "close NAME"

    // Answers dlopen, dlsym, dlclose and dlerror until the next reset; the dynamic linker is not asked.
    void install();

private:
    void *open(const char *name, int mode);
    void *symbol(void *handle, const char *name);
    int close(void *handle);
    std::string name_of(const void *handle) const;

    std::string error_, reported_;
};

} // namespace orva_test

#endif
