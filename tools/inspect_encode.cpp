// Documents of messages and records as bytes.
#include "commands.h"
#include "document_bytes.h"
#include "text.h"
#include "tlv_block.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kRowBytes = 16;

// What a document is written as.
struct Layout {
    const orva::wire::Message *message = nullptr;
    const Record *record = nullptr;
};

std::string name_in(const Json &document, const char *key) {
    const auto found = document.is_object() ? document.find(key) : document.end();
    return document.is_object() && found != document.end() && found->is_string() ? found->get<std::string>() : "";
}

// As the command line says, or as the document itself does.
Layout layout_of(const Json &document, const DocumentForm &form) {
    if (form.message != nullptr || form.record != nullptr) {
        return {form.message, form.record};
    }
    return {find_message(name_in(document, "family")), find_record(name_in(document, "record"))};
}

Encoded encode(const Json &document, const Layout &layout, Order order) {
    if (layout.message != nullptr) {
        return encode_message(document, *layout.message, order);
    }
    if (layout.record != nullptr) {
        return encode_record(document, *layout.record);
    }
    return {{}, {{std::nullopt, "family", "the document names no family and no record", "--family, or --record"}}};
}

void print_rows(const Bytes &bytes) {
    for (std::size_t at = 0; at < bytes.size(); at += kRowBytes) {
        std::cout << hex_bytes(std::span(bytes).subspan(at, std::min(kRowBytes, bytes.size() - at))) << '\n';
    }
}

class Encoder {
public:
    Encoder(const Files &files, const DocumentForm &form, bool json)
        : files_(files), form_(form), document_("encode", json) {}

    int run() {
        for (const std::string &path : files_.paths) {
            read(path);
        }
        document_.end();
        return status_;
    }

private:
    void read(const std::string &path) {
        const Input input = read_input(path, kInputLimit);
        if (input.status != kDone) {
            status_ = std::max(status_, input.status);
            return;
        }
        try {
            take(path, Json::parse(input.bytes));
        } catch (const Json::parse_error &error) {
            const std::size_t at = error.byte == 0 ? 0 : error.byte - 1;
            finish(path, {}, {{}, {{at, "document", "this is not JSON", "a JSON document"}}}, input.bytes);
        } catch (const Json::out_of_range &) {
            finish(path, {}, {{}, {{{}, "document", "a number is too large", "numbers that a double holds"}}}, {});
        }
    }

    // A document, or what message and tlv write with --json.
    void take(const std::string &path, const Json &content) {
        const auto results = content.is_object() ? content.find("results") : content.end();
        if (!content.is_object() || results == content.end() || !results->is_array()) {
            one(path, content);
            return;
        }
        for (const Json &result : *results) {
            const auto found = result.is_object() ? result.find("document") : result.end();
            one(path, result.is_object() && found != result.end() ? *found : result);
        }
    }

    void one(const std::string &path, const Json &document) {
        const Layout layout = layout_of(document, form_);
        finish(path, layout, encode(document, layout, form_.order), {});
    }

    void finish(const std::string &path, const Layout &layout, const Encoded &encoded,
                std::span<const std::uint8_t> input) {
        const bool whole = encoded.faults.empty();
        if (document_.is_written()) {
            document_.add({{"file", path},
                           {"family", layout.message != nullptr ? Json(layout.message->family) : Json(nullptr)},
                           {"record", layout.record != nullptr ? Json(layout.record->key) : Json(nullptr)},
                           {"length", encoded.bytes.size()},
                           {"bytes", whole ? Json(hex_bytes(encoded.bytes)) : Json(nullptr)},
                           {"faults", faults_json(encoded.faults)}});
        } else if (form_.binary) {
            std::cout.write(reinterpret_cast<const char *>(encoded.bytes.data()),
                            static_cast<std::streamsize>(encoded.bytes.size()));
        } else {
            print_rows(encoded.bytes);
        }
        status_ = std::max(status_, report(encoded.faults, input, files_.shown(path)));
    }

    const Files &files_;
    const DocumentForm &form_;
    Document document_;
    int status_ = kDone;
};

} // namespace

int inspect_encode(const Files &files, const DocumentForm &form, bool json) {
    return Encoder(files, form, json).run();
}

} // namespace inspect
