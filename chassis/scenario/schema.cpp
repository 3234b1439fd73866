// The table of keys as a JSON Schema and as the tables of the page.
#include "board/sensors.h"
#include "events/event.h"
#include "manager/faults.h"
#include "scenario/fields.h"
#include "scenario/texts.h"

#include <nlohmann/json.hpp>

namespace chassis {

namespace {

using Json = nlohmann::ordered_json;

Json table_schema(const TableSpec &spec);

Json names_schema(std::span<const char *const> names) {
    Json list = Json::array();
    for (const char *name : names) {
        list.push_back(name);
    }
    return {{"enum", list}};
}

Json array_of(const Json &items) {
    return {{"type", "array"}, {"items", items}};
}

Json type_schema(const KeySpec &key) {
    switch (key.type) {
    case KeyType::kText:
        return {{"type", "string"}};
    case KeyType::kFlag:
        return {{"type", "boolean"}};
    case KeyType::kInteger:
        return {{"type", "integer"}, {"minimum", key.min}, {"maximum", key.max}};
    case KeyType::kSeconds:
        return {{"type", "number"}, {"minimum", key.min}, {"maximum", key.max}};
    case KeyType::kChoice:
        return names_schema(key.choices);
    case KeyType::kEvent:
        return names_schema(event_names());
    case KeyType::kSlot:
        return {{"anyOf", {{{"type", "integer"}, {"minimum", 1}, {"maximum", 30}}, {{"enum", {"first", "last"}}}}}};
    case KeyType::kCommands:
        return array_of({{"type", "string"}});
    case KeyType::kPoints:
        return array_of({{"type", "array"}, {"items", {{"type", "number"}}}, {"minItems", 2}, {"maxItems", 2}});
    case KeyType::kWhere:
        return {{"type", "object"}};
    case KeyType::kTables:
        return array_of(table_schema(*key.table));
    }
    return Json::object();
}

Json table_schema(const TableSpec &spec) {
    Json properties = Json::object();
    Json required = Json::array();
    for (const KeySpec &key : spec.keys) {
        Json property = type_schema(key);
        property["description"] = key.help;
        properties[key.name] = property;
        if (key.required) {
            required.push_back(key.name);
        }
    }
    return {{"type", "object"}, {"properties", properties}, {"required", required}, {"additionalProperties", false}};
}

} // namespace

std::string scenario_schema() {
    Json schema = {{"$schema", "https://json-schema.org/draft/2020-12/schema"}, {"title", "orva-chassis scenario"}};
    schema.update(table_schema(scenario_spec()));
    return schema.dump(2) + "\n";
}

} // namespace chassis
