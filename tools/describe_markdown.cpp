// The description as a page for the documentation, and as plain text for a terminal.
#include "describe.h"

#include <sstream>

namespace inspect {

namespace {

using namespace orva::wire;

constexpr std::string_view kIntroduction =
    R"(# The wire

Every agent message and every sync record, byte by byte. `orva-inspect describe --markdown` writes this page from the
description in `wire/`; `./dev wire` writes it again. The same description gives JSON (`--json`), a JSON Schema of decoded
documents (`--json-schema`), a Wireshark dissector (`--lua`) and the packed structures of `orva_wire.h`.

)";

constexpr std::string_view kMessages =
    R"(## Agent messages

A *body* is the message itself. A *frame* is a body after a prefix of 8 bytes; its first two bytes are a 16-bit word, which
converters to the net swap, and the other six stay. Offsets below are body offsets: in a frame, add 8.

"Converted" says in which direction a field changes between host and network byte order. Numbers are unsigned unless a
family says otherwise. Bytes that no row names are carried as they are.

An array has room for `bound` entries. A converter reads the count and converts as many entries, at most `bound`; the
count itself stays, except where it is *clamped*: there a larger count is overwritten with the bound. A count of four
bytes is read in host byte order.

)";

constexpr std::string_view kAboutRecords =
    R"(## Sync records

A record travels as a TLV block (see [orva_tlv_sensor_comm](orva_tlv_sensor_comm.md)): a header of 16 bytes, then an item
of tag, length and value for each member, all numbers in network byte order. A member that is not stored is sent, and a
receiver leaves its own as it was.

)";

std::string shape_text(const Converter &converter) {
    return converter.shape == Shape::kFrame ? "frame" : "body";
}

void add_fields(std::ostringstream &page, std::span<const Field> fields, std::string_view place) {
    page << "| " << place << " | Bytes | Field | Converted | Unit | Meaning |\n|---|---|---|---|---|---|\n";
    for (const Field &field : fields) {
        page << "| " << field.offset << " | " << field.width << " | `" << field.name << "` | "
             << converted_text(field.swapped) << " | " << field.unit << " | " << field.text << " |\n";
    }
    page << '\n';
}

void add_array(std::ostringstream &page, const Array &array) {
    page << "`" << array.name << "`: " << array.text << ". At " << array.offset << ", entries of " << array.stride
         << " bytes, bound " << array.bound << ", count `" << array.count << '`' << (array.clamps ? ", clamped" : "")
         << ".\n\n";
    add_fields(page, rows_of(array.fields), "In the entry");
}

void add_message(std::ostringstream &page, const Message &message, const Described &described) {
    page << "### " << message.family << "\n\n" << message.text << ". " << body_bytes(message) << " bytes.\n\n";
    page << "| Converter | Order | Buffer | Hook |\n|---|---|---|---|\n";
    for (const Converter *const converter : described.converters) {
        if (converter->message == &message) {
            page << "| `" << converter->function << "` | "
                 << (converter->direction == Direction::kHost ? "host" : "net") << " | " << shape_text(*converter)
                 << " | " << (converter->hook ? "yes" : "no") << " |\n";
        }
    }
    page << '\n';
    add_fields(page, rows_of(message.fields), "Offset");
    for (const Array &array : rows_of(message.arrays)) {
        add_array(page, array);
    }
}

std::string type_text(const Record &record, const Member &member) {
    const OrvaTlvDes &row = row_of(record, member);
    if (member.kept == Kept::kNested) {
        return std::string("block of `") + record_of(row.nested)->key + '`';
    }
    const std::string number = std::to_string(8 * row.elemSize) + "-bit";
    const std::uint32_t elements = elements_of(row);
    return elements == 1 ? number : std::to_string(elements) + " x " + number;
}

std::string stored_text(const Member &member) {
    switch (member.kept) {
    case Kept::kSent:
        return "no";
    case Kept::kCounted:
        return std::string("as many as `") + member.count + "` says";
    default:
        return "yes";
    }
}

void add_record(std::ostringstream &page, const Record &record) {
    page << "### " << record.key << "\n\n"
         << record.text << ". Structure `" << record.structure << "`, table `" << record.table_name << "`, block of "
         << record.length << " bytes.\n\n"
         << "| Tag | Member | Also called | Type | Stored | Meaning |\n|---|---|---|---|---|---|\n";
    for (const Member &member : record.members) {
        page << "| " << member.tag << " | `" << member.name << "` | " << member.also << " | "
             << type_text(record, member) << " | " << stored_text(member) << " | " << member.text << " |\n";
    }
    page << '\n';
}

// ---- Plain text

void print_field(std::ostringstream &text, const Field &field, std::size_t base, Direction direction,
                 const char *indent) {
    text << indent << base + field.offset << "\t" << field.width << "\t"
         << (is_swapped(field.swapped, direction) ? "swapped" : "kept") << "\t" << field.name << "\t" << field.text
         << '\n';
}

void print_converter(std::ostringstream &text, const Converter &converter) {
    const Message &message = *converter.message;
    const std::size_t base = prefix_bytes(converter.shape);
    text << message.family << ": " << message.text << '\n'
         << "  " << converter.function << ", " << shape_text(converter) << ", " << base + body_bytes(message)
         << " bytes" << (converter.hook ? ", calls its hook" : "") << '\n';
    if (base != 0) {
        print_field(text, kPrefixField, 0, converter.direction, "    ");
    }
    for (const Field &field : rows_of(message.fields)) {
        print_field(text, field, base, converter.direction, "    ");
    }
    for (const Array &array : rows_of(message.arrays)) {
        text << "    " << base + array.offset << "\t" << array.name << "[" << array.bound << "], entries of "
             << array.stride << " bytes, count " << array.count << (array.clamps ? ", clamped\n" : "\n");
        for (const Field &field : rows_of(array.fields)) {
            print_field(text, field, 0, converter.direction, "      +");
        }
    }
}

void print_record(std::ostringstream &text, const Record &record) {
    text << record.key << ": " << record.text << '\n'
         << "  " << record.structure << ", " << record.table_name << ", block of " << record.length << " bytes\n";
    for (const Member &member : record.members) {
        text << "    tag " << member.tag << "\t" << type_text(record, member) << "\t"
             << (member.kept == Kept::kSent ? "not stored" : "stored") << "\t" << member.name
             << (*member.also != 0 ? std::string(" (") + member.also + ")" : "") << "\t" << member.text << '\n';
    }
}

} // namespace

std::string description_markdown(const Described &described) {
    std::ostringstream page;
    page << kIntroduction;
    if (!described.converters.empty()) {
        page << kMessages;
    }
    for (const Message *const message : described.messages()) {
        add_message(page, *message, described);
    }
    if (!described.records.empty()) {
        page << kAboutRecords;
    }
    for (const Record *const record : described.records) {
        add_record(page, *record);
    }
    std::string text = page.str();
    text.pop_back(); // the last blank line
    return text;
}

std::string description_text(const Described &described) {
    std::ostringstream text;
    for (const Converter *const converter : described.converters) {
        print_converter(text, *converter);
    }
    for (const Record *const record : described.records) {
        print_record(text, *record);
    }
    return text.str();
}

} // namespace inspect
