// The description as JSON for programs, and the JSON Schema of documents that hold a message or a record.
#include "describe.h"

#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using namespace orva::wire;
using Json = nlohmann::ordered_json;

constexpr int kVersion = 1;

Json field_json(const Field &field, std::size_t base, Direction direction) {
    Json json = {{"name", field.name},
                 {"offset", base + field.offset},
                 {"width", field.width},
                 {"swapped", is_swapped(field.swapped, direction)}};
    if (*field.unit != 0) {
        json["unit"] = field.unit;
    }
    json["text"] = field.text;
    return json;
}

Json array_json(const Message &message, const Array &array, std::size_t base, Direction direction) {
    const Field count = count_field(message, array);
    Json json = {{"name", array.name},
                 {"offset", base + array.offset},
                 {"stride", array.stride},
                 {"bound", array.bound},
                 {"count", {{"offset", base + count.offset}, {"width", count.width}, {"clamped", array.clamps}}},
                 {"fields", Json::array()},
                 {"text", array.text}};
    for (const Field &field : rows_of(array.fields)) {
        json["fields"].push_back(field_json(field, 0, direction));
    }
    return json;
}

Json converter_json(const Converter &converter) {
    const Message &message = *converter.message;
    const std::size_t base = prefix_bytes(converter.shape);
    Json json = {{"family", message.family},
                 {"converter", converter.function},
                 {"direction", converter.direction == Direction::kHost ? "host" : "net"},
                 {"prefix_bytes", base},
                 {"bytes", base + body_bytes(message)},
                 {"hook", converter.hook},
                 {"fields", Json::array()},
                 {"arrays", Json::array()},
                 {"text", message.text}};
    if (base != 0) {
        json["fields"].push_back(field_json(kPrefixField, 0, converter.direction));
    }
    for (const Field &field : rows_of(message.fields)) {
        json["fields"].push_back(field_json(field, base, converter.direction));
    }
    for (const Array &array : rows_of(message.arrays)) {
        json["arrays"].push_back(array_json(message, array, base, converter.direction));
    }
    return json;
}

Json member_json(const Record &record, const Member &member) {
    const OrvaTlvDes &row = row_of(record, member);
    Json json = {{"tag", member.tag}, {"member", member.name},        {"offset", member.offset},
                 {"type", row.type},  {"elements", elements_of(row)}, {"stored", member.kept != Kept::kSent}};
    if (*member.also != 0) {
        json["also"] = member.also;
    }
    if (*member.count != 0) {
        json["count"] = member.count;
    }
    if (member.kept == Kept::kNested) {
        json["record"] = record_of(row.nested)->key;
    }
    json["text"] = member.text;
    return json;
}

Json record_json(const Record &record) {
    Json json = {{"key", record.key},       {"table", record.table_name},
                 {"length", record.length}, {"structure", record.structure},
                 {"size", record.size},     {"fields", Json::array()},
                 {"text", record.text}};
    for (const Member &member : record.members) {
        json["fields"].push_back(member_json(record, member));
    }
    return json;
}

// ---- The schema of documents

std::uint64_t largest(std::size_t width) {
    return (std::uint64_t{1} << 8 * width) - 1;
}

Json number_schema(std::size_t width, const char *text) {
    return {{"description", text}, {"type", "integer"}, {"minimum", 0}, {"maximum", largest(width)}};
}

Json field_schema(const Field &field) {
    if (field.width > 4) {
        return {{"description", field.text}, {"type", "string"}, {"maxLength", field.width}};
    }
    return number_schema(field.width, field.text);
}

Json object_schema(const char *text) {
    return {{"description", text},
            {"type", "object"},
            {"properties", Json::object()},
            {"required", Json::array()},
            {"additionalProperties", false}};
}

void require(Json &object, const char *name, Json schema) {
    object["properties"][name] = std::move(schema);
    object["required"].push_back(name);
}

Json array_schema(const Array &array) {
    Json entry = object_schema(array.text);
    for (const Field &field : rows_of(array.fields)) {
        require(entry, field.name, field_schema(field));
    }
    return {{"description", array.text}, {"type", "array"}, {"maxItems", array.bound}, {"items", std::move(entry)}};
}

Json message_schema(const Message &message) {
    Json object = object_schema(message.text);
    require(object, "family", {{"const", message.family}});
    object["properties"][kPrefixField.name] = field_schema(kPrefixField);
    for (const Field &field : rows_of(message.fields)) {
        require(object, field.name, field_schema(field));
    }
    for (const Array &array : rows_of(message.arrays)) {
        require(object, array.name, array_schema(array));
    }
    return object;
}

Json members_schema(const Record &record);

Json member_schema(const Record &record, const Member &member) {
    const OrvaTlvDes &row = row_of(record, member);
    if (member.kept == Kept::kNested) {
        return members_schema(*record_of(row.nested));
    }
    Json element = number_schema(row.elemSize, member.text);
    const std::uint32_t elements = elements_of(row);
    if (elements == 1) {
        return element;
    }
    return {{"description", member.text},
            {"type", "array"},
            {"minItems", elements},
            {"maxItems", elements},
            {"items", std::move(element)}};
}

Json members_schema(const Record &record) {
    Json object = object_schema(record.text);
    for (const Member &member : record.members) {
        require(object, member.name, member_schema(record, member));
    }
    return object;
}

Json record_schema(const Record &record) {
    Json object = members_schema(record);
    object["properties"]["record"] = {{"const", record.key}};
    object["required"].push_back("record");
    return object;
}

} // namespace

Json description_json(const Described &described) {
    Json json = {{"schema", kVersion}, {"messages", Json::array()}, {"records", Json::array()}};
    for (const Converter *converter : described.converters) {
        json["messages"].push_back(converter_json(*converter));
    }
    for (const Record *record : described.records) {
        json["records"].push_back(record_json(*record));
    }
    return json;
}

Json document_schema(const Described &described) {
    Json schema = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                   {"title", "An agent message or a sync record"},
                   {"oneOf", Json::array()},
                   {"$defs", Json::object()}};
    const auto add = [&schema](const std::string &name, Json definition) {
        schema["$defs"][name] = std::move(definition);
        schema["oneOf"].push_back({{"$ref", "#/$defs/" + name}});
    };
    for (const Message *message : described.messages()) {
        add(message->family, message_schema(*message));
    }
    for (const Record *record : described.records) {
        add(record->key, record_schema(*record));
    }
    return schema;
}

} // namespace inspect
