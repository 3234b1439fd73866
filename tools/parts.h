// An input taken apart: its stretches with their names, the rules that it breaks, and how both are shown.
#ifndef INSPECT_PARTS_H
#define INSPECT_PARTS_H

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace inspect {

// A number, a text, or nothing.
struct Value {
    enum class Kind { kNone, kNumber, kText };

    Kind kind = Kind::kNone;
    std::uint64_t number = 0;
    std::string text = {};

    static Value of(std::uint64_t number) {
        return {Kind::kNumber, number, {}};
    }
    static Value of(std::string text) {
        return {Kind::kText, 0, std::move(text)};
    }
    friend bool operator==(const Value &, const Value &) = default;
};

struct Part {
    std::size_t at; // in the input
    std::size_t length;
    std::string name; // empty: bytes without a name
    Value value = {};
    std::string unit = {};
    std::string text = {}; // what it means
};

// A rule that an input breaks.
struct Fault {
    std::optional<std::size_t> at; // in the input; nothing where the input is not bytes
    std::string field;
    std::string rule; // what is wrong
    std::string expected;
};

// The parts in order, with one for each stretch of the input that has no name.
std::vector<Part> with_gaps(std::vector<Part> parts, std::size_t size);

// "513 (0x201) entries"; bytes without a value as hexadecimal digits.
std::string value_text(const Part &part, std::span<const std::uint8_t> input);

// A line for each part with a name, and for each without one that is not all zeros.
void print_table(std::span<const Part> parts, std::span<const std::uint8_t> input);

// Every byte of the parts, with name and value beside it.
void print_annotated(std::span<const Part> parts, std::span<const std::uint8_t> input);

nlohmann::ordered_json parts_json(std::span<const Part> parts, std::span<const std::uint8_t> input);
nlohmann::ordered_json faults_json(std::span<const Fault> faults);

// Says each fault, with the bytes around it. `file` names the input where there are several, else it is empty. The
// result is kRejected when there is a fault.
int report(std::span<const Fault> faults, std::span<const std::uint8_t> input, const std::string &file);

// A value as JSON: null for nothing.
nlohmann::ordered_json value_json(const Value &value);

} // namespace inspect

#endif
