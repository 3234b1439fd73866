#include "library_double.h"

#include <utility>

#include "call_control.h"
#include "libc_double.h"

namespace orva_test {

void Libraries::install() {
    libc().dlopen = [this](const char *name, int mode) { return open(name, mode); };
    libc().dlsym = [this](void *handle, const char *name) { return symbol(handle, name); };
    libc().dlclose = [this](void *handle) { return close(handle); };
    libc().dlerror = [this]() -> char * {
        reported_ = std::exchange(error_, "");
        return reported_.empty() ? nullptr : reported_.data();
    };
}

void *Libraries::open(const char *name, int mode) {
    calls.push_back("open " + std::string(name) + " " + std::to_string(mode));
    const auto found = present.find(name);
    if (found == present.end()) {
        error_ = std::string(name) + ": cannot open shared object file: No such file or directory";
        return nullptr;
    }
    return &found->second;
}

void *Libraries::symbol(void *handle, const char *name) {
    const std::string library = name_of(handle);
    calls.push_back("symbol " + library + " " + name);
    const auto found = present.find(library);
    const auto address = found == present.end() ? decltype(found->second.find(name)){} : found->second.find(name);
    if (found == present.end() || address == found->second.end()) {
        error_ = library + ": undefined symbol: " + name;
        return nullptr;
    }
    return address->second;
}

int Libraries::close(void *handle) {
    calls.push_back("close " + name_of(handle));
    return 0;
}

std::string Libraries::name_of(const void *handle) const {
    for (const auto &[name, symbols] : present) {
        if (&symbols == handle) {
            return name;
        }
    }
    report_failure("no open library has this handle");
    return "unknown";
}

} // namespace orva_test
