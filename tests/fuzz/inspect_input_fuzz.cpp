// Every input of orva-inspect that is read from a file: blocks, messages, logs with packet dumps, captures,
// documents, files to sum, hexadecimal text. Input: sub-command and options, record, then the file, whose halves are
// two files where a command takes two. The result is 0 or 1, and what is read back is what was written.
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "fuzz_input.h"
#include "packet_pieces.h"
#include "text.h"
#include "wire_record_table.h"

namespace {

// Collects what is written to a stream, so that it can be looked at and does not cost a terminal.
class Captured {
public:
    explicit Captured(std::ostream &stream) : stream_(stream), before_(stream.rdbuf(text_.rdbuf())) {}
    ~Captured() {
        stream_.rdbuf(before_);
    }
    Captured(const Captured &) = delete;
    Captured &operator=(const Captured &) = delete;
    std::string text() const {
        return text_.str();
    }

private:
    std::ostringstream text_;
    std::ostream &stream_;
    std::streambuf *before_;
};

void check_hex(const std::string &bytes) {
    const inspect::Bytes input(bytes.begin(), bytes.end());
    const std::string hex = inspect::hex_bytes(input);
    const auto back = inspect::bytes_of({hex.begin(), hex.end()}, inspect::InputForm::kHex);
    REQUIRE(bytes.empty() || (back && *back == input));
}

// The packets of a log have their bytes where their runs say.
void check_packets(const std::string &log) {
    for (const inspect::Packet &packet : inspect::find_packets(log)) {
        std::uint64_t offset = 0;
        for (const inspect::PacketRun &run : inspect::runs_of(packet)) {
            REQUIRE(run.offset == offset);
            REQUIRE(run.bytes.size() == run.length || (run.bytes.empty() && !run.reason.empty()));
            offset += run.length;
        }
    }
}

struct Choice {
    const orva::wire::Record *record;
    inspect::Shown shown;
    inspect::MessageForm form;
    bool json;
    bool fields;
};

Choice choice_of(std::uint8_t options, std::uint8_t record) {
    using inspect::Shown;
    const bool json = (options & 0x80) != 0;
    const bool annotated = (options & 0x40) != 0;
    const auto &records = orva::wire::kRecords;
    const std::size_t number = record % (records.size() + 1);
    const std::vector<const orva::wire::Message *> families = inspect::every_message();
    constexpr inspect::Framing kFramings[] = {inspect::Framing::kDetect, inspect::Framing::kBody,
                                              inspect::Framing::kFrame, inspect::Framing::kDatagram};
    inspect::MessageForm form;
    form.family = record % 24 < families.size() ? families[record % 24] : nullptr;
    form.order = record >= 0x80 ? inspect::Order::kHost : inspect::Order::kNet;
    form.framing = kFramings[options / 8 % 4];
    const Shown shown = json ? Shown::kJson : annotated ? Shown::kAnnotated : Shown::kTable;
    return {number == records.size() ? nullptr : &records[number], shown, form, json, annotated};
}

int run_one(std::uint8_t options, std::uint8_t record, const std::string &bytes) {
    constexpr inspect::InputForm kForms[] = {inspect::InputForm::kDetect, inspect::InputForm::kHex,
                                             inspect::InputForm::kBinary};
    const Choice choice = choice_of(options, record);
    const fuzz::MemoryFile file(bytes);
    const inspect::Files files{{file.path()}, options % 8 < 2 ? inspect::InputForm::kBinary : kForms[record % 3]};
    switch (options % 8) {
    case 0:
    case 4:
    case 5:
        return inspect::inspect_tlv(files, choice.record, choice.shown);
    case 1:
    case 6:
        return inspect::inspect_messages(files, choice.form, choice.shown);
    case 2:
        return inspect::inspect_packets(files, record % 2 != 0 ? inspect::Bus::kUdp : inspect::Bus::kIpmb,
                                        choice.json);
    default:
        return inspect::inspect_crc(files, choice.json);
    }
}

int run_two(std::uint8_t options, std::uint8_t record, const std::string &bytes) {
    const Choice choice = choice_of(options, record);
    const fuzz::MemoryFile first(bytes.substr(0, bytes.size() / 2)), second(bytes.substr(bytes.size() / 2));
    const inspect::Files files{{first.path(), second.path()}, inspect::InputForm::kBinary};
    switch (options % 8) {
    case 0:
    case 1:
        return inspect::inspect_diff(files, choice.form, options % 8 == 0 ? choice.record : nullptr, choice.json);
    case 2:
        return inspect::inspect_logs(files, {choice.form, std::nullopt, choice.fields}, choice.json);
    default:
        return inspect::inspect_encode(files, {}, choice.json);
    }
}

int run_capture(std::uint8_t options, std::uint8_t record, const std::string &bytes) {
    const Choice choice = choice_of(options, record);
    const fuzz::MemoryFile file(bytes);
    return inspect::inspect_captures({{file.path()}}, {choice.form, choice.shown, choice.fields, {}});
}

int run(std::uint8_t options, std::uint8_t record, const std::string &bytes) {
    if ((options & 0x20) == 0) {
        return run_one(options, record, bytes);
    }
    return options % 8 < 4 ? run_two(options, record, bytes) : run_capture(options, record, bytes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Front front(data, size);
    const std::uint8_t options = front.byte(), record = front.byte();
    const std::string bytes = front.rest();
    check_packets(bytes);
    check_hex(bytes);
    const Captured output(std::cout), messages(std::cerr);
    const int status = run(options, record, bytes);
    REQUIRE(status == inspect::kDone || status == inspect::kRejected);
    REQUIRE(status == inspect::kDone || !messages.text().empty() || !output.text().empty());
    for (const char character : output.text()) {
        REQUIRE(character == '\n' || (character >= 0x20 && character < 0x7F));
    }
    if ((options & 0x80) != 0 && !output.text().empty()) {
        REQUIRE(nlohmann::json::accept(output.text()));
    }
    return 0;
}
