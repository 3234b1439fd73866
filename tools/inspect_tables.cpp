// Look-ups through the library's tables: board ports, stubs, sensor types.
#include "commands.h"
#include "orva_api_log.h"
#include "orva_api_stub.h"
#include "orva_drvadp_comm.h"
#include "text.h"

#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;

// One answer for each thing asked: a row of the document, or null and a message.
class Answers {
public:
    Answers(std::string_view command, bool json) : json_(json), document_(command, json) {}

    void found(const Json &row, const std::string &line) {
        document_.add(row);
        if (!json_) {
            std::cout << line << '\n';
        }
    }

    void missing(const std::string &message) {
        document_.add(nullptr);
        status_ = fail(message);
    }

    int end() {
        document_.end();
        return status_;
    }

private:
    bool json_;
    Document document_;
    int status_ = kDone;
};

std::string interface_of(const BoardPortInfo &port) {
    return {port.ifName, strnlen(port.ifName, sizeof port.ifName)};
}

void find_stub(Answers &answers, const std::string &name) {
    const std::optional<std::uint32_t> number = number_of(name);
    std::uint32_t type = number.value_or(ORVA_STUB_TYPES);
    if (!number && ORVA_STUB_GetStubType(name.c_str(), &type) != 1) {
        answers.missing("no stub matches \"" + printable(name) + '"');
        return;
    }
    if (type >= ORVA_STUB_TYPES) {
        answers.missing("there is no stub type " + printable(name) + ", the last one is " +
                        std::to_string(ORVA_STUB_TYPES - 1));
        return;
    }
    const char *const row = g_acStubParaBuf[type];
    std::string line = "stub type " + std::to_string(type) + ": " + row;
    if (!number && name != row) {
        line += ", the end of \"" + printable(name) + '"';
    }
    answers.found({{"asked", name}, {"type", type}, {"name", row}}, line);
}

} // namespace

int inspect_ports(const std::vector<std::uint32_t> &board_types, bool json) {
    Answers answers("port", json);
    for (const std::uint32_t type : board_types) {
        const BoardPortInfo *const port = ORVA_GetBoardEthInfo(type);
        if (port == nullptr) {
            answers.missing("board type " + hex_number(type, 1) + " is not in the table; its address comes from " +
                            g_orvaBakPort[0] + ", else " + g_orvaBakPort[1]);
            continue;
        }
        answers.found({{"boardType", type},
                       {"hex", hex_number(type, 1)},
                       {"interface", interface_of(*port)},
                       {"waitFlag", port->waitFlag},
                       {"octetSelect", port->octetSelect}},
                      "board type " + hex_number(type, 1) + ": interface " + interface_of(*port) + ", " +
                          (port->waitFlag == 1 ? "waits for its address" : "one try for its address") +
                          ", number in the " + (port->octetSelect == 1 ? "lowest" : "second-lowest") + " octet");
    }
    return answers.end();
}

int inspect_stubs(const std::vector<std::string> &names, bool json) {
    Answers answers("stub", json);
    for (const std::string &name : names) {
        find_stub(answers, name);
    }
    return answers.end();
}

int inspect_sensor_types(const std::vector<std::uint32_t> &codes, bool json) {
    Answers answers("sensor-type", json);
    const std::string unknown = "unknown";
    for (const std::uint32_t code : codes) {
        const char *const name = ORVA_ALARM_GetSensorTypeDesc(static_cast<std::uint8_t>(code));
        if (name == unknown) {
            answers.missing("sensor type " + hex_number(code, 2) + " is unknown");
            continue;
        }
        answers.found({{"code", code}, {"hex", hex_number(code, 2)}, {"name", name}},
                      "sensor type " + hex_number(code, 2) + ": " + name);
    }
    return answers.end();
}

} // namespace inspect
