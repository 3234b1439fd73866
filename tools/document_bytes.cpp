#include "document_bytes.h"

#include "describe.h"
#include "text.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

namespace inspect {

namespace {

using namespace orva::wire;
using Json = nlohmann::ordered_json;

class Writer {
public:
    void put(std::size_t at, std::uint64_t number, std::size_t width, bool big) {
        reach(at + width);
        for (std::size_t i = 0; i < width; ++i) {
            const std::size_t shift = 8 * (big ? width - 1 - i : i);
            out_.bytes[at + i] = static_cast<std::uint8_t>(number >> shift);
        }
    }

    void put(std::size_t at, const Bytes &bytes) {
        reach(at + bytes.size());
        std::ranges::copy(bytes, out_.bytes.begin() + static_cast<std::ptrdiff_t>(at));
    }

    void append(std::uint64_t number, std::size_t width) {
        put(out_.bytes.size(), number, width, true);
    }

    void reach(std::size_t size) {
        out_.bytes.resize(std::max(size, out_.bytes.size()));
    }

    void fault(const std::string &path, const std::string &rule, const std::string &expected) {
        out_.faults.push_back({std::nullopt, printable(path), printable(path) + ' ' + rule, expected});
    }

    std::size_t size() const {
        return out_.bytes.size();
    }

    Encoded take() {
        if (!out_.faults.empty()) {
            out_.bytes.clear();
        }
        return std::move(out_);
    }

private:
    Encoded out_;
};

// What an object must hold, and where it is in the document.
class Members {
public:
    Members(Writer &writer, const Json &object, std::string path)
        : writer_(writer), object_(object), path_(std::move(path)) {
        if (!object_.is_object()) {
            writer_.fault(path_.empty() ? "document" : path_, "is not an object", "an object");
        }
    }

    std::string path_of(const std::string &name) const {
        return path_.empty() ? name : path_ + '.' + name;
    }

    // The member of this name, or null. It is known from here on.
    const Json *find(const std::string &name) {
        known_.push_back(name);
        if (!object_.is_object()) {
            return nullptr;
        }
        const auto found = object_.find(name);
        return found != object_.end() ? &*found : nullptr;
    }

    // The same for a member that must be there.
    const Json *need(const std::string &name, const std::string &expected) {
        const Json *const member = find(name);
        if (member == nullptr && object_.is_object()) {
            writer_.fault(path_of(name), "is missing", expected);
        }
        return member;
    }

    void refuse_others() {
        if (!object_.is_object()) {
            return;
        }
        for (const auto &[name, value] : object_.items()) {
            if (std::ranges::find(known_, name) == known_.end()) {
                const std::string near = nearest(name, known_);
                writer_.fault(path_of(name), "is unknown", near.empty() ? "no such member" : near);
            }
        }
    }

private:
    Writer &writer_;
    const Json &object_;
    std::string path_;
    std::vector<std::string> known_;
};

std::string range_of(std::size_t width) {
    return "0 to " + std::to_string((std::uint64_t{1} << 8 * width) - 1);
}

std::optional<std::uint64_t> number_in(Writer &writer, const Json &value, std::size_t width,
                                       const std::string &path) {
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() >> 8 * width != 0) {
        writer.fault(path, "is not an integer of " + std::to_string(8 * width) + " bits", range_of(width));
        return std::nullopt;
    }
    return value.get<std::uint64_t>();
}

// A text as padded bytes: a character up to U+00FF is the byte of its number.
std::optional<Bytes> text_in(Writer &writer, const Json &value, std::size_t width, const std::string &path) {
    Bytes bytes;
    bool fits = value.is_string();
    const std::string text = fits ? value.get<std::string>() : std::string();
    for (std::size_t i = 0; fits && i < text.size(); ++i) {
        const auto byte = static_cast<std::uint8_t>(text[i]);
        const bool two = (byte == 0xC2 || byte == 0xC3) && i + 1 < text.size();
        fits = (byte != 0 && byte < 0x80) || two;
        bytes.push_back(two ? static_cast<std::uint8_t>(byte << 6 | (static_cast<std::uint8_t>(text[i + 1]) & 0x3F))
                            : byte);
        i += two ? 1 : 0;
    }
    if (!fits || bytes.size() > width) {
        writer.fault(path, "is not a text that fits",
                     "at most " + std::to_string(width) + " characters from U+0001 to U+00FF");
        return std::nullopt;
    }
    bytes.resize(width);
    return bytes;
}

// ---- Messages

void put_field(Writer &writer, const Field &field, const Json &value, std::size_t at, bool big,
               const std::string &path) {
    if (field.width > 4) {
        if (const auto bytes = text_in(writer, value, field.width, path)) {
            writer.put(at, *bytes);
        }
    } else if (const auto number = number_in(writer, value, field.width, path)) {
        writer.put(at, *number, field.width, big);
    }
}

const char *expected_of(const Field &field) {
    return field.width > 4 ? "a text" : "an integer";
}

void put_array(Writer &writer, const Message &message, const Array &array, const Json &list, std::size_t base,
               Order order) {
    for (std::size_t i = 0; i < list.size(); ++i) {
        const std::string path = std::string(array.name) + '[' + std::to_string(i) + ']';
        const std::size_t at = base + array.offset + i * array.stride;
        Members members(writer, list[i], path);
        for (const Field &field : rows_of(array.fields)) {
            if (const Json *const value = members.need(field.name, expected_of(field))) {
                put_field(writer, field, *value, at + field.offset,
                          order == Order::kNet && is_converted(message, field), members.path_of(field.name));
            }
        }
        members.refuse_others();
        writer.reach(at + array.stride);
    }
}

// A field that counts entries. One that the document leaves out is the length of its first list.
struct Count {
    std::string_view name;
    bool given;
    std::uint64_t number;
};

// The list of an array, when it has as many entries as its count says.
const Json *counted_list(Writer &writer, Members &members, const Array &array, std::vector<Count> &counts) {
    const Json *const list = members.need(array.name, "a list");
    if (list == nullptr) {
        return nullptr;
    }
    if (!list->is_array()) {
        writer.fault(array.name, "is not a list", "a list");
        return nullptr;
    }
    auto count = std::ranges::find(counts, std::string_view(array.count), &Count::name);
    if (count == counts.end()) {
        return nullptr; // the count itself is at fault
    }
    if (!count->given) {
        *count = {count->name, true, list->size()};
    }
    const std::uint64_t wanted = std::min<std::uint64_t>(count->number, array.bound);
    if (list->size() != wanted) {
        writer.fault(array.name,
                     "has " + std::to_string(list->size()) + " entries; " + array.count + " is " +
                         std::to_string(count->number) + " and the bound " + std::to_string(array.bound),
                     std::to_string(wanted) + " entries");
        return nullptr;
    }
    return list;
}

void put_body(Writer &writer, Members &members, const Message &message, std::size_t base, Order order) {
    std::vector<Count> counts;
    for (const Field &field : rows_of(message.fields)) {
        const bool counts_entries = std::ranges::any_of(rows_of(message.arrays), [&field](const Array &array) {
            return std::string_view(array.count) == field.name;
        });
        writer.reach(base + field.offset + field.width);
        const Json *const value =
            counts_entries ? members.find(field.name) : members.need(field.name, expected_of(field));
        if (value != nullptr) {
            put_field(writer, field, *value, base + field.offset,
                      order == Order::kNet && is_converted(message, field), field.name);
        }
        if (counts_entries && (value == nullptr || value->is_number_unsigned())) {
            counts.push_back({field.name, value != nullptr, value != nullptr ? value->get<std::uint64_t>() : 0});
        }
    }
    for (const Array &array : rows_of(message.arrays)) {
        if (const Json *const list = counted_list(writer, members, array, counts)) {
            put_array(writer, message, array, *list, base, order);
            const Field field = count_field(message, array);
            const Json number = list->size();
            if (members.find(field.name) == nullptr) {
                put_field(writer, field, number, base + field.offset,
                          order == Order::kNet && is_converted(message, field), field.name);
            }
        }
    }
}

// ---- Records

void put_value(Writer &writer, const Record &record, const Member &member, const Json &value,
               const std::string &path);

void put_block(Writer &writer, Members &members, const Record &record) {
    const std::size_t start = writer.size();
    writer.append(record.members.size(), 4);
    writer.append(record.length, 4);
    writer.append(0, 8);
    for (const Member &member : record.members) {
        if (const Json *const value = members.need(member.name, "a member of the record")) {
            put_value(writer, record, member, *value, members.path_of(member.name));
        }
    }
    members.refuse_others();
    writer.put(start + 4, writer.size() - start, 4, true);
}

void put_value(Writer &writer, const Record &record, const Member &member, const Json &value,
               const std::string &path) {
    const OrvaTlvDes &row = row_of(record, member);
    const Record *const nested = row.nested != nullptr ? record_of(row.nested) : nullptr;
    writer.append(member.tag, 2);
    writer.append(nested != nullptr ? nested->length : row.totalLen, 2);
    if (nested != nullptr) {
        Members members(writer, value, path);
        put_block(writer, members, *nested);
        return;
    }
    const std::uint32_t elements = elements_of(row);
    if (elements == 1) {
        writer.append(number_in(writer, value, row.elemSize, path).value_or(0), row.elemSize);
        return;
    }
    if (!value.is_array() || value.size() != elements) {
        writer.fault(path, "is not a list of " + std::to_string(elements) + " integers",
                     std::to_string(elements) + " integers");
        return;
    }
    for (std::size_t i = 0; i < elements; ++i) {
        const std::string element = path + '[' + std::to_string(i) + ']';
        writer.append(number_in(writer, value[i], row.elemSize, element).value_or(0), row.elemSize);
    }
}

void check_name(Writer &writer, Members &members, const char *key, const char *name) {
    const Json *const given = members.find(key);
    if (given != nullptr && *given != name) {
        writer.fault(key, "is another one", name);
    }
}

} // namespace

Encoded encode_message(const Json &document, const Message &message, Order order) {
    Writer writer;
    Members members(writer, document, "");
    check_name(writer, members, "family", message.family);
    std::size_t base = 0;
    if (const Json *const prefix = members.find(kPrefixField.name)) {
        put_field(writer, kPrefixField, *prefix, 0, order == Order::kNet, kPrefixField.name);
        base = kPrefixBytes;
        writer.reach(base);
    }
    if (document.is_object()) {
        put_body(writer, members, message, base, order);
    }
    members.refuse_others();
    return writer.take();
}

Encoded encode_record(const Json &document, const Record &record) {
    Writer writer;
    Members members(writer, document, "");
    check_name(writer, members, "record", record.key);
    if (document.is_object()) {
        put_block(writer, members, record);
    }
    return writer.take();
}

} // namespace inspect
