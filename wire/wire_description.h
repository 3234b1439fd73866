// What describes the wire: the records that the tables of wire_messages.h and wire_records.h are made of, and the
// checks that each table proves at compile time. It holds no message and no code that runs on one.
#ifndef ORVA_WIRE_DESCRIPTION_H
#define ORVA_WIRE_DESCRIPTION_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace orva::wire {

enum class Direction : std::uint8_t { kHost, kNet };

// What a converter receives: the body alone, or the body after a prefix. Of the prefix the first 16-bit word is
// converted; the other bytes stay.
enum class Shape : std::uint8_t { kBody, kFrame };
inline constexpr std::size_t kPrefixBytes = 8;

// Which directions reverse a field's bytes.
enum class Swapped : std::uint8_t { kNever = 0, kToHost = 1, kToNet = 2, kBoth = 3 };

constexpr bool is_swapped(Swapped swapped, Direction direction) {
    const auto bit = direction == Direction::kHost ? Swapped::kToHost : Swapped::kToNet;
    return (static_cast<unsigned>(swapped) & static_cast<unsigned>(bit)) != 0;
}

// A number of 1, 2 or 4 bytes; a wider field is a text, padded with zeros.
struct Field {
    const char *name = nullptr; // null ends a list
    std::uint16_t offset = 0;   // in the body or in the array's entry
    std::uint16_t width = 0;    // bytes
    Swapped swapped = Swapped::kNever;
    const char *unit = ""; // empty: a plain number
    const char *text = "";
};

// The converted word of the prefix.
inline constexpr Field kPrefixField{"prefix", 0, 2, Swapped::kBoth, "", "First 16-bit word of the prefix"};

inline constexpr std::size_t kMaxFields = 12;
inline constexpr std::size_t kMaxEntryFields = 4;
inline constexpr std::size_t kMaxArrays = 3;

using Fields = std::array<Field, kMaxFields>;
using EntryFields = std::array<Field, kMaxEntryFields>;

// min(count, bound) entries are converted; the others stay as they are.
struct Array {
    const char *name = nullptr; // null ends a list
    std::uint16_t offset = 0;   // of the first entry in the body
    std::uint16_t stride = 0;   // bytes of an entry
    std::uint16_t bound = 0;
    const char *count = ""; // the field that counts the entries; every array of a converter has one
    bool clamps = false;    // a count above the bound is overwritten with the bound
    EntryFields fields = {};
    const char *text = "";
};

using Arrays = std::array<Array, kMaxArrays>;

// A message family; all offsets are body offsets.
struct Message {
    const char *family;
    const char *text;
    Fields fields;
    Arrays arrays = {};
};

// One exported converter of a family.
struct Converter {
    const Message *message;
    const char *function;
    Direction direction;
    Shape shape;
    bool hook; // calls the function of its own name plus "Path" at the end
    void (*call)(void *buffer);
};

// The named part of a list.
template <typename Row, std::size_t N>
constexpr std::size_t length_of(const std::array<Row, N> &rows) {
    return static_cast<std::size_t>(
        std::find_if(rows.begin(), rows.end(), [](const Row &row) { return row.name == nullptr; }) - rows.begin());
}

constexpr std::size_t prefix_bytes(Shape shape) {
    return shape == Shape::kFrame ? kPrefixBytes : 0;
}

// The field that counts an array's entries; one without a name where there is none.
constexpr Field count_field(const Message &message, const Array &array) {
    for (std::size_t i = 0; i < length_of(message.fields); ++i) {
        if (std::string_view(message.fields[i].name) == array.count) {
            return message.fields[i];
        }
    }
    return {};
}

// Bytes of the body with full arrays.
constexpr std::size_t body_bytes(const Message &message) {
    std::size_t end = 0;
    for (const Field &field : message.fields) {
        end = std::max<std::size_t>(end, std::size_t{field.offset} + field.width);
    }
    for (const Array &array : message.arrays) {
        end = std::max<std::size_t>(end, array.offset + std::size_t{array.stride} * array.bound);
    }
    return end;
}

// ---- Checks. Each answers for one table; the tables assert them.

constexpr bool is_named(const char *name, const char *text) {
    return name != nullptr && *name != 0 && text != nullptr && *text != 0;
}

// Fields ascend without overlap and are named; what is converted is as wide as one of the two widths.
template <std::size_t N>
constexpr bool fields_are_sound(const std::array<Field, N> &fields, std::size_t narrow, std::size_t wide) {
    std::size_t end = 0;
    const std::size_t length = length_of(fields);
    for (std::size_t i = 0; i < length; ++i) {
        const Field &field = fields[i];
        const bool isNumber = field.width == 1 || field.width == 2 || field.width == 4;
        if (!is_named(field.name, field.text) || field.offset < end || field.width == 0 ||
            (field.width < 4 && !isNumber) || field.unit == nullptr) {
            return false;
        }
        if (field.swapped != Swapped::kNever && field.width != narrow && field.width != wide) {
            return false;
        }
        end = std::size_t{field.offset} + field.width;
    }
    return length != 0 && std::all_of(fields.begin() + static_cast<std::ptrdiff_t>(length), fields.end(),
                                      [](const Field &field) { return field.name == nullptr && field.width == 0; });
}

// A count is a byte that is never converted, or the body's first word, converted in both directions: it is read in
// host order, so before the words are converted to network byte order and after they were converted to host order.
constexpr bool count_is_sound(const Message &message, const Array &array) {
    const Field count = count_field(message, array);
    const bool isByte = count.width == 1 && count.swapped == Swapped::kNever;
    const bool isWord = count.width == 4 && count.offset == 0 && count.swapped == Swapped::kBoth && !array.clamps;
    return isByte || isWord;
}

// An entry lies inside its stride and has one or two converted fields, the same in both directions.
constexpr bool array_is_sound(const Message &message, const Array &array) {
    if (!is_named(array.name, array.text) || array.bound == 0 || array.bound > UINT8_MAX ||
        !fields_are_sound(array.fields, 2, 4) || !count_is_sound(message, array)) {
        return false;
    }
    const auto converted = std::count_if(array.fields.begin(), array.fields.end(),
                                         [](const Field &field) { return field.swapped == Swapped::kBoth; });
    const auto kept = std::count_if(array.fields.begin(), array.fields.end(),
                                    [](const Field &field) { return field.swapped == Swapped::kNever; });
    const Field &last = array.fields[length_of(array.fields) - 1];
    return (converted == 1 || converted == 2) && converted + kept == static_cast<std::ptrdiff_t>(kMaxEntryFields) &&
           std::size_t{last.offset} + last.width <= array.stride;
}

// The body starts with a converted word, arrays follow the fields and each other, and every name is used once.
constexpr bool message_is_sound(const Message &message) {
    if (!is_named(message.family, message.text) || !fields_are_sound(message.fields, 4, 4)) {
        return false;
    }
    const std::size_t fields = length_of(message.fields);
    const std::size_t arrays = length_of(message.arrays);
    std::size_t end = std::size_t{message.fields[fields - 1].offset} + message.fields[fields - 1].width;
    for (std::size_t i = 0; i < arrays; ++i) {
        const Array &array = message.arrays[i];
        if (array.offset < end || !array_is_sound(message, array)) {
            return false;
        }
        end = array.offset + std::size_t{array.stride} * array.bound;
    }
    std::array<std::string_view, kMaxFields + kMaxArrays> names{};
    for (std::size_t i = 0; i < fields; ++i) {
        names[i] = message.fields[i].name;
    }
    for (std::size_t i = 0; i < arrays; ++i) {
        names[fields + i] = message.arrays[i].name;
    }
    const auto used = names.begin() + static_cast<std::ptrdiff_t>(fields + arrays);
    std::sort(names.begin(), used);
    return std::adjacent_find(names.begin(), used) == used && message.fields[0].offset == 0 &&
           message.fields[0].swapped == Swapped::kBoth;
}

// The name says the direction, and only the way to the net has a prefix.
constexpr bool converter_is_sound(const Converter &converter) {
    const std::string_view name = converter.function;
    const bool isHost = converter.direction == Direction::kHost;
    return name.starts_with("ORVA_AGENT_Chg") && name.ends_with(isHost ? "ToHost" : "ToNet") &&
           (!isHost || converter.shape == Shape::kBody);
}

// Messages are told apart by name: GCC's sanitizers do not compare addresses at compile time.
constexpr bool is_same_message(const Converter &one, const Converter &other) {
    return std::string_view(one.message->family) == other.message->family;
}

// Every row and its message are sound, no function occurs twice, and the rows of a message follow each other.
template <std::size_t N>
constexpr bool converters_are_sound(const std::array<Converter, N> &converters) {
    for (std::size_t i = 0; i < N; ++i) {
        if (!converter_is_sound(converters[i]) || !message_is_sound(*converters[i].message)) {
            return false;
        }
        for (std::size_t k = 0; k < i; ++k) {
            const bool isApart =
                is_same_message(converters[k], converters[i]) && !is_same_message(converters[i - 1], converters[i]);
            if (isApart || std::string_view(converters[k].function) == converters[i].function) {
                return false;
            }
        }
    }
    return true;
}

} // namespace orva::wire

#endif
