// Documents as bytes. Input: message or record, byte order, then JSON. A document that is taken comes back from its
// bytes, counts that it left out added; one that is refused has a reason.
#include <nlohmann/json.hpp>

#include "document_bytes.h"
#include "fuzz_input.h"
#include "tlv_block.h"

namespace {

using Json = nlohmann::ordered_json;

// Whether everything in `part` is in `whole`.
bool holds(const Json &whole, const Json &part) {
    if (!part.is_object()) {
        return whole == part;
    }
    for (const auto &[name, value] : part.items()) {
        if (!whole.contains(name) || !(value.is_array() || holds(whole[name], value))) {
            return false;
        }
    }
    return true;
}

void check_message(const Json &document, const orva::wire::Message &message, inspect::Order order) {
    const inspect::Encoded encoded = inspect::encode_message(document, message, order);
    if (!encoded.faults.empty()) {
        REQUIRE(encoded.bytes.empty());
        return;
    }
    inspect::MessageForm form;
    form.family = &message;
    form.order = order;
    form.framing = document.contains("prefix") ? inspect::Framing::kFrame : inspect::Framing::kBody;
    const Json again = inspect::document_of(inspect::take_apart_message(encoded.bytes, form));
    REQUIRE(holds(again, document));
    const inspect::Encoded twice = inspect::encode_message(again, message, order);
    REQUIRE(twice.faults.empty() && twice.bytes == encoded.bytes);
}

void check_record(const Json &document, const orva::wire::Record &record) {
    const inspect::Encoded encoded = inspect::encode_record(document, record);
    if (!encoded.faults.empty()) {
        REQUIRE(encoded.bytes.empty());
        return;
    }
    REQUIRE(encoded.bytes.size() == record.length);
    const inspect::TlvBlock block = inspect::take_apart_block(encoded.bytes, 0, &record);
    REQUIRE(inspect::faults_of(block).empty());
    REQUIRE(holds(inspect::document_of(block, record), document));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Front front(data, size);
    const std::uint8_t choice = front.byte();
    const inspect::Order order = front.byte() % 2 == 0 ? inspect::Order::kNet : inspect::Order::kHost;
    const Json document = Json::parse(front.rest(), nullptr, false);
    if (document.is_discarded()) {
        return 0;
    }
    const std::vector<const orva::wire::Message *> messages = inspect::every_message();
    const std::size_t number = choice % (messages.size() + orva::wire::kRecords.size());
    if (number < messages.size()) {
        check_message(document, *messages[number], order);
    } else {
        check_record(document, orva::wire::kRecords[number - messages.size()]);
    }
    return 0;
}
