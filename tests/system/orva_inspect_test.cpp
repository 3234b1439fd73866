// orva-inspect as a user runs it: look-ups, blocks and dumps that are valid, truncated or hostile.
// GCC 12 takes std::regex for uninitialised under the address sanitizer.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include "miro_host.h"
#include "orva_additions.h"
#include "orva_api_stub.h"
#include "orva_comm.h"
#include "orva_debugging.h"
#include "orva_diag.h"
#include "orva_drvadp_comm.h"
#include "orva_imlib.h"
#include "orva_tlv_sensor_comm.h"
#include "system_support.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using nlohmann::json;
using orva_test::ProgramResult;
using orva_test::read_file;
using orva_test::ScratchFolder;
using orva_test::write_file;

const std::string kProgram = std::string(ORVA_TEST_BINARY_DIR) + "/tools/orva-inspect";
const std::string kInShell = "'" + kProgram + "' ";

class Inspect : public testing::Test {
protected:
    static ProgramResult run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), kProgram);
        return orva_test::run_program(arguments);
    }

    // The result of a run on a file that holds `content`.
    ProgramResult run_on(const std::string &content, std::vector<std::string> arguments) const {
        write_file(input(), content);
        arguments.push_back(input());
        return run(arguments);
    }

    // The results in a document, whose frame is as it must be.
    static json results_of(const std::string &text, const std::string &command) {
        const json parsed = json::parse(text, nullptr, false);
        EXPECT_TRUE(parsed.is_object() && parsed["schema"] == 1 && parsed["command"] == command) << text;
        return parsed.is_object() ? parsed["results"] : json::array();
    }

    // The results of a run that succeeds.
    static json document(std::vector<std::string> arguments) {
        arguments.push_back("--json");
        const ProgramResult result = run(arguments);
        EXPECT_EQ(result.status, 0) << result.output;
        return results_of(result.output, arguments.front());
    }

    std::string input() const {
        return scratch_.file("input");
    }

    ScratchFolder scratch_;
};

void expect_result(const ProgramResult &result, int status, const std::string &output) {
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.output, output);
}

std::string be16(std::uint32_t value) {
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

std::string be32(std::uint32_t value) {
    return be16(value >> 16) + be16(value & 0xFFFF);
}

std::string item(std::uint32_t tag, const std::string &value) {
    return be16(tag) + be16(static_cast<std::uint32_t>(value.size())) + value;
}

std::string block(const std::vector<std::string> &items) {
    std::string bytes;
    for (const std::string &one : items) {
        bytes += one;
    }
    return be32(static_cast<std::uint32_t>(items.size())) + be32(static_cast<std::uint32_t>(bytes.size()) + 16) +
           std::string(8, '\0') + bytes;
}

std::string as_hex(const std::string &bytes, const std::string &separator) {
    std::string text;
    for (const char byte : bytes) {
        char pair[8];
        std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned char>(byte));
        text += (text.empty() ? "" : separator) + pair;
    }
    return text;
}

std::string delay_block() {
    return block({item(4, "\x01"), item(5, be32(3600))});
}

std::string board_block() {
    return block({item(1, "\x2A"), item(2, "\x2B"), item(3, delay_block())});
}

constexpr const char *kBoardText = "block: 3 items, 59 bytes\n"
                                   "  tag 1, length 1, info1: 2a (42)\n"
                                   "  tag 2, length 1, info2: 2b (43)\n"
                                   "  tag 3, length 29, delayPowerOn\n"
                                   "    block: 2 items, 29 bytes\n"
                                   "      tag 4, length 1, delayFlag: 01 (1)\n"
                                   "      tag 5, length 4, delayTime: 00 00 0e 10 (3600)\n";

// ---- Command line

TEST_F(Inspect, CommandLine_WrongOnesSayWhyAndEndWith2) {
    const struct {
        const char *name;
        std::vector<std::string> arguments;
        const char *message;
    } cases[] = {
        {"nothing", {}, "A subcommand is required"},
        {"an unknown command", {"frobnicate"}, "orva-inspect: frobnicate is not a command\n"},
        {"a misspelt command", {"pakcet"}, "orva-inspect: pakcet is not a command; did you mean packet?\n"},
        {"an unknown option", {"crc", "--fast", "x"}, "--fast"},
        {"no code", {"code"}, "orva-inspect: "},
        {"codes and the list", {"code", "--list", "1"}, "excludes"},
        {"a code of 33 bits", {"code", "0x100000000"}, "0x100000000 is not a number"},
        {"a code with a tail", {"code", "12z"}, "12z is not a number"},
        {"an empty code", {"code", ""}, " is not a number"},
        {"a bare prefix", {"code", "0x"}, "0x is not a number"},
        {"a signed prefix", {"code", "0x-1"}, "0x-1 is not a number"},
        {"no board type", {"port"}, "At least 1 option from [NUMBER|NAME,--list] is required"},
        {"no stub", {"stub"}, "At least 1 option from [NUMBER|NAME,--list] is required"},
        {"a sensor type of 9 bits", {"sensor-type", "256"}, "256 is not a number from 0 to 255"},
        {"no file to sum", {"crc"}, "FILE is required"},
        {"an unknown record",
         {"tlv", "--record", "fan", "-"},
         "fan not in {temp,vlt,fmea,pwrsup,delay,board,pwrs,model}"},
        {"two layouts", {"encode", "--family", "Req", "--record", "temp", "-"}, "excludes"},
        {"an unknown family", {"message", "--family", "Nothing", "-"}, "Nothing not in {SwitchOver,"},
        {"one file to compare", {"diff", "--family", "Req", "x"}, "FILE"},
        {"three files to compare", {"diff", "--family", "Req", "x", "y", "z"}, "orva-inspect: "},
        {"an unknown colour", {"--color", "red", "code", "1"}, "red not in {auto,always,never}"},
        {"two forms", {"tlv", "--hex", "--binary", "-"}, "excludes"},
        {"an unknown bus", {"packet", "--bus", "can", "-"}, "can not in {udp,ipmb}"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.name);
        const ProgramResult result = run(one.arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_NE(result.output.find(one.message), std::string::npos) << result.output;
        EXPECT_TRUE(result.output.starts_with("orva-inspect: ")) << result.output;
    }
}

TEST_F(Inspect, CommandLine_HelpNamesEveryCommand) {
    const ProgramResult result = run({"--help"});
    EXPECT_EQ(result.status, 0);
    for (const char *command : {"code", "tlv", "message", "encode", "diff", "packet", "log", "to-pcap", "port",
                                "stub", "sensor-type", "crc", "schema"}) {
        EXPECT_NE(result.output.find(std::string("\n  ") + command + " "), std::string::npos) << command;
        EXPECT_EQ(run({command, "--help"}).status, 0) << command;
    }
}

TEST_F(Inspect, Input_UnreadableFilesEndWith3) {
    for (const char *command : {"tlv", "message", "packet", "log", "encode", "crc"}) {
        SCOPED_TRACE(command);
        const std::string absent = scratch_.file("absent");
        expect_result(run({command, absent}), 3,
                      "orva-inspect: " + absent + " cannot be opened: No such file or directory\n");
        expect_result(run({command, scratch_.path()}), 3,
                      "orva-inspect: " + scratch_.path() + " cannot be read: Is a directory\n");
    }
}

TEST_F(Inspect, Input_EndlessFilesAreRefused) {
    expect_result(run({"tlv", "/dev/zero"}), 1, "orva-inspect: /dev/zero is too long: more than 1048576 bytes\n");
    expect_result(run({"packet", "/dev/zero"}), 1, "orva-inspect: /dev/zero is too long: more than 16777216 bytes\n");
}

TEST_F(Inspect, Output_ThatCannotBeWrittenEndsWith3) {
    for (const char *arguments : {"code 0xD6005D", "code --list --json", "--help", "--version", "schema"}) {
        SCOPED_TRACE(arguments);
        expect_result(orva_test::run_program({"/bin/sh", "-c", kInShell + arguments + " > /dev/full"}), 3,
                      "orva-inspect: the output cannot be written\n");
    }
}

// ---- Result codes

std::string number_in(const std::string &text) {
    std::smatch match;
    EXPECT_TRUE(std::regex_search(text, match, std::regex("^(0x[0-9A-Fa-f]+|[0-9]+)u$"))) << text;
    return match[1];
}

struct HeaderMacro {
    std::string name;
    std::string header;
    std::uint32_t value;
};

// Every macro of the public headers whose name begins with `prefix`; reasons are looked up in `reasons`.
std::vector<HeaderMacro> header_macros(const std::string &prefix,
                                       const std::map<std::string, std::uint32_t> &reasons) {
    const std::regex define("^#define (" + prefix + "[A-Z0-9_]+)\\s+([^/]*[^/ ])");
    const std::regex result("^ORVA_RESULT\\((\\w+), (\\w+)\\)$");
    std::vector<HeaderMacro> macros;
    for (const auto &entry : std::filesystem::directory_iterator(std::string(ORVA_TEST_SOURCE_DIR) + "/include")) {
        std::istringstream lines(read_file(entry.path()));
        for (std::string line; std::getline(lines, line);) {
            for (std::string more; line.ends_with('\\') && std::getline(lines, more);) {
                line.back() = ' ';
                line += more;
            }
            std::smatch macro;
            if (!std::regex_search(line, macro, define)) {
                continue;
            }
            const std::string body = macro[2];
            std::smatch parts;
            std::uint32_t value = 0;
            if (std::regex_match(body, parts, result)) {
                value = static_cast<std::uint32_t>(std::stoul(number_in(parts[1]), nullptr, 0)) << 16 |
                        reasons.at(parts[2]);
            } else {
                value = static_cast<std::uint32_t>(std::stoul(number_in(body), nullptr, 0));
            }
            macros.push_back({macro[1], entry.path().filename(), value});
        }
    }
    return macros;
}

TEST_F(Inspect, Code_EveryNamedCodeOfTheHeadersIsListed) {
    std::map<std::string, std::uint32_t> reasons;
    for (const HeaderMacro &macro : header_macros("ORVA_REASON_", {})) {
        reasons[macro.name] = macro.value;
    }
    ASSERT_EQ(reasons.size(), 18u);
    const std::vector<HeaderMacro> macros = header_macros("ORVA_ERR_", reasons);
    ASSERT_GE(macros.size(), 100u);
    std::vector<std::string> arguments = {"code"};
    for (const HeaderMacro &macro : macros) {
        arguments.push_back(std::to_string(macro.value));
    }
    const json codes = document(arguments);
    ASSERT_EQ(codes.size(), macros.size());
    for (std::size_t i = 0; i < macros.size(); ++i) {
        const json &names = codes[i]["names"];
        const auto row =
            std::find_if(names.begin(), names.end(), [&](const json &one) { return one["name"] == macros[i].name; });
        ASSERT_NE(row, names.end()) << macros[i].name << " is not listed";
        EXPECT_EQ((*row)["header"], macros[i].header) << macros[i].name;
        EXPECT_EQ(codes[i]["code"], macros[i].value);
        EXPECT_EQ(codes[i]["site"], macros[i].value >> 16);
        EXPECT_EQ(codes[i]["reason"], macros[i].value & 0xFFFF);
    }
}

TEST_F(Inspect, Code_EveryReasonOfTheHeadersIsNamed) {
    for (const HeaderMacro &macro : header_macros("ORVA_REASON_", {})) {
        const ProgramResult result = run({"code", std::to_string(0x10000 | macro.value)});
        EXPECT_NE(result.output.find(' ' + macro.name + ": "), std::string::npos) << result.output;
    }
}

TEST_F(Inspect, Code_FunctionsNamedAreExportedAndDocumentTheCode) {
    std::set<std::string> exported;
    std::istringstream lines(read_file(std::string(ORVA_TEST_SOURCE_DIR) + "/abi/exports.txt"));
    for (std::string line; std::getline(lines, line);) {
        exported.insert(line);
    }
    std::map<std::string, std::uint32_t> reasons;
    for (const HeaderMacro &macro : header_macros("ORVA_REASON_", {})) {
        reasons[macro.name] = macro.value;
    }
    for (const HeaderMacro &macro : header_macros("ORVA_ERR_", reasons)) {
        const std::string header = read_file(std::string(ORVA_TEST_SOURCE_DIR) + "/include/" + macro.header);
        const json codes = document({"code", std::to_string(macro.value)});
        for (const json &row : codes[0]["names"]) {
            if (row["name"] != macro.name) {
                continue;
            }
            EXPECT_FALSE(row["functions"].empty()) << macro.name;
            for (const json &function : row["functions"]) {
                EXPECT_EQ(exported.count(function), 1u) << function;
                EXPECT_NE(header.find(function.get<std::string>() + "("), std::string::npos) << function;
            }
        }
    }
}

TEST_F(Inspect, Code_ShowsSiteReasonAndNames) {
    expect_result(run({"code", "0xD6005D", "13959169", "0xFFFF1234", "22", "1", "0"}), 1,
                  "0x00d6005d  site 0xd6, reason 0x5d ORVA_REASON_ARGUMENT: invalid argument\n"
                  "  ORVA_ERR_QUEUE_WRITE_ARGUMENT (orva_comm.h), returned by ORVA_QueueWrite, ORVA_QueueSynWrite, "
                  "ORVA_QueueAsyWrite, ORVA_AGENT_WriteQueue\n"
                  "0x00d50001  site 0xd5, reason 0x01 ORVA_REASON_OTHER: other failure, or lock failed\n"
                  "  ORVA_ERR_LIST_DELETE_ID_NULL (orva_list.h), returned by ORVA_DeleteNodeInListById\n"
                  "0xffff1234  site 0xffff, reason 0x1234 (unknown)\n"
                  "  no name of the library\n"
                  "0x00000016  no site\n"
                  "  ORVA_ERR_TIME_ARGUMENT (orva_comm.h), returned by KELD_LOCAL_SystimeGet, ORVA_GMT_SystimeGet\n"
                  "0x00000001  no site\n"
                  "  ORVA_FAILED (orva_types.h)\n"
                  "0x00000000  no site\n"
                  "  ORVA_OK (orva_types.h)\n");
}

TEST_F(Inspect, Code_WithoutANameIsNull) {
    const ProgramResult result = run({"code", "--json", "0xFFFF1234", "1"});
    EXPECT_EQ(result.status, 1);
    const json codes = results_of(result.output, "code");
    ASSERT_EQ(codes.size(), 2u);
    EXPECT_TRUE(codes[0].is_null());
    EXPECT_EQ(codes[1]["names"][0]["name"], "ORVA_FAILED");
}

TEST_F(Inspect, Code_IsFoundByNameAndByTheFunctionsThatReturnIt) {
    const json by_name = document({"code", "orva_err_QUEUE_WRITE_ARGUMENT", "ORVA_OK"});
    ASSERT_EQ(by_name.size(), 2u);
    EXPECT_EQ(by_name[0]["code"], 0xD6005D);
    EXPECT_EQ(by_name[1]["code"], 0);
    const json by_function = document({"code", "ORVA_QueueWrite"});
    ASSERT_EQ(by_function.size(), 3u);
    for (const json &code : by_function) {
        const bool returned = std::ranges::any_of(code["names"], [](const json &name) {
            return std::ranges::find(name["functions"], "ORVA_QueueWrite") != name["functions"].end();
        });
        EXPECT_TRUE(returned) << code;
    }
    expect_result(
        run({"code", "ORVA_ERR_QUEUE_WRITE_ARGUMNT"}), 1,
        "orva-inspect: no code and no function that returns one is called \"ORVA_ERR_QUEUE_WRITE_ARGUMNT\"; "
        "did you mean ORVA_ERR_QUEUE_WRITE_ARGUMENT?\n");
    expect_result(run({"code", "D6005D"}), 1,
                  "orva-inspect: no code and no function that returns one is called \"D6005D\"; hexadecimal numbers "
                  "begin with 0x\n");
}

TEST_F(Inspect, Code_ListHoldsEveryNamedCodeOnce) {
    const json codes = document({"code", "--list"});
    std::set<std::uint32_t> listed;
    for (const json &code : codes) {
        EXPECT_TRUE(listed.insert(code["code"].get<std::uint32_t>()).second) << code;
        EXPECT_FALSE(code["names"].empty()) << code;
    }
    std::map<std::string, std::uint32_t> reasons;
    for (const HeaderMacro &macro : header_macros("ORVA_REASON_", {})) {
        reasons[macro.name] = macro.value;
    }
    for (const HeaderMacro &macro : header_macros("ORVA_ERR_", reasons)) {
        EXPECT_EQ(listed.count(macro.value), 1u) << macro.name;
    }
}

// ---- Messages

// Two temperature readings in network byte order.
std::string readings_body() {
    return be32(2) + be32(5) + be32(0) + be32(9) + std::string("\0\0\0\2\0\0\0\0", 8) + be32(42) + be32(0) +
           be32(77) + be32(0);
}

std::string chassis_datagram(const std::string &frame, std::uint32_t net_fn, std::uint32_t command) {
    return "ORCH" + be32(7) + be32(static_cast<std::uint32_t>(frame.size())) + static_cast<char>(net_fn) +
           be16(command) + '\1' + frame;
}

std::string as_host(std::string body) {
    for (std::size_t at = 0; at + 4 <= body.size(); at += 4) {
        if (at != 16) { // the count is a byte
            std::reverse(body.begin() + static_cast<std::ptrdiff_t>(at),
                         body.begin() + static_cast<std::ptrdiff_t>(at) + 4);
        }
    }
    return body;
}

TEST_F(Inspect, Message_ShowsEveryFieldWithUnitAndMeaning) {
    expect_result(
        run_on(readings_body(), {"message", "--binary", "--family", "TempInfo"}), 0,
        "TempInfo, body in network byte order, 40 bytes: Temperature readings of a board\n"
        "  000000  req_or_reply       2                         1 in a request, 2 in a reply\n"
        "  000004  src_slot           5 slot                    Sender, 0 to 30\n"
        "  000008  dest_slot          0 slot                    Receiver; 0xFFFFFFFF in a request means every "
        "board\n"
        "  00000c  word_12            9                         Fourth word of the header; its meaning is "
        "the family's own\n"
        "  000013  count              2 entries                 Number of readings\n"
        "  000018  readings[0].value  42 (0x2a)                 Reading of the sensor\n"
        "  000020  readings[1].value  77 (0x4d)                 Reading of the sensor\n");
}

TEST_F(Inspect, Message_AnnotatedBytesAreAllThere) {
    expect_result(run_on(readings_body() + std::string(20, '\0') + "z",
                         {"message", "--binary", "--annotate", "--family", "TempInfo"}),
                  0,
                  "TempInfo, body in network byte order, 61 bytes: Temperature readings of a board\n"
                  "  000000  00 00 00 02              req_or_reply       2\n"
                  "  000004  00 00 00 05              src_slot           5 slot\n"
                  "  000008  00 00 00 00              dest_slot          0 slot\n"
                  "  00000c  00 00 00 09              word_12            9\n"
                  "  000010  00 00 00\n"
                  "  000013  02                       count              2 entries\n"
                  "  000014  00 00 00 00\n"
                  "  000018  00 00 00 2a              readings[0].value  42 (0x2a)\n"
                  "  00001c  00 00 00 00\n"
                  "  000020  00 00 00 4d              readings[1].value  77 (0x4d)\n"
                  "  000024  00 00 00 00 00 00 00 00\n"
                  "  00002c  00 00 00 00 00 00 00 00\n"
                  "  000034  00 00 00 00 00 00 00 00\n"
                  "  00003c  7a\n");
}

TEST_F(Inspect, Message_EveryFormOfOneMessageGivesOneDocument) {
    const std::string body = readings_body();
    const std::string frame = be16(513) + std::string(6, '\0') + body;
    const struct {
        const char *name;
        std::string content;
        std::vector<std::string> options;
    } forms[] = {
        {"text", as_hex(body, " "), {"--family", "TempInfo"}},
        {"host order", as_host(body), {"--binary", "--host", "--family", "TempInfo"}},
        {"a frame", frame, {"--binary", "--net", "--framing", "frame", "--family", "TempInfo"}},
        {"a datagram, found", chassis_datagram(frame, 0x31, 2), {"--binary"}},
        {"a datagram, said", chassis_datagram(frame, 0x31, 2), {"--binary", "--framing", "datagram"}},
        {"after something else", "abc" + body, {"--binary", "--at", "3", "--family", "TempInfo"}},
    };
    for (const auto &form : forms) {
        SCOPED_TRACE(form.name);
        std::vector<std::string> arguments = {"message"};
        arguments.insert(arguments.end(), form.options.begin(), form.options.end());
        write_file(input(), form.content);
        arguments.push_back(input());
        json read = document(arguments)[0]["document"];
        const bool framed = read.erase("prefix") == 1;
        EXPECT_EQ(framed, form.content.size() > body.size() + 3 && form.content.find(frame) != std::string::npos);
        EXPECT_EQ(read, json::parse(R"({"family": "TempInfo", "req_or_reply": 2, "src_slot": 5, "dest_slot": 0,
                                        "word_12": 9, "count": 2, "readings": [{"value": 42}, {"value": 77}]})"));
    }
}

TEST_F(Inspect, Message_EveryTruncationNamesTheFieldAndTheBytesAroundIt) {
    const std::string whole = readings_body();
    for (std::size_t length = 0; length < whole.size() - 4;
         ++length) { // four bytes after the last value have no name
        SCOPED_TRACE(length);
        const ProgramResult result = run_on(whole.substr(0, length), {"message", "--binary", "--family", "TempInfo"});
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.output.find("the input ends before the field does [field "), std::string::npos);
    }
    const ProgramResult result = run_on(whole.substr(0, 34), {"message", "--binary", "--family", "TempInfo"});
    EXPECT_TRUE(result.output.ends_with("orva-inspect: at byte 32: the input ends before the field does [field "
                                        "readings[1].value, expected 4 bytes, 2 "
                                        "left]\n"
                                        "  000010  00 00 00 02 00 00 00 00 00 00 00 2a 00 00 00 00\n"
                                        "  000020  00 00\n"
                                        "          ^^\n"))
        << result.output;
}

TEST_F(Inspect, Message_RulesOfReceiversAreHeld) {
    const std::string frame = be16(1) + std::string(6, '\0') + readings_body();
    const auto with = [&](std::size_t at, const std::string &bytes) {
        std::string changed = chassis_datagram(frame, 0x31, 2);
        return changed.replace(at, bytes.size(), bytes);
    };
    const struct {
        const char *name;
        std::string content;
        const char *message;
    } cases[] = {
        {"a kind", with(24, be32(3)),
         "at byte 24: req_or_reply is 3, receivers refuse the message [field req_or_reply, expected 1 or 2]"},
        {"a sender", with(28, be32(31)),
         "at byte 28: src_slot is 31, receivers refuse the message [field src_slot, expected 0 to 30]"},
        {"a receiver", with(32, be32(0xFFFFFFFE)),
         "at byte 32: dest_slot is 4294967294, receivers refuse the message [field dest_slot, expected 0 to 30, or "
         "0xffffffff for every board]"},
        {"a count", with(43, "\xFF"),
         "at byte 43: count is 255, readings has room for 68 [field count, expected 0 to 68]"},
        {"a length", with(8, be32(47)),
         "at byte 8: the header says that 47 bytes follow [field transport.length, expected 48]"},
        {"a version", with(15, "\x02"),
         "at byte 15: the header's version is unknown [field transport.version, expected 1]"},
        {"a command", with(13, be16(99)),
         "at byte 12: no message has network function 0x31 and command 99 [field transport.net_fn, "},
        {"no family", "ORC",
         "at byte 0: only a datagram of the chassis says which message it carries [field family, "},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.name);
        const ProgramResult result = run_on(one.content, {"message", "--binary"});
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.output.find(std::string("\norva-inspect: ") + one.message), std::string::npos)
            << result.output;
    }
    EXPECT_EQ(run_on(with(32, be32(0xFFFFFFFF)), {"message", "--binary"}).status, 0);
}

TEST_F(Inspect, Message_TextsAreShownWithoutControlCharacters) {
    const std::string stub = be32(1) + be32(3) + be32(4) + "a\x1b\xe9" + std::string(27, '\0') + "xy";
    const ProgramResult result = run_on(stub, {"message", "--binary", "--family", "Simulate"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.output.find("stubs[0].name   \"a\\x1b\\xc3\\xa9\"  "), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("  note: at byte 12: stubs[0].name has bytes after its end\n"), std::string::npos);
}

// ---- Documents as bytes

TEST_F(Inspect, Encode_GivesHexadecimalTextOrBytes) {
    const std::string message =
        R"({"family": "TempInfo", "req_or_reply": 2, "src_slot": 5, "dest_slot": 0, "word_12": 9,
                                    "readings": [{"value": 42}, {"value": 77}]})";
    expect_result(run_on(message, {"encode"}), 0,
                  "00 00 00 02 00 00 00 05 00 00 00 00 00 00 00 09\n"
                  "00 00 00 02 00 00 00 00 00 00 00 2a 00 00 00 00\n"
                  "00 00 00 4d 00 00 00 00\n");
    expect_result(run_on(message, {"encode", "--binary", "--host", "--family", "TempInfo"}), 0,
                  as_host(readings_body()));
    expect_result(run_on(R"({"delayFlag": 1, "delayTime": 3600})", {"encode", "--binary", "--record", "delay"}), 0,
                  delay_block());
}

TEST_F(Inspect, Encode_TakesWhatMessageAndTlvWrite) {
    const std::string frame = chassis_datagram(be16(513) + std::string(6, '\0') + readings_body(), 0x31, 2);
    write_file(input(), frame);
    const std::string both =
        orva_test::run_program(
            {"/bin/sh", "-c", kInShell + "message --json " + input() + " | " + kInShell + "encode --binary"})
            .output;
    EXPECT_EQ(both, frame.substr(16));
    write_file(input(), board_block());
    const std::string block = orva_test::run_program({"/bin/sh", "-c",
                                                      kInShell + "tlv --record board --json " + input() + " | " +
                                                          kInShell + "encode --binary"})
                                  .output;
    EXPECT_EQ(block, board_block());
}

TEST_F(Inspect, Encode_EveryRefusalNamesTheMember) {
    const struct {
        const char *name;
        std::string content;
        std::vector<std::string> options;
        const char *message;
    } cases[] = {
        {"no JSON", "{\"family\": }", {}, "at byte 11: this is not JSON [field document, expected a JSON document]"},
        {"a number without bounds",
         R"({"family": "SoNameReq", "word_0": 1e999})",
         {},
         "a number is too large [field document, expected numbers that a double holds]"},
        {"no layout",
         "{}",
         {},
         "the document names no family and no record [field family, expected --family, or "
         "--record]"},
        {"an unknown family", R"({"family": "None"})", {}, "the document names no family"},
        {"another family",
         R"({"family": "Req"})",
         {"--family", "SoNameReq"},
         "family is another one [field family, expected SoNameReq]"},
        {"a list", "[]", {"--family", "Req"}, "document is not an object [field document, expected an object]"},
        {"a missing word", "{}", {"--family", "SoNameReq"}, "word_0 is missing [field word_0, expected an integer]"},
        {"a negative word",
         R"({"word_0": -1})",
         {"--family", "SoNameReq"},
         "word_0 is not an integer of 32 bits [field word_0, expected 0 to 4294967295]"},
        {"a long text",
         R"({"stubs": [{"type": 1, "value": 2, "name": "0123456789012345678901234567890123"}]})",
         {"--family", "Simulate"},
         "stubs[0].name is not a text that fits [field stubs[0].name, expected at most 32 characters from U+0001 to "
         "U+00FF]"},
        {"a wide character",
         R"({"stubs": [{"type": 1, "value": 2, "name": "\u0100"}]})",
         {"--family", "Simulate"},
         "stubs[0].name is not a text that fits"},
        {"a count",
         R"({"count": 2, "stubs": []})",
         {"--family", "Simulate"},
         "stubs has 0 entries; count is 2 and the bound 32 [field stubs, expected 2 entries]"},
        {"a misspelt member",
         R"({"word_0": 1, "wrod_0": 2})",
         {"--family", "SoNameReq"},
         "wrod_0 is unknown [field wrod_0, expected word_0]"},
        {"a hostile member",
         "{\"word_0\": 1, \"\\u001b[31m\": 2}",
         {"--family", "SoNameReq"},
         "\\x1b[31m is unknown"},
        {"a short list",
         R"({"pwr1": 1, "pwr2": [2], "pwr3": 3})",
         {"--record", "pwrs"},
         "pwr2 is not an integer of 8 bits [field pwr2, expected 0 to 255]"},
        {"a nested member",
         R"({"info1": 1, "info2": 2, "delayPowerOn": {"delayFlag": 1}})",
         {"--record", "board"},
         "delayPowerOn.delayTime is missing [field delayPowerOn.delayTime, "},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.name);
        std::vector<std::string> arguments = {"encode"};
        arguments.insert(arguments.end(), one.options.begin(), one.options.end());
        const ProgramResult result = run_on(one.content, arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output.find(std::string("orva-inspect: ") + one.message), 0u) << result.output;
    }
    EXPECT_EQ(run_on(std::string(200000, '['), {"encode"}).status, 1);
}

// ---- Differences

TEST_F(Inspect, Diff_ShowsTheFieldsThatDiffer) {
    const std::string other = scratch_.file("other");
    write_file(input(), readings_body());
    std::string changed = readings_body() + be32(5) + be32(0);
    changed[19] = 3;
    changed[27] = 43;
    write_file(other, changed);
    expect_result(run({"diff", "--binary", "--family", "TempInfo", input(), other}), 1,
                  "  count              2 entries  3 entries\n"
                  "  readings[0].value  42 (0x2a)  43 (0x2b)\n"
                  "  readings[2].value  -          5\n"
                  "3 fields differ\n");
    expect_result(run({"diff", "--binary", "--family", "TempInfo", other, other}), 0, "no field differs\n");
    write_file(input(), board_block());
    std::string block = board_block();
    block.back() = 'z';
    write_file(other, block);
    expect_result(run({"diff", "--binary", "--record", "board", input(), other}), 1,
                  "  delayPowerOn.delayTime  3600 (0xe10)  3706 (0xe7a)\n"
                  "1 field differs\n");
}

TEST_F(Inspect, Diff_BytesWithoutANameCountToo) {
    const std::string other = scratch_.file("other");
    write_file(input(), readings_body());
    std::string changed = readings_body();
    changed[29] = 1;
    write_file(other, changed);
    const ProgramResult result = run({"diff", "--binary", "--family", "TempInfo", input(), other});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.output.find("-  00 01 00 00\n1 field differs\n"), std::string::npos) << result.output;
    expect_result(run({"diff", "--binary", "--family", "TempInfo", input(), scratch_.file("absent")}), 3,
                  "orva-inspect: " + scratch_.file("absent") + " cannot be opened: No such file or directory\n");
}

TEST_F(Inspect, Diff_CountsMembersThatOccurOften) {
    const std::string other = scratch_.file("other");
    const std::vector<std::string> items(20000, item(4, "\1"));
    std::string bytes = block(items);
    write_file(input(), bytes);
    bytes.back() = 2;
    write_file(other, bytes);
    expect_result(run({"diff", "--binary", "--record", "delay", input(), other}), 1,
                  "  delayFlag #20000  1  2\n"
                  "1 field differs\n");
}

TEST_F(Inspect, Diff_NumbersMembersFromTheSecondOn) {
    const std::string other = scratch_.file("other");
    write_file(input(), block({item(4, "\1"), item(4, "\1"), item(4, "\1")}));
    write_file(other, block({item(4, "\3"), item(4, "\2"), item(4, "\1")}));
    expect_result(run({"diff", "--binary", "--record", "delay", input(), other}), 1,
                  "  delayFlag     1  3\n"
                  "  delayFlag #2  1  2\n"
                  "2 fields differ\n");
}

TEST_F(Inspect, Files_AreReadOneAfterTheOther) {
    const std::string good = scratch_.file("good");
    const std::string bad = scratch_.file("bad");
    write_file(good, delay_block());
    write_file(bad, delay_block().substr(0, 20));
    const ProgramResult result = run({"tlv", "--binary", good, bad, scratch_.file("absent"), good});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.output.find("== " + good + "\nblock: 2 items"), 0u) << result.output;
    EXPECT_NE(result.output.find("orva-inspect: " + bad + ": at byte 4: block truncated"), std::string::npos);
    EXPECT_NE(result.output.find("absent cannot be opened"), std::string::npos);
    EXPECT_NE(result.output.find("== " + good, 1), std::string::npos);
    EXPECT_EQ(run({"tlv", "--binary", bad, good}).status, 1);
    EXPECT_EQ(document({"crc", good, good}).size(), 2u);
}

TEST_F(Inspect, Colour_IsForTerminalsAndOnDemand) {
    write_file(input(), readings_body());
    const std::vector<std::string> arguments = {"message", "--binary", "--family", "TempInfo", input()};
    const auto with = [&](const std::string &when, const std::vector<std::string> &environment) {
        std::vector<std::string> all = {kProgram, "--color", when};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return orva_test::run_program(all, environment).output;
    };
    const std::string plain = run(arguments).output;
    EXPECT_EQ(plain.find('\x1b'), std::string::npos);
    EXPECT_EQ(with("auto", {}), plain);
    EXPECT_EQ(with("never", {}), plain);
    const std::string coloured = with("always", {"NO_COLOR=1"});
    EXPECT_NE(coloured.find("\x1b[36mcount"), std::string::npos);
    EXPECT_EQ(std::regex_replace(coloured, std::regex("\x1b\\[[0-9]*m"), ""), plain);
    // A terminal of script's own.
    const auto terminal = [&](const std::string &environment) {
        return orva_test::run_program({"/usr/bin/script", "-qec",
                                       environment + kInShell + "message --binary --family TempInfo " + input(),
                                       "/dev/null"})
            .output;
    };
    if (std::filesystem::exists("/usr/bin/script")) {
        EXPECT_NE(terminal("").find("\x1b[36mcount"), std::string::npos);
        EXPECT_EQ(terminal("NO_COLOR=1 ").find('\x1b'), std::string::npos);
    }
}

// ---- TLV blocks

// What xxd and hexdump -C print of bytes; a row like the one before becomes a star in the latter.
std::string as_dump(const std::string &bytes, bool bars) {
    std::string text;
    std::string last;
    bool starred = false;
    for (std::size_t at = 0; at < bytes.size(); at += 16) {
        const std::string row = bytes.substr(at, 16);
        if (bars && row == last) {
            text += starred ? "" : "*\n";
            starred = true;
            continue;
        }
        starred = false;
        last = row;
        char offset[24];
        std::snprintf(offset, sizeof offset, "%08zx", at);
        std::string shown;
        for (const char byte : row) {
            shown += byte > ' ' && byte < 0x7F ? byte : '.';
        }
        text += offset + (bars ? "  " + as_hex(row, " ") + "  |" + shown + "|\n"
                               : ": " + as_hex(row, " ") + "  " + shown + "\n");
    }
    char end[24];
    std::snprintf(end, sizeof end, "%08zx\n", bytes.size());
    return bars ? text + end : text;
}

TEST_F(Inspect, Tlv_DumpsAreReadAsTheirBytes) {
    const std::string blocks[] = {board_block(), block({item(1, std::string(100, 'a')), item(2, "fe|20  ")})};
    for (const std::string &bytes : blocks) {
        const ProgramResult binary = run_on(bytes, {"tlv", "--binary"});
        for (const bool bars : {false, true}) {
            expect_result(run_on(as_dump(bytes, bars), {"tlv"}), binary.status, binary.output);
            expect_result(run_on(as_dump(bytes, bars), {"tlv", "--hex"}), binary.status, binary.output);
        }
    }
}

TEST_F(Inspect, Tlv_DumpsThatAreNotWholeAreRefusedWithTheirLine) {
    const std::string first = "00000000: 0000 0002  ....\n";
    expect_result(run_on(first + "00000008: 00  .\n", {"tlv"}), 1,
                  "orva-inspect: not a hexadecimal dump: line 2: offset 8 after 4 bytes\n");
    expect_result(run_on(first + "hello\n", {"tlv"}), 1, "orva-inspect: not a hexadecimal dump: line 2: no offset\n");
    expect_result(run_on(first + "*\n00000020: 00  .\n", {"tlv"}), 1,
                  "orva-inspect: not a hexadecimal dump: line 3: the lines before it cannot be repeated up to this "
                  "offset\n");
    expect_result(run_on("00000000: 0000 000g  ....\n", {"tlv"}), 1,
                  "orva-inspect: not hexadecimal text: no pair of digits at character 8\n"
                  "  0000 000g\n         ^\n");
    expect_result(run_on(first + "*\n", {"tlv"}), 1,
                  "orva-inspect: not a hexadecimal dump: line 2: a star at the end\n");
}

TEST_F(Inspect, Tlv_EveryFormOfOneBlockReadsTheSame) {
    const std::string bytes = board_block();
    const struct {
        const char *name;
        std::string content;
        std::vector<std::string> options;
    } forms[] = {
        {"binary", bytes, {}},
        {"binary, said", bytes, {"--binary"}},
        {"digits", as_hex(bytes, ""), {}},
        {"pairs", as_hex(bytes, " ") + "\n", {}},
        {"pairs, said", as_hex(bytes, "\t\r\n"), {"--hex"}},
        {"colons", as_hex(bytes, ":"), {}},
        {"a list of C", "0x" + as_hex(bytes, ", 0x"), {}},
    };
    for (const auto &form : forms) {
        SCOPED_TRACE(form.name);
        std::vector<std::string> arguments = {"tlv", "--record", "board"};
        arguments.insert(arguments.end(), form.options.begin(), form.options.end());
        expect_result(run_on(form.content, arguments), 0, kBoardText);
    }
}

TEST_F(Inspect, Tlv_ReadsTheStandardInput) {
    write_file(input(), board_block());
    for (const char *file : {"", " -"}) {
        expect_result(
            orva_test::run_program({"/bin/sh", "-c", kInShell + "tlv --record board" + file + " < " + input()}), 0,
            kBoardText);
    }
}

TEST_F(Inspect, Tlv_WithoutARecordShowsTagsOnly) {
    expect_result(run_on(block({item(7, "\xAB\xCD"), item(0x1234, "abc"), item(5, be32(3600))}), {"tlv"}), 0,
                  "block: 3 items, 37 bytes\n"
                  "  tag 7, length 2: ab cd (43981)\n"
                  "  tag 4660, length 3: 61 62 63\n"
                  "  tag 5, length 4: 00 00 0e 10 (3600)\n");
}

TEST_F(Inspect, Tlv_AnEmptyBlockIsAHeader) {
    expect_result(run_on(block({}), {"tlv"}), 0, "block: 0 items, 16 bytes\n");
}

TEST_F(Inspect, Tlv_TextThatIsNotHexSaysWhere) {
    const std::string message = "orva-inspect: not hexadecimal text: no pair of digits at character ";
    expect_result(run_on("00 0g", {"tlv", "--hex"}), 1, message + "4\n  00 0g\n     ^\n");
    expect_result(run_on("00 001", {"tlv"}), 1, message + "6\n  00 001\n       ^\n");
    expect_result(run_on("000x00", {"tlv"}), 1, message + "3\n  000x00\n    ^\n");
    expect_result(run_on("0x", {"tlv"}), 1, message + "1\n  0x\n  ^\n");
    expect_result(run_on(std::string(30, 'a') + "\n" + std::string(40, 'b') + "\x1b" + std::string(40, 'c') + "\n",
                         {"tlv", "--hex"}),
                  1,
                  message + "72\n  " + std::string(32, 'b') + "\\x1b" + std::string(31, 'c') + "\n" +
                      std::string(34, ' ') + "^\n");
}

struct RecordCase {
    const char *key;
    const char *tags; // tag:member:bytes, an exclamation mark where receivers do not store
    std::uint32_t length;
};

constexpr RecordCase kRecordCases[] = {
    {"temp",
     "1:tempNodeType:1 2:queryByChip:1 3:sensorNum:1 4:sensorType:1 5:chipIndex:1 6:sensorInitia:1 "
     "7:assertionEventMask:2 8:deassertionEventMask:2 9:uprMinorAlm:1 10:uprMajorAlm:1 11:uprFatalAlm:1 12:busId:1 "
     "13:negativegoingThre:1 14:positivegoingThre:1 15:lwrMinorAlm:1 16:lwrMajorAlm:1 17:lwrFatalAlm:1 18:cpuIndex:1 "
     "19:ownerId:1 20:ownerLun:1 21:i2cChannel:1 22:reserve:1 23:deviceModifier:1 24:sensorUnit3:1",
     138},
    {"vlt",
     "1:sensorNum:1 2:sensorMLS:1 3:rexpBexp:1 4:voltageId:1 5:assertionEventMask:2 6:deassertionEventMask:2 "
     "7:sensorInitia:1 8:nominalReading:1 9:uprMinorAlm:1 10:uprMajorAlm:1 11:uprFatalAlm:1 12:sensorType:1 "
     "13:negativegoingThre:1 14:positiveGoingThre:1 15:lwrMinorAlm:1 16:lwrMajorAlm:1 17:lwrFatalAlm:1 18:extra1:1! "
     "19:extra2:1! 20:extra3:1! 21:deviceModifier:1 22:sensorUnit3:1",
     128},
    {"fmea", "1:sensorNum_(sensor_id):1 2:sensorType:1 3:busId:1 4:voltageId_(reserve):1 5:slotId:1", 41},
    {"pwrsup", "1:slotId_(slave_address):1 2:voltageId_(reserve):1", 26},
    {"delay", "4:delayFlag:1 5:delayTime:4", 29},
    {"pwrs", "1:pwr1:1 2:pwr2:1 3:pwr3:1", 31},
    {"model",
     "1:ctlWord1:4 2:ctlWord2:4 3:ctlByte3:1 4:mngSlotNum:1 5:mngSlot:29 6:mngSlotType:29 7:ctlByte7:1 8:ctlByte8:1 "
     "9:ctlByte9:1 10:ctlByte10:1 11:ctlByte11:1 12:ctlByte12:1 13:ctlByte13:1 14:ctlByte14:1! 15:ctlByte15:1 "
     "16:ctlByte16:1 17:stackSlotNum:1 18:stackSlot:15",
     182},
};

TEST_F(Inspect, Tlv_RecordsNameEveryMember) {
    for (const RecordCase &record : kRecordCases) {
        SCOPED_TRACE(record.key);
        std::vector<std::string> items;
        std::string expected;
        std::istringstream tags(record.tags);
        for (std::string word; tags >> word;) {
            const std::size_t first = word.find(':');
            const std::size_t second = word.find(':', first + 1);
            const auto tag = static_cast<std::uint32_t>(std::stoul(word));
            const std::size_t width = std::stoul(word.substr(second + 1));
            const std::string value(width, static_cast<char>(0x40 + tag));
            items.push_back(item(tag, value));
            std::string member = word.substr(first + 1, second - first - 1);
            std::replace(member.begin(), member.end(), '_', ' ');
            std::uint64_t number = 0;
            for (std::size_t i = 0; i < width && width <= 4; ++i) {
                number = number << 8 | (0x40 + tag);
            }
            expected += "  tag " + std::to_string(tag) + ", length " + std::to_string(width) + ", " + member + ": " +
                        as_hex(value, " ") + (width <= 4 ? " (" + std::to_string(number) + ")" : "") +
                        (word.back() == '!' ? ", not stored by receivers\n" : "\n");
        }
        expected = "block: " + std::to_string(items.size()) + " items, " + std::to_string(record.length) +
                   " bytes\n" + expected;
        expect_result(run_on(block(items), {"tlv", "--record", record.key}), 0, expected);
    }
}

TEST_F(Inspect, Tlv_JsonCarriesTheNestedBlock) {
    write_file(input(), board_block());
    const json read = document({"tlv", "--record", "board", input()})[0];
    EXPECT_EQ(read["record"], "board");
    EXPECT_EQ(read["count"], 3);
    EXPECT_EQ(read["length"], 59);
    EXPECT_EQ(read["faults"], json::array());
    const json &nested = read["items"][2];
    EXPECT_EQ(nested["member"], "delayPowerOn");
    EXPECT_EQ(nested["stored"], true);
    EXPECT_EQ(nested["at"], 26);
    EXPECT_EQ(nested["blocks"][0]["at"], 30);
    EXPECT_EQ(nested["blocks"][0]["items"][1]["member"], "delayTime");
    EXPECT_EQ(nested["blocks"][0]["items"][1]["value"], 3600);
}

TEST_F(Inspect, Tlv_AnnotatedBytesAreAllThere) {
    const std::string bytes = block({item(3, delay_block() + "xy")}) + "z";
    expect_result(run_on(bytes, {"tlv", "--binary", "--record", "board", "--annotate"}), 0,
                  "  000000  00 00 00 01              count                          1 items\n"
                  "  000004  00 00 00 33              length                         51 (0x33) bytes\n"
                  "  000008  00 00 00 00 00 00 00 00\n"
                  "  000010  00 03                    delayPowerOn tag               3\n"
                  "  000012  00 1f                    delayPowerOn length            31 (0x1f) bytes\n"
                  "  000014  00 00 00 02              delayPowerOn.count             2 items\n"
                  "  000018  00 00 00 1d              delayPowerOn.length            29 (0x1d) bytes\n"
                  "  00001c  00 00 00 00 00 00 00 00\n"
                  "  000024  00 04                    delayPowerOn.delayFlag tag     4\n"
                  "  000026  00 01                    delayPowerOn.delayFlag length  1 bytes\n"
                  "  000028  01                       delayPowerOn.delayFlag         1\n"
                  "  000029  00 05                    delayPowerOn.delayTime tag     5\n"
                  "  00002b  00 04                    delayPowerOn.delayTime length  4 bytes\n"
                  "  00002d  00 00 0e 10              delayPowerOn.delayTime         3600 (0xe10)\n"
                  "  000031  78 79 7a\n");
    const ProgramResult cut = run_on(bytes.substr(0, 10), {"tlv", "--binary", "--annotate"});
    EXPECT_EQ(cut.status, 1);
    EXPECT_EQ(cut.output.find("  000000  00 00 00 01 00 00 00 33\n  000008  00 00\norva-inspect: at byte 0: "), 0u)
        << cut.output;
}

TEST_F(Inspect, Tlv_OddButDecodableBlocksAreNoted) {
    std::string reserved = block({item(1, "a"), item(2, "b"), item(3, "c")});
    reserved[9] = 1;
    const struct {
        const char *name;
        std::string bytes;
        const char *note;
    } cases[] = {
        {"reserved bytes", reserved, "at byte 8: the reserved bytes are not 0"},
        {"a strange tag", block({item(1, "a"), item(2, "b"), item(3, "c"), item(9, "d")}),
         "at byte 31: item 4, tag 9: no tag of the record, receivers skip it"},
        {"an absent tag", block({item(1, "a"), item(3, "c")}), "tag 2 pwr2 is absent"},
        {"a long value", block({item(1, "aa"), item(2, "b"), item(3, "c")}),
         "at byte 16: item 1, tag 1 pwr1: 2 value bytes, the member takes 1"},
        {"a tail", block({item(1, "a"), item(2, "b"), item(3, "c")}) + "xy", "2 bytes of the input after the block"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.name);
        const ProgramResult result = run_on(one.bytes, {"tlv", "--record", "pwrs"});
        EXPECT_EQ(result.status, 0);
        EXPECT_NE(result.output.find(std::string("  note: ") + one.note + "\n"), std::string::npos) << result.output;
    }
}

TEST_F(Inspect, Tlv_InconsistentBlocksSayWhatIsWrong) {
    const std::string good = item(1, "a");
    const auto with = [](std::uint32_t count, std::uint32_t length, const std::string &items) {
        return be32(count) + be32(length) + std::string(8, '\0') + items;
    };
    const struct {
        const char *name;
        std::string bytes;
        const char *message;
    } cases[] = {
        {"nothing", "", "at byte 0: block header truncated: 0 bytes left, it takes 16"},
        {"a short length", with(0, 15, ""), "at byte 4: block length 15 is less than the header's 16 bytes"},
        {"no length", with(1, 0, good), "at byte 4: block length 0 is less than the header's 16 bytes"},
        {"a huge length", with(1, 0xFFFFFFFF, good),
         "at byte 4: block truncated: 4294967295 bytes announced, 21 left"},
        {"a huge count", with(0xFFFFFFFF, 21, good),
         "at byte 21: item 2 of 4294967295 missing: 0 bytes left, tag and length take 4"},
        {"a small count", with(1, 26, good + good), "at byte 21: 5 bytes of the block after its last item"},
        {"an empty item", with(2, 25, good + item(2, "")),
         "at byte 21: item 2, tag 2 info2: length 0, receivers stop here"},
        {"a cut item header", with(2, 24, good + std::string("\0\2\0", 3)),
         "at byte 21: item 2 of 2 missing: 3 bytes left, tag and length take 4"},
        {"a long item", with(1, 22, be16(1) + be16(0xFFFF) + "ab"), "65535 value bytes announced, 2 left"},
        {"a short member", block({item(1, "a"), item(2, "b"), item(3, "c")}),
         "at byte 30: block header truncated: 1 byte left, it takes 16"},
        {"a cut nested block", block({item(3, delay_block().substr(0, 28))}),
         "at byte 24: block truncated: 29 bytes announced, 28 left"},
        {"a short nested member", block({item(3, block({item(4, "a"), item(5, "bcd")}))}),
         "at byte 41: item 2, tag 5 delayTime: 3 value bytes, the member takes 4"},
        {"an empty nested item", block({item(3, block({item(4, "")}))}),
         "at byte 36: item 1, tag 4 delayFlag: length 0, receivers stop here"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.name);
        const ProgramResult result = run_on(one.bytes, {"tlv", "--binary", "--record", "board"});
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.output.find(one.message), std::string::npos) << result.output;
        const ProgramResult machine = run_on(one.bytes, {"tlv", "--binary", "--record", "board", "--json"});
        EXPECT_EQ(machine.status, 1);
        const json faults =
            results_of(machine.output.substr(0, machine.output.find("orva-inspect: ")), "tlv")[0]["faults"];
        const auto says_it = [&](const json &fault) {
            return std::string(one.message).find("at byte " + std::to_string(fault["at"].get<int>()) + ": ") == 0 ||
                   fault["rule"].get<std::string>().find(one.message) != std::string::npos;
        };
        EXPECT_TRUE(std::ranges::any_of(faults, says_it)) << faults;
    }
}

TEST_F(Inspect, Tlv_EveryTruncationOfARecordIsFound) {
    const std::string whole = board_block();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const ProgramResult result = run_on(whole.substr(0, length), {"tlv", "--binary", "--record", "board"});
        EXPECT_EQ(result.status, 1) << length;
        EXPECT_NE(result.output.find("orva-inspect: at byte "), std::string::npos) << length << result.output;
    }
}

TEST_F(Inspect, Tlv_AgreesWithTheLibraryOnWhatIsDecodable) {
    // Each byte of a valid block set to each of some values: where the tool finds no fault, decoding is safe.
    const std::string whole = board_block();
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const int value : {0, 1, 0x1D, 0xFF}) {
            std::string bytes = whole;
            bytes[at] = static_cast<char>(value);
            const int status = run_on(bytes, {"tlv", "--binary", "--record", "board"}).status;
            const int decodable = orva_tlv_block_is_whole(bytes.data(), bytes.size(), g_orvaBoardInfoSyncToBakDataDes,
                                                          ORVA_BOARD_INFO_SYNC_ROWS);
            ASSERT_TRUE(status == 0 || status == 1) << at << ' ' << value;
            if (status == 0) {
                EXPECT_EQ(decodable, 1) << at << ' ' << value;
            }
        }
    }
}

// ---- Packet dumps

// A dump line's bytes: `count` of them, each the low byte of its index.
std::string dump_bytes(std::size_t first, std::size_t count) {
    std::string text;
    for (std::size_t i = first; i < first + count; ++i) {
        char pair[8];
        std::snprintf(pair, sizeof pair, " %02x", static_cast<unsigned>(i & 0xFF));
        text += pair;
    }
    return text;
}

std::string rows(std::size_t first, std::size_t count) {
    std::string text;
    for (std::size_t at = first; at < first + count; at += 16) {
        char offset[24];
        std::snprintf(offset, sizeof offset, "  %06zx ", at);
        text += offset + dump_bytes(at, std::min<std::size_t>(16, first + count - at)) + "\n";
    }
    return text;
}

TEST_F(Inspect, Packet_PiecesAreJoinedInAnyOrderAmongOtherLines) {
    const std::string log = "start of the log\n"
                            "2024-01-01 [77] debug: [0x1:2] name:" +
                            dump_bytes(662, 38) + "\r\n[0x2:1] rx: from 3: 0A ff (end)\n[Position: 0/1]nothing\n" +
                            "2024-01-01 [77] debug: [0x1:1] name:" + dump_bytes(0, 662) + "\n";
    expect_result(run_on(log, {"packet"}), 0,
                  "packet 0x1 name: 700 bytes in 2 pieces\n" + rows(0, 700) +
                      "packet 0x2 rx: from 3: 2 bytes in 1 piece\n"
                      "  000000  0a ff\n");
}

TEST_F(Inspect, Packet_MissingPiecesAreSaidAndKeepTheOffsets) {
    const std::string log = "[0x1f:2] n:" + dump_bytes(0, 662) + "\n[0x1f:12] n:" + dump_bytes(0, 4) + "\n";
    // A line of this packet takes 662 bytes while the piece number has one digit or two.
    expect_result(
        run_on(log, {"packet"}), 1,
        "packet 0x1f n: 7286 bytes in 2 pieces, not whole\n"
        "  -- piece 1 is missing, 662 bytes --\n" +
            [] {
                std::string text;
                for (std::size_t at = 0; at < 662; at += 16) {
                    char offset[24];
                    std::snprintf(offset, sizeof offset, "  %06zx ", 662 + at);
                    text += offset + dump_bytes(at, std::min<std::size_t>(16, 662 - at)) + "\n";
                }
                return text;
            }() +
            "  -- pieces 3 to 11 are missing, 5958 bytes --\n"
            "  001c72  00 01 02 03\n"
            "orva-inspect: 1 packet is not whole\n");
}

TEST_F(Inspect, Packet_TruncatedPiecesAreReported) {
    const std::string log = "[0x1:1] name:" + dump_bytes(0, 16) + "\n[0x1:2] name: aa\n";
    expect_result(run_on(log, {"packet"}), 1,
                  "packet 0x1 name: 663 bytes in 2 pieces, not whole\n" + rows(0, 16) +
                      "  -- piece 1 is cut, 646 bytes --\n"
                      "  000296  aa\n"
                      "orva-inspect: 1 packet is not whole\n");
}

TEST_F(Inspect, Packet_AFullLastPieceMayGoOn) {
    const ProgramResult result = run_on("[0x1:1] name:" + dump_bytes(0, 662) + "\n", {"packet"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.output.find("  note: the last piece is full, more pieces may be missing\n"), std::string::npos);
    EXPECT_EQ(run_on("[0x1:1] name:" + dump_bytes(0, 661) + "\n", {"packet"}).output.find("note"), std::string::npos);
}

TEST_F(Inspect, Packet_NumbersThatBeginAgainAreOtherPackets) {
    expect_result(run_on("[0x1:1] a: 01\n[0x1:1] b: 02\n[0x1:1] a: 03\n", {"packet"}), 0,
                  "packet 0x1 a: 1 byte in 1 piece\n  000000  01\n"
                  "packet 0x1 b: 1 byte in 1 piece\n  000000  02\n"
                  "packet 0x1 a: 1 byte in 1 piece\n  000000  03\n");
}

TEST_F(Inspect, Packet_LinesThatAreNoDumpsAreSkipped) {
    const std::string log =
        "[0x:1] a: 01\n[0xg:1] a: 01\n[0x1:0] a: 01\n[0x1:x] a: 01\n[0x1:1]a: 01\n[0x1:1] a 01\n"
        "[0x1:1] a:01\n[0x1:1] a: 1\n[0x1:1] a: 0g\n[0x1:1] a: 012\n[0x1:1] a:\n[0x100000000:1] a: 01\n"
        "[0x1:4294967296] a: 01\n[0x\n[0x1\n[0x1:\n[0x1:1\n[0x1:1]\n[0x1:1] ";
    expect_result(run_on(log, {"packet"}), 1, "orva-inspect: no packet dump found\n");
    expect_result(run_on("", {"packet"}), 1, "orva-inspect: no packet dump found\n");
}

TEST_F(Inspect, Packet_HostileNumbersAndNamesDoNoHarm) {
    const std::string name(3000, 'n');
    const std::string log = "[0x1:4294967295] a: 01\n[0xffffffff:1] " + name + ": 02\n[0x2:1] \x1b[31m\xff\\: 03\n";
    const ProgramResult result = run_on(log, {"packet"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.output.find("  -- pieces 1 to 4294967294 are missing, "), std::string::npos);
    EXPECT_NE(result.output.find("packet 0xffffffff " + name + ": 1 byte in 1 piece\n"), std::string::npos);
    EXPECT_NE(result.output.find("packet 0x2 \\x1b[31m\\xff\\\\: 1 byte in 1 piece\n"), std::string::npos);
    const ProgramResult machine = run_on("[0x2:1] \x1b[31m\xff: 03\n", {"packet", "--json"});
    EXPECT_EQ(machine.status, 0);
    EXPECT_EQ(results_of(machine.output, "packet")[0]["name"], "\x1b[31m\xEF\xBF\xBD");
}

TEST_F(Inspect, Packet_BusFieldsComeFromWholePacketsOfItsLengths) {
    const std::string udp = "[0x1:1] u: 00 00 00 00 00 00 00 00 00 00 00 00 06 01 02" + dump_bytes(15, 21) + "\n";
    const auto second_line = [](const ProgramResult &result) {
        std::istringstream lines(result.output);
        std::string line;
        std::getline(lines, line);
        std::getline(lines, line);
        return line;
    };
    EXPECT_EQ(second_line(run_on(udp, {"packet", "--bus", "udp"})), "  UDP: netFn 0x06, cmd 0x102");
    EXPECT_EQ(second_line(run_on("[0x1:1] u:" + dump_bytes(0, 35) + "\n", {"packet", "--bus", "udp"})),
              "  UDP: no fields, such a packet has no 35 bytes");
    EXPECT_EQ(second_line(run_on("[0x1:1] i: 00 01 02 c7 04 05 06 2a\n", {"packet", "--bus", "ipmb"})),
              "  IPMB: netFn 0x07, cmd 0x2a");
    EXPECT_EQ(second_line(run_on("[0x1:1] i: 00 01 02 c7 04 05\n", {"packet", "--bus", "ipmb"})),
              "  IPMB: no fields, such a packet has no 6 bytes");
    EXPECT_EQ(second_line(run_on("[0x1:2] i: 00 01 02 c7 04 05 06 2a\n", {"packet", "--bus", "ipmb"})),
              "  IPMB: no fields, the packet is not whole");
}

TEST_F(Inspect, Packet_JsonListsEveryPacketWithItsGaps) {
    const ProgramResult none = run_on("", {"packet", "--json"});
    expect_result(none, 1,
                  "{\n  \"schema\": 1,\n  \"command\": \"packet\",\n  \"results\": []\n}\n"
                  "orva-inspect: no packet dump found\n");
    const ProgramResult result = run_on("[0x1:2] i: 2a\n[0x2:1] i: 2b\n", {"packet", "--json"});
    EXPECT_EQ(result.status, 1);
    const json packets = results_of(result.output.substr(0, result.output.rfind("orva-inspect: ")), "packet");
    ASSERT_EQ(packets.size(), 2u);
    EXPECT_EQ(packets[0]["whole"], false);
    EXPECT_EQ(packets[0]["gaps"], json::parse(R"([{"offset": 0, "length": 663, "reason": "piece 1 is missing"}])"));
    EXPECT_EQ(packets[0]["runs"], json::parse(R"([{"offset": 663, "bytes": "2a"}])"));
    EXPECT_EQ(packets[1]["whole"], true);
}

TEST_F(Inspect, Packet_JsonCarriesBytesAndFields) {
    write_file(input(), "[0x1:1] i: 00 01 02 c7 04 05 06 2a\n");
    const json packets = document({"packet", "--bus", "ipmb", input()});
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(packets[0]["number"], 1);
    EXPECT_EQ(packets[0]["length"], 8);
    EXPECT_EQ(packets[0]["whole"], true);
    EXPECT_EQ(packets[0]["runs"], json::parse(R"([{"offset": 0, "bytes": "00 01 02 c7 04 05 06 2a"}])"));
    EXPECT_EQ(packets[0]["gaps"], json::array());
    EXPECT_EQ(packets[0]["netFn"], 7);
    EXPECT_EQ(packets[0]["cmd"], 0x2A);
}

std::ofstream *g_debug_lines = nullptr;

std::uint32_t write_debug_line(OrvaDebugRecord, const char *, std::uint32_t, const char *format, ...) {
    std::array<char, 2048> line{};
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
    *g_debug_lines << "debug " << line.data() << '\n';
    return 0;
}

TEST_F(Inspect, Packet_DumpsOfTheLibraryComeBackByteForByte) {
    std::uint32_t handle = 0;
    ASSERT_EQ(MIRO_HostStart(nullptr, &handle), 0u);
    ORVA_SetMemHandle(handle);
    ASSERT_EQ(ORVA_CreateMemPt(), ORVA_OK);
    std::ofstream lines(input());
    g_debug_lines = &lines;
    g_OrvaImlib.debug = write_debug_line;
    const std::size_t lengths[] = {1, 36, 661, 662, 663, 1323, 1324, 8000, 32768};
    for (const std::size_t length : lengths) {
        std::vector<std::uint8_t> packet(length);
        for (std::size_t i = 0; i < length; ++i) {
            packet[i] = static_cast<std::uint8_t>(i * 7 + length);
        }
        ORVA_DEBUG_OutPacket(ORVA_DUMP_MODULE_UDP, "to 3: x", packet.data(), static_cast<std::uint32_t>(length));
    }
    lines.close();
    const json packets = document({"packet", input()});
    ASSERT_EQ(packets.size(), std::size(lengths));
    for (std::size_t k = 0; k < packets.size(); ++k) {
        std::string bytes;
        for (std::size_t i = 0; i < lengths[k]; ++i) {
            bytes += static_cast<char>(i * 7 + lengths[k]);
        }
        EXPECT_EQ(packets[k]["name"], "to 3: x");
        EXPECT_EQ(packets[k]["whole"], true) << lengths[k];
        ASSERT_EQ(packets[k]["runs"].size(), 1u) << lengths[k];
        EXPECT_EQ(packets[k]["runs"][0]["bytes"], as_hex(bytes, " ")) << lengths[k];
    }
}

// ---- Logs

TEST_F(Inspect, Log_ShowsInOrderWhatTheLibraryLeft) {
    const std::string host = "2026-11-21 02:13:58.981 +00:00 demo[3404] ";
    const std::string log =
        "start\n" + host + "diagnostic a1=0 id=0x0ce41001 word3=3 a4=0 a5=0: [Position: -/3]fan \x1b[1mstuck\r\n" +
        "2026-01-01 00:00:00 [7] debug switch=0x0ce40064 id=0xce4bc006 name=NULL: [Position: 1/2]text\n" + host +
        "diagnostic a1=0 id=0x0ce41001 word3=3 a4=0 a5=0: [Position: 1/3][OrvaDiagMgr] DiagID:371 drop: 152 logs in "
        "a "
        "hour. keyID: 5 format: Invalid %s\n" +
        host +
        "process type=1 name=orva module=0x00010000 level=0: OrvaDiagMgr uiSwitch:1, nodeCount:372, curZone:2, "
        "uiErrCount:1 uiErrLine:167 startTime:600\n" +
        host + "process type=1 name=orva level=0: src/comm/orva_comm:994 diagId:371 Invalid packet\n" + host +
        "process type=1 name=orva level=0:     KeyID:5 SuccessNum:48, dropNum:152 [48  0  0  0  0  0  0  0  0  0  0  "
        "0 "
        " 0]\n" +
        host + "process type=1 name=orva level=0: OrvaDiagMgr local data end.\n" + "rx: 01 02 03 04 05 06 07 08\n" +
        "[0x1:1] from 3: 0a ff\n";
    expect_result(
        run_on(log, {"log"}), 0,
        "line 2, demo[3404], 2026-11-21 02:13:58.981 +00:00: diagnostic, chassis -, slot 3, id 0x0ce41001: "
        "fan \\x1b[1mstuck\n"
        "line 3, [7], 2026-01-01 00:00:00: debug, chassis 1, slot 2, id 0xce4bc006: text\n"
        "line 4, demo[3404], 2026-11-21 02:13:58.981 +00:00: diagnostic, chassis 1, slot 3, id 0x0ce41001: "
        "[OrvaDiagMgr] DiagID:371 drop: 152 logs in a hour. keyID: 5 format: Invalid %s\n"
        "  152 records of diagnostic id 371, key 5, were dropped in an hour\n"
        "line 5, demo[3404], 2026-11-21 02:13:58.981 +00:00: diagnostic manager, on, 372 ids, bucket 2, 600 "
        "s, 1 error, the last one at line 167\n"
        "  id 371, src/comm/orva_comm:994: Invalid packet\n"
        "    key 5: 48 let through in the last hour, 152 dropped\n"
        "line 9: 8 bytes after rx:\n"
        "  000000  01 02 03 04 05 06 07 08\n"
        "line 10: packet 0x1 from 3: 2 bytes in 1 piece\n"
        "  000000  0a ff\n");
    expect_result(run_on("nothing of it: 01 02 03 04 05 06 07\n[Position: x/3]\n", {"log"}), 1,
                  "orva-inspect: no dump and no diagnostic record found\n");
}

TEST_F(Inspect, Log_DecodesWhatIsToldAndWhatFollowsFromNetFnAndCommand) {
    const std::string frame = be16(1) + std::string(6, '\0') + readings_body();
    const auto dump = [](const std::string &bytes) { return "[0x1:1] to slot 3: " + as_hex(bytes, " ") + "\n"; };
    std::string foreign = chassis_datagram(frame, 0x31, 2);
    foreign.replace(0, 4, "OTHR");
    const struct {
        const char *name;
        std::string log;
        std::vector<std::string> options;
        const char *family; // null: stays bytes
    } cases[] = {
        {"a datagram", dump(chassis_datagram(frame, 0x31, 2)), {}, "TempInfo"},
        {"a datagram, another family told", dump(chassis_datagram(frame, 0x31, 2)), {"--family", "Req"}, "TempInfo"},
        {"another header", dump(foreign), {}, nullptr},
        {"another header on UDP", dump(foreign), {"--bus", "udp"}, "TempInfo"},
        {"on another bus", dump(foreign), {"--bus", "can"}, nullptr},
        {"a body", dump(readings_body()), {"--family", "TempInfo"}, "TempInfo"},
        {"a frame", dump(frame), {"--family", "TempInfo", "--framing", "frame"}, "TempInfo"},
        {"loose bytes", "rx: " + as_hex(chassis_datagram(frame, 0x31, 2), " ") + "\n", {}, "TempInfo"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.name);
        write_file(input(), one.log);
        std::vector<std::string> arguments = {"log", input()};
        arguments.insert(arguments.end(), one.options.begin(), one.options.end());
        const json entries = document(arguments);
        ASSERT_EQ(entries.size(), 1u);
        if (one.family == nullptr) {
            EXPECT_TRUE(entries[0]["message"].is_null());
            continue;
        }
        EXPECT_EQ(entries[0]["message"]["family"], one.family);
        EXPECT_EQ(entries[0]["message"]["document"]["readings"], json::parse(R"([{"value": 42}, {"value": 77}])"));
    }
    const ProgramResult broken = run_on(dump(chassis_datagram(frame, 0x31, 2).substr(0, 60)), {"log"});
    EXPECT_EQ(broken.status, 1);
    EXPECT_TRUE(broken.output.ends_with(
        "  fault: at byte 8: the header says that 48 bytes follow [field transport.length, expected 44]\n"
        "orva-inspect: 1 message breaks a rule\n"))
        << broken.output;
}

TEST_F(Inspect, Log_KeepsThePiecesOfProcessesApart) {
    const std::string log = "2026-11-21T02:13:58Z host a[1]: [0x1:1] to x:" + dump_bytes(0, 660) +
                            "\n2026-11-21T02:13:58Z host b[2]: [0x1:2] to x: 09\n"
                            "2026-11-21T02:13:58Z host a[1]: [0x1:2] to x: aa\n";
    write_file(input(), log);
    const ProgramResult result = run({"log", "--json", input()});
    EXPECT_EQ(result.status, 1);
    const json entries = results_of(result.output.substr(0, result.output.find("orva-inspect: ")), "log");
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0]["source"], "a[1]");
    EXPECT_EQ(entries[0]["time"], "2026-11-21T02:13:58Z");
    EXPECT_EQ(entries[0]["pieces"], 2);
    EXPECT_EQ(entries[1]["whole"], false);
}

TEST_F(Inspect, Log_ReadsWhatTheLibraryAndTheHostPlatformWrite) {
    const std::string folder = scratch_.file("log");
    setenv("ORVA_HOST_LOG_DIR", folder.c_str(), 1);
    std::uint32_t handle = 0;
    ASSERT_EQ(MIRO_HostStart(nullptr, &handle), 0u);
    ORVA_SetMemHandle(handle);
    ASSERT_EQ(ORVA_CreateMemPt(), ORVA_OK);
    ASSERT_EQ(ORVA_DiagInit(10, 0), ORVA_OK);
    for (int i = 0; i < 50; ++i) {
        ORVA_DiagMgrNeedRestrain(7, 3, "my_source", 12, "slot %u is hot", 3u);
    }
    ASSERT_EQ(ORVA_DIAGLOG(0, 0xCE41001, 0, 0, 0, "slot %u is hot", 3u), 0u);
    for (int i = 0; i < 3600; ++i) {
        ORVA_DiagMgrTimerSchdule();
    }
    ORVA_DiagMgrPrintLocalData();
    const json records = document({"log", folder + "/diagnostic.log"});
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0]["kind"], "diagnostic");
    EXPECT_EQ(records[0]["text"], "slot 3 is hot");
    EXPECT_EQ(records[0]["id"], 0xCE41001);
    EXPECT_EQ(records[0]["dropped"], nullptr);
    EXPECT_EQ(records[1]["dropped"],
              json::parse(R"({"diagId": 7, "count": 2, "keyId": 3, "format": "slot 3 is hot"})"));
    const json managers = document({"log", folder + "/process.log"});
    ASSERT_EQ(managers.size(), 1u);
    EXPECT_EQ(managers[0]["kind"], "manager");
    EXPECT_EQ(managers[0]["whole"], true);
    EXPECT_EQ(managers[0]["on"], true);
    EXPECT_EQ(managers[0]["nodes"][0]["diagId"], 7);
    EXPECT_EQ(managers[0]["nodes"][0]["file"], "my_source");
    EXPECT_EQ(managers[0]["nodes"][0]["line"], 12);
    EXPECT_EQ(managers[0]["nodes"][0]["keys"][0]["keyId"], 3);
    EXPECT_EQ(managers[0]["nodes"][0]["keys"][0]["passed"], 48);
}

TEST_F(Inspect, Log_ReadsFormattedPacketsOfTheLibrary) {
    const std::string bytes = chassis_datagram(be16(1) + std::string(6, '\0') + readings_body(), 0x31, 2);
    std::array<char, 512> text{};
    auto remaining = static_cast<std::uint32_t>(bytes.size());
    ORVA_DEUBG_FormatPacketToString(reinterpret_cast<const std::uint8_t *>(bytes.data()), remaining, &remaining,
                                    text.data(), text.size());
    ASSERT_EQ(remaining, 0u);
    write_file(input(), std::string("packet") + text.data() + "\n");
    const json entries = document({"log", input()});
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0]["bytes"], as_hex(bytes, " "));
    EXPECT_EQ(entries[0]["message"]["family"], "TempInfo");
}

std::string le16(std::uint32_t value) {
    const std::string bytes = be16(value);
    return {bytes.rbegin(), bytes.rend()};
}

std::string le32(std::uint32_t value) {
    return le16(value & 0xFFFF) + le16(value >> 16);
}

// A block of a pcapng file.
std::string capture_block(std::uint32_t type, const std::string &content) {
    const std::string length = le32(static_cast<std::uint32_t>(content.size()) + 12);
    return le32(type) + length + content + length;
}

std::string captured_at(std::uint32_t seconds_high, std::uint32_t seconds_low, std::string packet) {
    const std::string size = le32(static_cast<std::uint32_t>(packet.size()));
    packet.resize((packet.size() + 3) / 4 * 4);
    return capture_block(6, le32(0) + le32(seconds_high) + le32(seconds_low) + size + size + packet);
}

// From one address to the other, port 5301 both.
std::string udp_packet(std::uint32_t from, std::uint32_t to, const std::string &datagram) {
    const auto length = static_cast<std::uint32_t>(datagram.size()) + 8;
    return be16(0x4500) + be16(length + 20) + be32(0) + be16(0x4011) + be16(0) + be32(from) + be32(to) + be16(5301) +
           be16(5301) + be16(length) + be16(0) + datagram;
}

TEST_F(Inspect, Pcap_AnswersTheWidestSpanOfTimes) {
    constexpr std::uint32_t kHere = 0xAC1000FA;
    constexpr std::uint32_t kThere = 0xAC1001FA;
    const std::string frame = be16(1) + std::string(6, '\0') + readings_body();
    const std::string version = le16(1) + le16(0) + std::string(8, '\xFF');
    const std::string whole_seconds = le16(9) + le16(1) + std::string(4, '\0') + le32(0);
    const std::string request = udp_packet(kHere, kThere, chassis_datagram(frame, 0x30, 2));
    const std::string reply = udp_packet(kThere, kHere, chassis_datagram(frame, 0x31, 2));
    write_file(input(), capture_block(0x0A0D0D0A, le32(0x1A2B3C4D) + version) +
                            capture_block(1, le16(101) + le16(0) + le32(0) + whole_seconds) +
                            captured_at(0x80000000, 0, request) + captured_at(0x7FFFFFFF, 0xFFFFFFFF, reply));
    const std::string output = run({"pcap", input()}).output;
    EXPECT_NE(output.find("answers 1 after 9000000000.000000000 s\n"), std::string::npos) << output;
}

TEST_F(Inspect, ToPcap_EndsAsWhatHappened) {
    write_file(input(), "[0x1:1] to 3: 01 02\n");
    const std::string capture = scratch_.file("capture");
    expect_result(run({"to-pcap", input(), capture}), 0, capture + ": 1 packet\n");
    EXPECT_EQ(run({"to-pcap", input(), "-"}).output, read_file(capture));
    expect_result(run({"to-pcap", input(), "/dev/full"}), 3, "orva-inspect: /dev/full cannot be written\n");
    expect_result(run({"to-pcap", input(), scratch_.file("no/where")}), 3,
                  "orva-inspect: " + scratch_.file("no/where") + " cannot be written\n");
    expect_result(run({"to-pcap", scratch_.file("absent"), capture}), 3,
                  "orva-inspect: " + scratch_.file("absent") + " cannot be opened: No such file or directory\n");
    write_file(input(), "[0x1:2] to 3: 01 02\n");
    EXPECT_EQ(run({"to-pcap", input(), capture}).status, 1);
    write_file(input(), "nothing");
    expect_result(run({"to-pcap", input(), capture}), 1, "orva-inspect: no packet dump found\n");
}

// ---- Tables

TEST_F(Inspect, Port_ShowsTheRowOrTheBackupPorts) {
    expect_result(run({"port", "0x10011", "132886", "0x30700", "0x10293", "0x5"}), 1,
                  "board type 0x10011: interface bond0, waits for its address, number in the second-lowest octet\n"
                  "board type 0x20716: interface bond0, one try for its address, number in the second-lowest octet\n"
                  "board type 0x30700: interface veth0, one try for its address, number in the lowest octet\n"
                  "board type 0x10293: interface veth0, one try for its address, number in the second-lowest octet\n"
                  "orva-inspect: board type 0x5 is not in the table; its address comes from bond0, else veth0\n");
    EXPECT_EQ(document({"port", "0x30700"}),
              json::parse(R"([{"boardType": 198400, "hex": "0x30700", "interface": "veth0", "waitFlag": 0,
                               "octetSelect": 1}])"));
}

TEST_F(Inspect, Port_IsFoundByItsInterface) {
    const json ports = document({"port", "bond0"});
    ASSERT_FALSE(ports.empty());
    const auto count = std::ranges::count_if(
        g_boardPort, [](const BoardPortInfo &port) { return std::string(port.ifName) == "bond0"; });
    EXPECT_EQ(ports.size(), static_cast<std::size_t>(count));
    for (const json &port : ports) {
        EXPECT_EQ(port["interface"], "bond0");
    }
    expect_result(run({"port", "eth\x1b"}), 1, "orva-inspect: no board type has an interface eth\\x1b\n");
}

TEST_F(Inspect, Lists_HoldEveryRowOnce) {
    const json ports = document({"port", "--list"});
    ASSERT_EQ(ports.size(), std::size(g_boardPort));
    for (std::size_t i = 0; i < ports.size(); ++i) {
        EXPECT_EQ(ports[i]["boardType"], g_boardPort[i].boardType);
    }
    const json stubs = document({"stub", "--list"});
    ASSERT_EQ(stubs.size(), std::size_t{ORVA_STUB_TYPES});
    for (std::size_t i = 0; i < stubs.size(); ++i) {
        EXPECT_EQ(stubs[i]["type"], i);
        EXPECT_EQ(stubs[i]["name"], g_acStubParaBuf[i]);
    }
    const json types = document({"sensor-type", "--list"});
    std::set<int> codes;
    for (const json &type : types) {
        EXPECT_TRUE(codes.insert(type["code"].get<int>()).second);
        EXPECT_EQ(document({"sensor-type", type["name"].get<std::string>()})[0]["name"], type["name"]);
    }
    EXPECT_GT(codes.size(), 70u);
}

TEST_F(Inspect, Stub_FindsNamesNumbersAndComposedNames) {
    expect_result(run({"stub", "pmSwitch", "3_1_pmSwitch", "12", "0x0", "213", "nosuch\x1b"}), 1,
                  "stub type 0: pmSwitch\n"
                  "stub type 0: pmSwitch, the end of \"3_1_pmSwitch\"\n"
                  "stub type 12: spiStatus\n"
                  "stub type 0: pmSwitch\n"
                  "orva-inspect: there is no stub type 213, the last one is 212\n"
                  "orva-inspect: no stub matches \"nosuch\\x1b\"\n");
    EXPECT_EQ(document({"stub", "pmCable"}), json::parse(R"([{"asked": "pmCable", "type": 1, "name": "pmCable"}])"));
}

TEST_F(Inspect, SensorType_NamesKnownCodes) {
    expect_result(run({"sensor-type", "1", "0x04", "0xff", "0"}), 1,
                  "sensor type 0x01: temperature\n"
                  "sensor type 0x04: fan\n"
                  "sensor type 0xff: type end\n"
                  "orva-inspect: sensor type 0x00 is unknown\n");
    expect_result(run({"sensor-type", "FAN", "temprature"}), 1,
                  "sensor type 0x04: fan\n"
                  "orva-inspect: no sensor type is called \"temprature\"; did you mean temperature?\n");
    EXPECT_EQ(document({"sensor-type", "2"}), json::parse(R"([{"code": 2, "hex": "0x02", "name": "voltage"}])"));
}

// ---- Checksums

TEST_F(Inspect, Crc_GivesTheCheckValues) {
    expect_result(
        run_on("123456789", {"crc"}), 0,
        "9 bytes\n"
        "CRC-16/CCITT-FALSE        0x29b1  ORVA_COMM_Crc16CheckSum, start 0xffff\n"
        "CRC-16/XMODEM             0x31c3  ORVA_COMM_Crc16CheckSum, start 0\n"
        "CRC-16 shift-in register  0xbeef  ORVA_PWR_CheckCrc16Sum, start 0; 0 when the file ends in its CRC\n"
        "CRC-16 of an application  0x31c3  ORVA_LOAD_CalcAppCrc16Sum\n"
        "CRC-32                    0xcbf43926  ORVA_COMM_Crc32CheckSum\n");
    write_file(input(), "123456789\x31\xC3");
    EXPECT_EQ(document({"crc", input()})[0]["crc16ShiftIn"], 0);
}

TEST_F(Inspect, Crc_OfAnEmptyFileKeepsTheStartValues) {
    write_file(input(), "");
    json sums = document({"crc", input()})[0];
    EXPECT_EQ(sums["file"], input());
    sums.erase("file");
    EXPECT_EQ(sums, json::parse(R"({"length": 0, "crc16CcittFalse": 65535, "crc16Xmodem": 0, "crc16ShiftIn": 0,
                                    "crc16App": 0, "crc32": 0})"));
}

} // namespace
