// Documents as bytes: what message and tlv show as a document, written the way it travels.
#ifndef INSPECT_DOCUMENT_BYTES_H
#define INSPECT_DOCUMENT_BYTES_H

#include "input.h"
#include "message_view.h"
#include "parts.h"
#include "wire_record_table.h"

#include <nlohmann/json_fwd.hpp>
#include <vector>

namespace inspect {

struct Encoded {
    Bytes bytes;               // empty when a rule is broken
    std::vector<Fault> faults; // each with the path of its member
};

// A message. A "prefix" puts the eight bytes of a frame in front; a count that is not there is the length of its
// list; bytes without a name are 0. The result ends after the last field or entry.
Encoded encode_message(const nlohmann::ordered_json &document, const orva::wire::Message &message, Order order);

// A record's block, byte for byte as the library's encoder writes it.
Encoded encode_record(const nlohmann::ordered_json &document, const orva::wire::Record &record);

} // namespace inspect

#endif
