// What the port check's cases share: look-ups of a platform's functions, and statements that hold or do not.
#ifndef ORVA_PORT_CHECK_H
#define ORVA_PORT_CHECK_H

#include "drv_basic.h"
#include "miro.h"
#include "orva_write_log.h"
#include "safeio.h"
#include "tova.h"

#include <dlfcn.h>
#include <span>
#include <stdexcept>
#include <string>

namespace port_check {

// A statement does not hold.
struct Broken : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A statement cannot be tried: something that another case stands for does not work.
struct NotTried : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// How long a case waits for what should come.
inline unsigned g_patience_s = 10;

struct Case {
    const char *name;
    const char *statement;
    void (*check)();
};

std::span<const Case> memory_cases();
std::span<const Case> task_cases();
std::span<const Case> tree_cases();
std::span<const Case> log_cases();
std::span<const Case> safeio_cases();

// The names that the library imports.
std::span<const char *const> import_names();

template <typename Function>
Function import(const char *name) {
    void *found = dlsym(RTLD_DEFAULT, name);
    if (found == nullptr) {
        throw NotTried(std::string("needs ") + name);
    }
    return reinterpret_cast<Function>(found);
}

#define PORT_CHECK_IMPORT(function) (port_check::import <decltype(&::function)>(#function))

inline void require(bool holds, const std::string &what) {
    if (!holds) {
        throw Broken(what);
    }
}

inline void needs(bool holds, const std::string &what) {
    if (!holds) {
        throw NotTried("needs " + what);
    }
}

// ---- A partition that grows, as the library makes its own

constexpr std::uint32_t kHandle = 1;
constexpr char kFile[] = "src/port_check";

struct Partition {
    std::uint8_t number = 0;
    Partition();
    void *allocate(std::size_t size) const;
};

} // namespace port_check

#endif
