// The named result codes and reasons of the public headers.
#ifndef INSPECT_CODE_TABLE_H
#define INSPECT_CODE_TABLE_H

#include <cstdint>
#include <span>

namespace inspect {

struct CodeName {
    std::uint32_t code;
    const char *name;
    const char *header;
    const char *functions; // that return it, separated by blanks
};

struct ReasonName {
    std::uint32_t reason;
    const char *name;
    const char *text;
};

std::span<const CodeName> code_names();

// The row of a reason, or null.
const ReasonName *find_reason(std::uint32_t reason);

} // namespace inspect

#endif
