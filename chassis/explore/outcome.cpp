#include "explore/outcome.h"

#include "options.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace chassis {

namespace {

std::string file_text(const std::string &file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// The last line may not be whole.
Outcome first_failure(const std::string &events) {
    std::ifstream stream(events);
    for (std::string line; std::getline(stream, line);) {
        const auto event = nlohmann::json::parse(line, nullptr, false);
        if (event.is_object() && event.value("event", "") == "check" && !event.value("ok", true)) {
            return {event.value("text", ""), event.value("detail", "")};
        }
    }
    return {};
}

std::string without_digits(std::string text) {
    std::erase_if(text, [](char character) { return character >= '0' && character <= '9'; });
    return text;
}

} // namespace

Outcome read_outcome(int status, const std::string &events, const std::string &output) {
    if (status == kUsageStatus) {
        throw std::runtime_error(file_text(output));
    }
    Outcome outcome = first_failure(events);
    if (status != 0 && outcome.failure.empty()) {
        outcome = {"the chassis ended with status " + std::to_string(status), file_text(output)};
    }
    return outcome;
}

bool same_failure(const Outcome &a, const Outcome &b) {
    return without_digits(a.failure) == without_digits(b.failure);
}

} // namespace chassis
