// The description of the wire in the forms that people and programs read.
#ifndef INSPECT_DESCRIBE_H
#define INSPECT_DESCRIBE_H

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "wire_messages.h"
#include "wire_record_table.h"

namespace inspect {

// What a description is about, in the order of the tables.
struct Described {
    std::vector<const orva::wire::Converter *> converters;
    std::vector<const orva::wire::Record *> records;

    // The messages of the converters, each once.
    std::vector<const orva::wire::Message *> messages() const;
};

// All of it.
Described everything();

nlohmann::ordered_json description_json(const Described &described);

// A JSON Schema of messages and records as documents: {"family": "TempInfo", "req_or_reply": 2, ...} and
// {"record": "temp", "tempNodeType": 1, ...}.
nlohmann::ordered_json document_schema(const Described &described);

std::string description_text(const Described &described);
std::string description_markdown(const Described &described);
std::string description_header(const Described &described);

// A Wireshark dissector.
std::string description_lua(const Described &described);

// Its code, which walks the tables that the description makes.
extern const std::string_view kDissectorCode;

// What the forms share.

// The part of a list that is filled.
template <typename Row, std::size_t N>
std::span<const Row> rows_of(const std::array<Row, N> &rows) {
    return std::span<const Row>(rows).first(orva::wire::length_of(rows));
}

// "both", "to host", "to net" or "no".
std::string_view converted_text(orva::wire::Swapped swapped);

// "temp_sensors" as "TempSensors".
std::string camel_case(std::string_view name);

// What the wire carries of a member: the words of its descriptor row.
const OrvaTlvDes &row_of(const orva::wire::Record &record, const orva::wire::Member &member);

std::uint32_t elements_of(const OrvaTlvDes &row);

} // namespace inspect

#endif
