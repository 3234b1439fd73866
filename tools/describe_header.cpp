// The description as include/orva_wire.h: a packed structure for each message and for each array's entry.
#include "describe.h"

#include <sstream>

namespace inspect {

namespace {

using namespace orva::wire;

constexpr std::string_view kOpening = R"(/*
 * The agent messages as packed structures, so that nobody counts offsets: what is fixed has a name, the rest is
 * reserved bytes. An addition to the system's interface. `./dev wire` writes this file from the description in wire/;
 * docs/wire.md shows the same layouts as tables.
 *
 * A structure is a body with full arrays; a frame is an OrvaWirePrefix and then the body. The structures have no
 * alignment, so a pointer to any received byte will do. A member is in the byte order of the buffer: the host's after
 * a converter to the host, the network's after a converter to the net.
 */
/* clang-format off */
#ifndef ORVA_WIRE_H
#define ORVA_WIRE_H

#include "orva_types.h"

#pragma pack(push, 1)

/* Before the body in a frame. Converters to the net swap the word; the rest stays. */
typedef struct OrvaWirePrefix {
    uint16_t word;
    uint8_t reserved_2[6];
} OrvaWirePrefix;
)";

constexpr std::string_view kHeader = R"(
/* Starts every body except Simulate, SoNameReq and SoNameAck. */
typedef struct OrvaWireHeader {
)";

constexpr std::string_view kClosing = R"(
#pragma pack(pop)

#endif
)";

constexpr std::size_t kHeaderFields = 4;
constexpr std::size_t kHeaderBytes = 16;

bool has_header(const Message &message) {
    return rows_of(message.fields).size() >= kHeaderFields &&
           std::string_view(message.fields[0].name) == "req_or_reply";
}

std::string member_of(const Field &field) {
    if (field.width > 4) {
        return "char " + std::string(field.name) + "[" + std::to_string(field.width) + "]";
    }
    return "uint" + std::to_string(8 * field.width) + "_t " + field.name;
}

// One structure under construction: its members, and what is asserted of them.
class Structure {
public:
    explicit Structure(std::string name) : name_(std::move(name)) {}

    void add(std::size_t offset, std::size_t bytes, const std::string &declaration, std::string_view member,
             const std::string &comment) {
        pad(offset);
        members_ << "    " << declaration << ";" << (comment.empty() ? "" : " /* " + comment + " */") << '\n';
        assertions_ << "ORVA_STATIC_ASSERT(offsetof(" << name_ << ", " << member << ") == " << offset << ", \""
                    << member << "\");\n";
        end_ = offset + bytes;
    }

    void add(const Field &field) {
        std::string comment = field.text;
        if (field.swapped == Swapped::kToHost) {
            comment += "; converted to host order only";
        }
        add(field.offset, field.width, member_of(field), field.name, comment);
    }

    void pad(std::size_t offset) {
        if (offset > end_) {
            members_ << "    uint8_t reserved_" << end_ << "[" << offset - end_ << "];\n";
            end_ = offset;
        }
    }

    std::string members() const {
        return members_.str();
    }

    std::string text(std::string_view comment) const {
        return "\n/* " + std::string(comment) + " */\ntypedef struct " + name_ + " {\n" + members_.str() + "} " +
               name_ + ";\n\n" + assertions();
    }

    std::string assertions() const {
        return "ORVA_STATIC_ASSERT(sizeof(" + name_ + ") == " + std::to_string(end_) + ", \"" + name_ + "\");\n" +
               assertions_.str();
    }

private:
    std::string name_;
    std::ostringstream members_;
    std::ostringstream assertions_;
    std::size_t end_ = 0;
};

std::string name_of(const Message &message) {
    return std::string("OrvaWire") + message.family;
}

std::string name_of(const Message &message, const Array &array) {
    return name_of(message) + camel_case(array.name) + "Entry";
}

std::string entry_text(const Message &message, const Array &array) {
    Structure entry(name_of(message, array));
    for (const Field &field : rows_of(array.fields)) {
        entry.add(field);
    }
    entry.pad(array.stride);
    return entry.text(std::string("An entry of ") + name_of(message) + "'s " + array.name);
}

std::string count_comment(const Array &array) {
    return std::string(array.text) + "; " + array.count + " counts them" + (array.clamps ? " and is clamped" : "");
}

std::string message_text(const Message &message) {
    std::string text;
    for (const Array &array : rows_of(message.arrays)) {
        text += entry_text(message, array);
    }
    Structure body(name_of(message));
    std::span<const Field> fields = rows_of(message.fields);
    if (has_header(message)) {
        body.add(0, kHeaderBytes, "OrvaWireHeader header", "header", "");
        fields = fields.subspan(kHeaderFields);
    }
    for (const Field &field : fields) {
        body.add(field);
    }
    for (const Array &array : rows_of(message.arrays)) {
        body.add(array.offset, std::size_t{array.stride} * array.bound,
                 name_of(message, array) + " " + array.name + "[" + std::to_string(array.bound) + "]", array.name,
                 count_comment(array));
    }
    return text + body.text(message.text);
}

std::string header_text() {
    Structure header("OrvaWireHeader");
    for (const Field &field : rows_of(kReq.fields)) {
        header.add(field);
    }
    return std::string(kHeader) + header.members() + "} OrvaWireHeader;\n\n" + header.assertions();
}

} // namespace

std::string description_header(const Described &described) {
    std::string text(kOpening);
    text += "\nORVA_STATIC_ASSERT(sizeof(OrvaWirePrefix) == 8, \"OrvaWirePrefix\");\n";
    text += header_text();
    for (const Message *const message : described.messages()) {
        text += message_text(*message);
    }
    return text + std::string(kClosing);
}

} // namespace inspect
