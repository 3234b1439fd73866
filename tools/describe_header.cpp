// The description as include/orva_wire.h: a packed structure for each message and for each array's entry.
#include "describe.h"

#include <sstream>

namespace inspect {

namespace {

using namespace orva::wire;

constexpr std::string_view kHeaderOpening = R"(/**
 * @file
 * The agent messages as packed structures, so that nobody counts offsets.
 *
 * What is fixed has a name, the rest is reserved bytes, carried as they are. An addition to the system's interface.
 * `./dev wire` writes this file from the description in wire/; docs/wire.md shows the same layouts as tables.
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
)";

constexpr std::string_view kAssertions = R"(
#pragma pack(pop)

/** @cond */
)";

constexpr std::string_view kClosing = R"(/** @endcond */

#endif
)";

constexpr Fields kPrefix{{{"word", 0, 2, Swapped::kToNet, "", "Converted to the net only"}}};

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

// The header under construction: structures in their order, and what is asserted of them at the end.
class Header {
public:
    void start(std::string name, const std::string &comment) {
        name_ = std::move(name);
        end_ = 0;
        text_ << "\n/** " << comment << ". */\ntypedef struct " << name_ << " {\n";
        offsets_.str("");
    }

    void add(std::size_t offset, std::size_t bytes, const std::string &declaration, std::string_view member,
             const std::string &comment) {
        pad(offset);
        text_ << "    " << declaration << "; /**< " << comment << ". */\n";
        offsets_ << "ORVA_STATIC_ASSERT(offsetof(" << name_ << ", " << member << ") == " << offset << ", \"" << member
                 << "\");\n";
        end_ = offset + bytes;
    }

    void add(const Field &field) {
        const char *const only = field.swapped == Swapped::kToHost ? "; converted to host order only" : "";
        add(field.offset, field.width, member_of(field), field.name, std::string(field.text) + only);
    }

    void pad(std::size_t offset) {
        if (offset > end_) {
            text_ << "    uint8_t reserved_" << end_ << "[" << offset - end_ << "]; /**< Carried as they are. */\n";
            end_ = offset;
        }
    }

    void finish() {
        text_ << "} " << name_ << ";\n";
        assertions_ << "ORVA_STATIC_ASSERT(sizeof(" << name_ << ") == " << end_ << ", \"" << name_ << "\");\n"
                    << offsets_.str();
    }

    std::string text() const {
        return std::string(kHeaderOpening) + text_.str() + std::string(kAssertions) + assertions_.str() +
               std::string(kClosing);
    }

private:
    std::string name_;
    std::ostringstream text_;
    std::ostringstream offsets_; // of the structure under construction
    std::ostringstream assertions_;
    std::size_t end_ = 0;
};

std::string name_of(const Message &message) {
    return std::string("OrvaWire") + message.family;
}

std::string name_of(const Message &message, const Array &array) {
    return name_of(message) + camel_case(array.name) + "Entry";
}

void add_plain(Header &header, const char *name, const char *comment, std::span<const Field> fields,
               std::size_t bytes) {
    header.start(name, comment);
    for (const Field &field : fields) {
        header.add(field);
    }
    header.pad(bytes);
    header.finish();
}

std::string array_comment(const Array &array) {
    return std::string(array.text) + ", counted by " + array.count + (array.clamps ? ", which is clamped" : "");
}

void add_message(Header &header, const Message &message) {
    for (const Array &array : rows_of(message.arrays)) {
        const std::string comment = std::string("An entry of ") + name_of(message) + "'s " + array.name;
        add_plain(header, name_of(message, array).c_str(), comment.c_str(), rows_of(array.fields), array.stride);
    }
    header.start(name_of(message), message.text);
    std::span<const Field> fields = rows_of(message.fields);
    if (has_header(message)) {
        header.add(0, kHeaderBytes, "OrvaWireHeader header", "header", "As in every request and reply");
        fields = fields.subspan(kHeaderFields);
    }
    for (const Field &field : fields) {
        header.add(field);
    }
    for (const Array &array : rows_of(message.arrays)) {
        header.add(array.offset, std::size_t{array.stride} * array.bound,
                   name_of(message, array) + " " + array.name + "[" + std::to_string(array.bound) + "]", array.name,
                   array_comment(array));
    }
    header.finish();
}

} // namespace

std::string description_header(const Described &described) {
    Header header;
    add_plain(header, "OrvaWirePrefix", "Before the body in a frame", rows_of(kPrefix), kPrefixBytes);
    add_plain(header, "OrvaWireHeader", "Starts every body except Simulate, SoNameReq and SoNameAck",
              rows_of(kReq.fields), kHeaderBytes);
    for (const Message *const message : described.messages()) {
        add_message(header, *message);
    }
    return header.text();
}

} // namespace inspect
