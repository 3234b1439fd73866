// Numbers and bytes as text, and how every sub-command ends.
#ifndef INSPECT_TEXT_H
#define INSPECT_TEXT_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace inspect {

// Exit statuses, the worse the higher.
inline constexpr int kDone = 0;
inline constexpr int kRejected = 1;    // an input breaks a rule, or nothing was found
inline constexpr int kUsage = 2;       // bad command line
inline constexpr int kInputOutput = 3; // a file cannot be read, the output cannot be written, memory has run out

// A whole text as an unsigned 32-bit number: decimal, or hexadecimal after 0x.
std::optional<std::uint32_t> number_of(std::string_view text);

// The value of a hexadecimal digit, or -1.
int digit_value(char digit);

// `number` as 0x and at least `digits` hexadecimal digits.
std::string hex_number(std::uint32_t number, int digits);

// Bytes as "0a ff".
std::string hex_bytes(std::span<const std::uint8_t> bytes);

// "1 byte", "2 bytes".
std::string count_of(std::uint64_t count, const std::string &thing);

// Text from outside that cannot steer a terminal: everything but printable ASCII as \xNN, a backslash doubled.
std::string printable(std::string_view text);

// The candidate that the fewest changed letters make of the word; empty when half of its letters would change.
std::string nearest(std::string_view word, std::span<const std::string> candidates);

// "; did you mean X?" with the nearest candidate, or nothing.
std::string did_you_mean(std::string_view word, std::span<const std::string> candidates);

// A document as text without a line end, in printable ASCII: everything else is escaped. Bytes that are no UTF-8 are
// replaced.
std::string json_text(const nlohmann::ordered_json &document);

void print_json(const nlohmann::ordered_json &document);

// Version of the documents that commands write; it changes when a key changes its meaning.
inline constexpr int kSchemaVersion = 1;

// The JSON document of a command, {"schema": ..., "command": ..., "results": [...]}, written result by result, so
// that a long one is never whole in memory. Without `json` it writes nothing. Messages wait until the document ends,
// so that they are after it where both outputs are one.
class Document {
public:
    Document(std::string_view command, bool json);
    ~Document();
    Document(const Document &) = delete;
    Document &operator=(const Document &) = delete;
    void add(const nlohmann::ordered_json &result);
    void end();
    bool is_written() const {
        return json_;
    }

private:
    friend void explain(const std::string &lines);

    bool json_;
    bool empty_ = true;
    std::string messages_; // that wait
};

// What a text is, for its colour on a terminal.
enum class Paint { kName, kValue, kDim, kBad, kGood };

// Whether the standard output and the standard error get colours. Neither does at first.
void use_colour(bool output, bool messages);

// The text in its colour for the standard output.
std::string paint(Paint kind, const std::string &text);

// Names the file that the lines after it are about; nothing for an empty name.
void print_title(const std::string &file);

// Writes a message to the standard error; the result is kRejected.
int fail(const std::string &message);

// The same for what cannot be read or written; the result is kInputOutput.
int fail_input_output(const std::string &message);

// Lines below a message, as they are.
void explain(const std::string &lines);

} // namespace inspect

#endif
