// orva-inspect: result codes, TLV blocks, packet dumps and the library's tables, for people.
#include "commands.h"
#include "text.h"
#include "tlv_block.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace inspect;

struct Options {
    bool json = false;
    bool hex = false;
    bool list = false;
    bool binary = false;
    std::string path = "-";
    std::string record;
    std::string bus;
    Description description = Description::kText;
    std::vector<std::string> words;
};

CLI::Validator number_up_to(std::uint32_t limit) {
    const auto check = [limit](const std::string &text) {
        const auto number = number_of(text);
        return number && *number <= limit
                   ? std::string()
                   : printable(text) + " is not a number from 0 to " + std::to_string(limit) + ", decimal or with 0x";
    };
    return CLI::Validator(check, "NUMBER");
}

std::vector<std::uint32_t> numbers_of(const Options &options) {
    std::vector<std::uint32_t> numbers;
    for (const std::string &word : options.words) {
        numbers.push_back(*number_of(word));
    }
    return numbers;
}

InputForm form_of(const Options &options) {
    if (options.hex) {
        return InputForm::kHex;
    }
    return options.binary ? InputForm::kBinary : InputForm::kDetect;
}

std::optional<Bus> bus_of(const Options &options) {
    if (options.bus.empty()) {
        return std::nullopt;
    }
    return options.bus == "udp" ? Bus::kUdp : Bus::kIpmb;
}

class CommandLine {
public:
    CommandLine() : app_("Looks result codes, TLV blocks, packet dumps and table rows of the library up.") {
        app_.name("orva-inspect");
        app_.set_version_flag("--version", ORVA_INSPECT_VERSION);
        app_.add_flag("--json", options_.json, "Write JSON");
        app_.require_subcommand(1);
        add_code();
        add_tlv();
        add_packet();
        add_describe();
        add_numbers("port", "Board types: the interface to the management network", UINT32_MAX,
                    [this] { return inspect_ports(numbers_of(options_), options_.json); });
        add("stub", "Stub types and names", [this] { return inspect_stubs(options_.words, options_.json); })
            ->add_option("NAME|NUMBER", options_.words, "Stub name, bare or composed, or stub type")
            ->required();
        add_numbers("sensor-type", "Sensor types: their names", UINT8_MAX,
                    [this] { return inspect_sensor_types(numbers_of(options_), options_.json); });
        CLI::App *const crc = add("crc", "CRC-16 variants and CRC-32 of a file",
                                  [this] { return inspect_crc(options_.path, options_.json); });
        crc->add_option("FILE", options_.path, "File, - for the standard input")->required();
    }

    int run(int argc, char **argv) {
        try {
            app_.parse(argc, argv);
        } catch (const CLI::ParseError &error) {
            if (error.get_exit_code() == 0) {
                return app_.exit(error); // help or the version
            }
            fail(unknown_command(error).value_or(error.what()) + "\nRun orva-inspect --help for more information.");
            return kUsage;
        }
        const int status = command_();
        std::cout.flush();
        return std::cout ? status : fail("the output cannot be written");
    }

private:
    // Names the word that is not a sub-command, where the parser only says that one is required.
    std::optional<std::string> unknown_command(const CLI::ParseError &error) const {
        const std::vector<std::string> words = app_.remaining();
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success) || words.empty() ||
            !app_.get_subcommands().empty()) {
            return std::nullopt;
        }
        std::vector<std::string> names;
        for (const CLI::App *const command : app_.get_subcommands(nullptr)) {
            names.push_back(command->get_name());
        }
        const std::string near = nearest(words.front(), names);
        return printable(words.front()) + " is not a command" + (near.empty() ? "" : "; did you mean " + near + "?");
    }

    CLI::App *add(const std::string &name, const std::string &help, std::function<int()> command) {
        CLI::App *const added = app_.add_subcommand(name, help);
        added->fallthrough();
        added->callback([this, command = std::move(command)] { command_ = command; });
        return added;
    }

    void add_code() {
        CLI::App *const code = add("code", "Result codes: site, reason and names", [this] {
            return inspect_codes(options_.list ? every_code() : numbers_of(options_), options_.json);
        });
        CLI::Option *const numbers = code->add_option("NUMBER", options_.words, "Decimal, or hexadecimal with 0x")
                                         ->check(number_up_to(UINT32_MAX));
        CLI::Option *const list = code->add_flag("--list", options_.list, "Every code that the library names");
        list->excludes(numbers);
        code->require_option(1, 0);
    }

    void add_numbers(const std::string &name, const std::string &help, std::uint32_t limit,
                     std::function<int()> command) {
        add(name, help, std::move(command))
            ->add_option("NUMBER", options_.words, "Decimal, or hexadecimal with 0x")
            ->required()
            ->check(number_up_to(limit));
    }

    void add_tlv() {
        CLI::App *const tlv = add("tlv", "A TLV block: header, items, members", [this] {
            return inspect_tlv(options_.path, form_of(options_), find_record(options_.record), options_.json);
        });
        tlv->add_option("FILE", options_.path, "Block, binary or as hexadecimal text, - for the standard input")
            ->capture_default_str();
        std::vector<std::string> keys;
        for (const orva::wire::Record &record : orva::wire::kRecords) {
            keys.emplace_back(record.key);
        }
        tlv->add_option("--record", options_.record, "Record whose members the tags are")->check(CLI::IsMember(keys));
        CLI::Option *const hex = tlv->add_flag("--hex", options_.hex, "The input is hexadecimal text");
        tlv->add_flag("--binary", options_.binary, "The input is binary")->excludes(hex);
    }

    void add_describe() {
        CLI::App *const describe = add("describe", "The agent messages and sync records, byte by byte", [this] {
            return inspect_describe(options_.words, options_.json ? Description::kJson : options_.description);
        });
        describe->add_option("NAME", options_.words, "Family, converter, record key or table; none: all of them");
        const auto form = [this, describe](const std::string &name, Description description,
                                           const std::string &help) {
            return describe->add_flag_callback(
                name, [this, description] { options_.description = description; }, help);
        };
        CLI::Option *const forms[] = {
            form("--markdown", Description::kMarkdown, "Write the page docs/wire.md"),
            form("--json-schema", Description::kSchema, "Write a JSON Schema of messages and records as documents"),
            form("--lua", Description::kLua, "Write a Wireshark dissector"),
            form("--header", Description::kHeader, "Write include/orva_wire.h"),
        };
        for (CLI::Option *const one : forms) {
            for (CLI::Option *const other : forms) {
                if (one != other) {
                    one->excludes(other);
                }
            }
        }
    }

    void add_packet() {
        CLI::App *const packet = add("packet", "Packet dumps of a log, put together again", [this] {
            return inspect_packets(options_.path, bus_of(options_), options_.json);
        });
        packet->add_option("FILE", options_.path, "Log, - for the standard input")->capture_default_str();
        packet->add_option("--bus", options_.bus, "Show netFn and command of this bus's packets")
            ->check(CLI::IsMember({"udp", "ipmb"}));
    }

    Options options_;
    CLI::App app_;
    std::function<int()> command_;
};

} // namespace

int main(int argc, char **argv) {
    // The tool says itself what is wrong; the library's records would be in between.
    setenv("ORVA_HOST_LOG_CONSOLE", "0", 0);
    // A destructor of the JSON package asks for memory: without any the process ends there, in good order.
    std::set_terminate([] {
        std::fputs("orva-inspect: out of memory\n", stderr);
        std::_Exit(kFailed);
    });
    try {
        return CommandLine().run(argc, argv);
    } catch (const std::exception &error) {
        // Memory has run out, or a file cannot be read any further. The message is written without a stream, which
        // may be what failed.
        std::fprintf(stderr, "orva-inspect: %s\n", error.what());
        return kFailed;
    }
}
