// The description of the wire, whole or of the messages and records that are named.
#include "commands.h"
#include "describe.h"
#include "text.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

namespace inspect {

using namespace orva::wire;

Described everything() {
    Described described;
    for (const Converter &converter : kConverters) {
        described.converters.push_back(&converter);
    }
    for (const Record &record : kRecords) {
        described.records.push_back(&record);
    }
    return described;
}

namespace {

// A message is named by its family or by one of its converters, a record by its key, its structure's table or its
// title.
bool names(const std::string &name, const Converter &converter) {
    return name == converter.message->family || name == converter.function;
}

bool names(const std::string &name, const Record &record) {
    return name == record.key || name == record.table_name || name == record.title;
}

// What is named, in the order of the tables; or nothing, after a message for each name that nothing has.
std::optional<Described> chosen(const std::vector<std::string> &wanted) {
    Described described = everything();
    if (wanted.empty()) {
        return described;
    }
    bool all = true;
    for (const std::string &name : wanted) {
        const auto matches = [&name](const auto *row) { return names(name, *row); };
        if (std::ranges::none_of(described.converters, matches) && std::ranges::none_of(described.records, matches)) {
            fail("no message and no record is called \"" + printable(name) + "\"; describe without a name lists all");
            all = false;
        }
    }
    const auto is_unwanted = [&wanted](const auto *row) {
        return std::ranges::none_of(wanted, [row](const std::string &name) { return names(name, *row); });
    };
    std::erase_if(described.converters, is_unwanted);
    std::erase_if(described.records, is_unwanted);
    return all ? std::optional(std::move(described)) : std::nullopt;
}

} // namespace

std::vector<const Message *> Described::messages() const {
    std::vector<const Message *> messages;
    for (const Converter *const converter : converters) {
        if (messages.empty() || messages.back() != converter->message) {
            messages.push_back(converter->message);
        }
    }
    return messages;
}

std::string_view converted_text(Swapped swapped) {
    switch (swapped) {
    case Swapped::kBoth:
        return "both";
    case Swapped::kToHost:
        return "to host";
    case Swapped::kToNet:
        return "to net";
    default:
        return "no";
    }
}

std::string camel_case(std::string_view name) {
    std::string text;
    bool isStart = true;
    for (const char letter : name) {
        if (letter == '_') {
            isStart = true;
            continue;
        }
        text += isStart ? static_cast<char>(std::toupper(static_cast<unsigned char>(letter))) : letter;
        isStart = false;
    }
    return text;
}

const OrvaTlvDes &row_of(const Record &record, const Member &member) {
    return record.table[&member - record.members.data()];
}

std::uint32_t elements_of(const OrvaTlvDes &row) {
    return row.totalLen / row.elemSize;
}

std::vector<std::string> description_words() {
    std::vector<std::string> words;
    for (const Message *const message : everything().messages()) {
        words.emplace_back(message->family);
    }
    for (const Record &record : kRecords) {
        words.emplace_back(record.key);
    }
    return words;
}

int inspect_describe(const std::vector<std::string> &names, Description form) {
    const std::optional<Described> described = chosen(names);
    if (!described) {
        return kRejected;
    }
    switch (form) {
    case Description::kText:
        std::cout << description_text(*described);
        break;
    case Description::kJson:
        print_json(description_json(*described));
        break;
    case Description::kMarkdown:
        std::cout << description_markdown(*described);
        break;
    case Description::kSchema:
        print_json(document_schema(*described));
        break;
    case Description::kLua:
        std::cout << description_lua(*described);
        break;
    case Description::kHeader:
        std::cout << description_header(*described);
        break;
    }
    return kDone;
}

} // namespace inspect
