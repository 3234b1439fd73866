// A tester's stub name through the name look-up, against the rule spelled out: the first row whose name's first
// occurrence is the end of the text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "orva_api_stub.h"
#include "platform_double.h"

namespace {

std::uint32_t expected_type(const std::string &name) {
    for (std::uint32_t type = 0; type < ORVA_STUB_TYPES; ++type) {
        const std::string row = g_acStubParaBuf[type];
        const std::size_t at = name.find(row);
        if (at != std::string::npos && at + row.size() == name.size()) {
            return type;
        }
    }
    return ORVA_STUB_TYPES;
}

void check(const std::string &text) {
    const std::string name = text.c_str(); // up to the first zero
    std::uint32_t type = ORVA_STUB_TYPES;
    const std::uint32_t found = ORVA_STUB_GetStubType(name.c_str(), &type);
    if (type != expected_type(name) || found != (type != ORVA_STUB_TYPES ? 1u : 0u)) {
        std::abort();
    }
}

// A stub entry of this name answers a look-up of exactly this name.
void look_up(const std::string &text) {
    OrvaSimulateRoot root{};
    root.stubCount = 1;
    root.stubs[0].stubValue = 7;
    const std::size_t length = text.copy(root.stubs[0].stubName, sizeof root.stubs[0].stubName);
    const std::string stored = std::string(root.stubs[0].stubName, length).c_str();
    std::uint32_t value = 0;
    if (ORVA_simulateGetValue(&root, stored.c_str(), 0, &value, ORVA_STUB_WIDTH_32) != ORVA_OK || value != 7 ||
        ORVA_simulateGetValue(&root, (stored + "x").c_str(), 0, &value, ORVA_STUB_WIDTH_32) !=
            ORVA_SIMULATE_NOT_SET) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    orva_test::reset_platform();
    const std::string text(reinterpret_cast<const char *>(data), size);
    check(text);
    look_up(text);
    if (size > 0) { // random text rarely ends in a name
        const std::string row = g_acStubParaBuf[data[0] % ORVA_STUB_TYPES];
        check(text + row);
        check(row + text + row);
    }
    return 0;
}
