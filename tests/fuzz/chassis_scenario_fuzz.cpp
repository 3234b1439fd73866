// Scenario files: whatever the text, it is read, or refused with a message that names the file.
#include "fuzz_input.h"
#include "scenario/reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    try {
        chassis::read_scenario(text, "input.toml");
    } catch (const chassis::ScenarioError &error) {
        REQUIRE(std::string(error.what()).find("input.toml") != std::string::npos);
    }
    return 0;
}
