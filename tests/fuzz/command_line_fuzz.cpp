// The kernel command line: the console's name in it, of which the serial device's path is made, against a plain
// model.
#include "fuzz_input.h"
#include "orva_api_log.h"
#include "platform_double.h"

namespace {

constexpr std::size_t kMostRead = 1023;
constexpr std::size_t kNameSize = 16; // with the comma
constexpr std::size_t kPathSize = 32;

// The path that is looked up, or none.
std::string model(const std::string &commandLine) {
    const std::string text = commandLine.substr(0, std::min(commandLine.find('\0'), kMostRead));
    const std::size_t console = text.find("console");
    if (console == std::string::npos) {
        return "";
    }
    // Zero padding follows the text; what the read left after an inner zero is still searched for the comma.
    std::string padded = commandLine.substr(0, kMostRead) + std::string(64, '\0');
    const std::string name = padded.substr(console + 8, kNameSize);
    const std::size_t comma = name.find(',');
    if (comma == std::string::npos) {
        return "";
    }
    const std::string path = "/dev/" + std::string(name.substr(0, comma).c_str());
    return path.size() < kPathSize ? path : "";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string commandLine(reinterpret_cast<const char *>(data), size);
    orva_test::reset_platform();
    orva_test::libc().open = [](const char *, int, mode_t) { return 99; };
    orva_test::platform().fakeFds[99] = commandLine;
    std::string asked;
    orva_test::libc().realpath = [&](const char *path, char *resolved) {
        asked = path;
        return std::strcpy(resolved, "/dev/console");
    };
    char resolved[ORVA_TTY_PATH_SIZE] = {};
    const std::uint32_t result = ORVA_GetTtyPath(resolved, sizeof resolved);
    REQUIRE(asked == model(commandLine));
    REQUIRE((result == ORVA_OK) == !asked.empty());
    orva_test::reset_platform(); // what follows a run opens files of its own
    return 0;
}
