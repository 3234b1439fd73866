// orva-inspect: result codes, TLV blocks, packet dumps and the library's tables, for people.
#include "commands.h"
#include "completion.h"
#include "text.h"
#include "tlv_block.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <optional>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace inspect;

struct Options {
    bool json = false;
    bool annotate = false;
    bool hex = false;
    bool list = false;
    bool binary = false;
    bool host = false;
    bool net = false;
    bool fields = false;
    std::string color = "auto";
    std::vector<std::string> paths = {"-"};
    std::string family;
    std::string framing = "detect";
    std::size_t at = 0;
    std::string record;
    std::string bus;
    std::string log;
    std::string capture;
    Description description = Description::kText;
    std::vector<std::string> words;
};

std::string number_problem(const std::string &text, std::uint32_t limit) {
    const auto number = number_of(text);
    return number && *number <= limit
               ? std::string()
               : printable(text) + " is not a number from 0 to " + std::to_string(limit) + ", decimal or with 0x";
}

CLI::Validator number_up_to(std::uint32_t limit) {
    return CLI::Validator([limit](const std::string &text) { return number_problem(text, limit); }, "NUMBER");
}

std::vector<std::uint32_t> numbers_of(const Options &options) {
    std::vector<std::uint32_t> numbers;
    for (const std::string &word : options.words) {
        numbers.push_back(*number_of(word));
    }
    return numbers;
}

// Where names begin with digits, too, only a whole number is one; elsewhere a word that begins like a number must be
// one.
CLI::Validator name_or_number_up_to(std::uint32_t limit, bool names_have_digits) {
    const auto check = [limit, names_have_digits](const std::string &text) {
        const bool is_name = names_have_digits ? !number_of(text)
                                               : !text.empty() && std::string_view("0123456789-+").find(text[0]) ==
                                                                      std::string_view::npos;
        return is_name ? std::string() : number_problem(text, limit);
    };
    return CLI::Validator(check, "");
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
    constexpr std::pair<const char *, Bus> kBuses[] = {
        {"udp", Bus::kUdp}, {"ipmb", Bus::kIpmb}, {"rs485", Bus::kRs485}, {"can", Bus::kCan}};
    return std::ranges::find(kBuses, options.bus, [](const auto &row) { return std::string(row.first); })->second;
}

Files files_of(const Options &options) {
    return {options.paths, form_of(options)};
}

Shown shown_of(const Options &options) {
    if (options.json) {
        return Shown::kJson;
    }
    return options.annotate ? Shown::kAnnotated : Shown::kTable;
}

MessageForm message_form(const Options &options) {
    constexpr std::pair<const char *, Framing> kFramings[] = {
        {"body", Framing::kBody}, {"frame", Framing::kFrame}, {"datagram", Framing::kDatagram}};
    MessageForm form;
    form.family = find_message(options.family);
    form.order = options.host ? Order::kHost : Order::kNet;
    form.at = options.at;
    for (const auto &[name, framing] : kFramings) {
        form.framing = options.framing == name ? framing : form.framing;
    }
    return form;
}

// Colours on a terminal, unless NO_COLOR is set to something; --color decides before it.
void choose_colour(const std::string &when) {
    const char *const no_color = std::getenv("NO_COLOR");
    const bool may = when == "always" || (when == "auto" && (no_color == nullptr || *no_color == '\0'));
    use_colour(may && (when == "always" || isatty(STDOUT_FILENO) == 1),
               may && (when == "always" || isatty(STDERR_FILENO) == 1));
}

class CommandLine {
public:
    CommandLine() : app_("Explains result codes, messages, blocks, dumps and table rows of the library.") {
        app_.name("orva-inspect");
        app_.set_version_flag("--version", ORVA_INSPECT_VERSION);
        app_.add_flag("--json", options_.json, "Write JSON");
        app_.add_option("--color", options_.color, "Colours: auto (on a terminal), always, never")
            ->check(CLI::IsMember({"auto", "always", "never"}))
            ->type_name("WHEN")
            ->capture_default_str();
        app_.require_subcommand(1);
        add_look_up("code", "Result codes: site, reason and names",
                    "code, name of one, or function that returns some", UINT32_MAX, inspect_codes);
        add_tlv();
        add_message();
        add_encode();
        add_diff();
        add_packet();
        add_log();
        add_to_pcap();
        add_pcap();
        add_describe();
        add_look_up("port", "Board types: the interface to the management network", "board type, or interface",
                    UINT32_MAX, inspect_ports);
        add_look_up("stub", "Stub types and names", "stub type, or name, bare or composed", UINT32_MAX,
                    inspect_stubs);
        add_look_up("sensor-type", "Sensor types: their names", "sensor type, or name", UINT8_MAX,
                    inspect_sensor_types);
        CLI::App *const crc = add("crc", "CRC-16 variants and CRC-32 of files",
                                  [this] { return inspect_crc(files_of(options_), options_.json); });
        crc->add_option("FILE", options_.paths, "Files, - for the standard input")->required();
        CLI::App *const schema = add("schema", "The JSON Schema of what the commands write with --json",
                                     [this] { return inspect_schema(options_.words); });
        schema->add_option("COMMAND", options_.words, "Commands; none: all of them")
            ->check(CLI::IsMember(commands_with_schema()));
        command_line::add_completion(app_, {{"code", "NUMBER|NAME", code_words},
                                            {"stub", "NUMBER|NAME", stub_words},
                                            {"port", "NUMBER|NAME", port_words},
                                            {"sensor-type", "NUMBER|NAME", sensor_type_words},
                                            {"describe", "NAME", description_words}});
    }

    int run(int argc, char **argv) {
        try {
            app_.parse(argc, argv);
        } catch (const CLI::ParseError &error) {
            if (error.get_exit_code() == 0) {
                app_.exit(error); // help or the version
                std::cout.flush();
                return std::cout ? kDone : fail_input_output("the output cannot be written");
            }
            fail(unknown_command(error).value_or(error.what()) + "\nRun orva-inspect --help for more information.");
            return kUsage;
        }
        choose_colour(options_.color);
        const int status = command_();
        std::cout.flush();
        return std::cout ? status : fail_input_output("the output cannot be written");
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

    void add_look_up(const std::string &name, const std::string &help, const std::string &words, std::uint32_t limit,
                     int (*look_up)(const std::vector<std::string> &, bool)) {
        CLI::App *const command = add(name, help, [this, look_up] { return look_up(options_.words, options_.json); });
        // A composed name of a stub begins with a number.
        CLI::Option *const asked = command->add_option("NUMBER|NAME", options_.words, "A " + words);
        if (name != "stub") {
            asked->check(name_or_number_up_to(limit, name == "sensor-type"));
        }
        command->add_flag("--list", options_.list, "All of them")->excludes(asked);
        command->require_option(1, 0);
    }

    // Files, and how they are to be read.
    void add_files(CLI::App *command, const std::string &help) {
        command->add_option("FILE", options_.paths, help + ", - for the standard input")->capture_default_str();
    }

    void add_forms(CLI::App *command) {
        CLI::Option *const hex = command->add_flag("--hex", options_.hex, "The input is hexadecimal text");
        command->add_flag("--binary", options_.binary, "The input is binary")->excludes(hex);
    }

    void add_annotate(CLI::App *command) {
        command->add_flag("--annotate", options_.annotate, "Every byte, with field and value beside it");
    }

    CLI::Option *add_record(CLI::App *command, const std::string &help) {
        std::vector<std::string> keys;
        for (const orva::wire::Record &record : orva::wire::kRecords) {
            keys.emplace_back(record.key);
        }
        return command->add_option("--record", options_.record, help)->check(CLI::IsMember(keys));
    }

    void add_tlv() {
        CLI::App *const tlv = add("tlv", "TLV blocks: header, items, members", [this] {
            return inspect_tlv(files_of(options_), find_record(options_.record), shown_of(options_));
        });
        add_files(tlv, "Blocks, binary or as hexadecimal text");
        add_record(tlv, "Record whose members the tags are");
        add_forms(tlv);
        add_annotate(tlv);
    }

    CLI::Option *add_family(CLI::App *command, const std::string &help) {
        std::vector<std::string> families;
        for (const orva::wire::Message *message : every_message()) {
            families.emplace_back(message->family);
        }
        return command->add_option("--family", options_.family, help)->check(CLI::IsMember(families));
    }

    CLI::Option *add_orders(CLI::App *command) {
        CLI::Option *const host = command->add_flag("--host", options_.host, "The message is in host byte order");
        command->add_flag("--net", options_.net, "The message is in network byte order, the default")->excludes(host);
        return host;
    }

    // How bytes are read as a message.
    CLI::Option *add_message_form(CLI::App *command) {
        CLI::Option *const family = add_family(command, "Message; a datagram of the chassis needs none");
        add_orders(command);
        command
            ->add_option("--framing", options_.framing,
                         "What is ahead of the body: nothing, a prefix, or the "
                         "chassis's header and a prefix")
            ->check(CLI::IsMember({"detect", "body", "frame", "datagram"}))
            ->capture_default_str();
        command->add_option("--at", options_.at, "Bytes ahead of the message that are something else")
            ->type_name("COUNT");
        return family;
    }

    void add_message() {
        CLI::App *const message = add("message", "Agent messages, field by field", [this] {
            return inspect_messages(files_of(options_), message_form(options_), shown_of(options_));
        });
        add_files(message, "Messages, binary or as hexadecimal text");
        add_message_form(message);
        add_forms(message);
        add_annotate(message);
    }

    void add_encode() {
        CLI::App *const encode = add("encode", "Documents of messages and records as bytes", [this] {
            const DocumentForm form{find_message(options_.family), find_record(options_.record),
                                    options_.host ? Order::kHost : Order::kNet, options_.binary};
            return inspect_encode(files_of(options_), form, options_.json);
        });
        encode->add_option("FILE", options_.paths, "JSON documents, - for the standard input")->capture_default_str();
        CLI::Option *const family = add_family(encode, "Message that the documents are");
        CLI::Option *const record = add_record(encode, "Record that the documents are")->excludes(family);
        add_orders(encode)->excludes(record);
        encode->add_flag("--binary", options_.binary, "Write the bytes themselves, not hexadecimal text");
    }

    void add_diff() {
        CLI::App *const diff = add("diff", "Two messages or blocks, field by field", [this] {
            return inspect_diff(files_of(options_), message_form(options_), find_record(options_.record),
                                options_.json);
        });
        diff->add_option("FILE", options_.paths, "Two messages, or two blocks of a record")->required()->expected(2);
        CLI::Option *const family = add_message_form(diff);
        add_record(diff, "Record that the files are blocks of")->excludes(family);
        add_forms(diff);
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

    LogQuery log_query() const {
        return {message_form(options_), bus_of(options_), options_.annotate};
    }

    // How the packets of a log are decoded.
    void add_log_query(CLI::App *command) {
        add_message_form(command);
        command->add_option("--bus", options_.bus, "Bus of the packets that are no datagrams of the chassis")
            ->check(CLI::IsMember({"udp", "ipmb", "rs485", "can"}));
    }

    void add_log() {
        CLI::App *const log = add("log", "Packet dumps and diagnostic records of a log, decoded",
                                  [this] { return inspect_logs(files_of(options_), log_query(), options_.json); });
        add_files(log, "Logs");
        add_log_query(log);
        add_annotate(log);
    }

    void add_to_pcap() {
        CLI::App *const capture = add("to-pcap", "Packet dumps of a log as a capture for Wireshark", [this] {
            return log_to_capture(options_.log, options_.capture, log_query(), options_.json);
        });
        capture->add_option("LOG", options_.log, "Log, - for the standard input")->required();
        capture->add_option("FILE", options_.capture, "Capture, - for the standard output")->required();
        add_log_query(capture);
    }

    void add_packet() {
        CLI::App *const packet = add("packet", "Packet dumps of a log, put together again", [this] {
            return inspect_packets(files_of(options_), bus_of(options_), options_.json);
        });
        add_files(packet, "Logs");
        packet->add_option("--bus", options_.bus, "Show netFn and command of this bus's packets")
            ->check(CLI::IsMember({"udp", "ipmb"}));
    }

    void add_pcap() {
        CLI::App *const pcap = add("pcap", "Captures of the chassis, packet by packet", [this] {
            return inspect_captures(files_of(options_), {message_form(options_), shown_of(options_), options_.fields,
                                                         numbers_of(options_)});
        });
        add_files(pcap, "Captures");
        pcap->add_option("--packet", options_.words, "Only packets of these numbers")
            ->type_name("NUMBER")
            ->delimiter(',')
            ->allow_extra_args(false)
            ->check(number_up_to(UINT32_MAX));
        add_family(pcap, "Message of raw frames, in a capture of link type USER0");
        pcap->add_flag("--fields", options_.fields, "The fields of each packet");
        pcap->add_flag("--annotate", options_.annotate, "Every byte, with field and value beside it");
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
        std::_Exit(kInputOutput);
    });
    try {
        return CommandLine().run(argc, argv);
    } catch (const std::exception &error) {
        // Memory has run out, or a file cannot be read any further. The message is written without a stream, which
        // may be what failed.
        std::fprintf(stderr, "orva-inspect: %s\n", error.what());
        return kInputOutput;
    }
}
