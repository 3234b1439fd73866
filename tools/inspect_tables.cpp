// Look-ups through the library's tables: board ports, stubs, sensor types.
#include "commands.h"
#include "orva_api_log.h"
#include "orva_api_stub.h"
#include "orva_drvadp_comm.h"
#include "text.h"

#include <cstring>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <strings.h>

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
        const std::vector<std::string> names(std::begin(g_acStubParaBuf), std::end(g_acStubParaBuf));
        answers.missing("no stub matches \"" + printable(name) + '"' + did_you_mean(name, names));
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

void show_port(Answers &answers, const BoardPortInfo &port) {
    answers.found({{"boardType", port.boardType},
                   {"hex", hex_number(port.boardType, 1)},
                   {"interface", interface_of(port)},
                   {"waitFlag", port.waitFlag},
                   {"octetSelect", port.octetSelect}},
                  "board type " + hex_number(port.boardType, 1) + ": interface " + interface_of(port) + ", " +
                      (port.waitFlag == 1 ? "waits for its address" : "one try for its address") +
                      ", number in the " + (port.octetSelect == 1 ? "lowest" : "second-lowest") + " octet");
}

void find_port(Answers &answers, std::uint32_t type) {
    const BoardPortInfo *const port = ORVA_GetBoardEthInfo(type);
    if (port == nullptr) {
        answers.missing("board type " + hex_number(type, 1) + " is not in the table; its address comes from " +
                        g_orvaBakPort[0] + ", else " + g_orvaBakPort[1]);
        return;
    }
    show_port(answers, *port);
}

void find_ports(Answers &answers, const std::string &interface) {
    bool is_found = false;
    for (const BoardPortInfo &port : g_boardPort) {
        if (interface_of(port) == interface) {
            show_port(answers, port);
            is_found = true;
        }
    }
    if (!is_found) {
        answers.missing("no board type has an interface " + printable(interface));
    }
}

// The name of a sensor type, or null.
const char *sensor_type_name(std::uint32_t code) {
    const char *const name = ORVA_ALARM_GetSensorTypeDesc(static_cast<std::uint8_t>(code));
    return std::strcmp(name, "unknown") != 0 ? name : nullptr;
}

void show_sensor_type(Answers &answers, std::uint32_t code, const char *name) {
    answers.found({{"code", code}, {"hex", hex_number(code, 2)}, {"name", name}},
                  "sensor type " + hex_number(code, 2) + ": " + name);
}

void find_sensor_type(Answers &answers, const std::string &word) {
    if (const auto code = number_of(word)) {
        const char *const name = sensor_type_name(*code);
        if (name != nullptr) {
            show_sensor_type(answers, *code, name);
        } else {
            answers.missing("sensor type " + hex_number(*code, 2) + " is unknown");
        }
        return;
    }
    std::vector<std::string> names;
    for (std::uint32_t code = 0; code <= UINT8_MAX; ++code) {
        const char *const name = sensor_type_name(code);
        if (name != nullptr && strcasecmp(name, word.c_str()) == 0) {
            show_sensor_type(answers, code, name);
            return;
        }
        names.emplace_back(name != nullptr ? name : "");
    }
    answers.missing("no sensor type is called \"" + printable(word) + '"' + did_you_mean(word, names));
}

} // namespace

std::vector<std::string> port_words() {
    std::set<std::string> interfaces;
    for (const BoardPortInfo &port : g_boardPort) {
        interfaces.insert(interface_of(port));
    }
    return {interfaces.begin(), interfaces.end()};
}

std::vector<std::string> stub_words() {
    return {std::begin(g_acStubParaBuf), std::end(g_acStubParaBuf)};
}

std::vector<std::string> sensor_type_words() {
    std::vector<std::string> words;
    for (std::uint32_t code = 0; code <= UINT8_MAX; ++code) {
        const char *const name = sensor_type_name(code);
        if (name != nullptr && std::strchr(name, ' ') == nullptr) {
            words.emplace_back(name);
        }
    }
    return words;
}

int inspect_ports(const std::vector<std::string> &words, bool json) {
    Answers answers("port", json);
    for (const std::string &word : words) {
        if (const auto type = number_of(word)) {
            find_port(answers, *type);
        } else {
            find_ports(answers, word);
        }
    }
    for (const BoardPortInfo &port : g_boardPort) {
        if (words.empty()) {
            show_port(answers, port);
        }
    }
    return answers.end();
}

int inspect_stubs(const std::vector<std::string> &words, bool json) {
    Answers answers("stub", json);
    for (const std::string &word : words) {
        find_stub(answers, word);
    }
    for (const char *const name : g_acStubParaBuf) {
        if (words.empty()) {
            find_stub(answers, name);
        }
    }
    return answers.end();
}

int inspect_sensor_types(const std::vector<std::string> &words, bool json) {
    Answers answers("sensor-type", json);
    for (const std::string &word : words) {
        find_sensor_type(answers, word);
    }
    for (std::uint32_t code = 0; code <= UINT8_MAX; ++code) {
        const char *const name = sensor_type_name(code);
        if (words.empty() && name != nullptr) {
            show_sensor_type(answers, code, name);
        }
    }
    return answers.end();
}

} // namespace inspect
