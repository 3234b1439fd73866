// Bytes as hex text: the text is that of a plain model where it fits, and no byte past the buffer is written. Input:
// bytes per line, size of the buffer, length of the text before, that text, the bytes.
#include "fuzz_input.h"
#include "orva_file.h"
#include "platform_double.h"

namespace {

std::string model(const std::string &bytes, std::uint32_t perLine) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<std::uint8_t>(bytes[i])));
        text += digits;
        text += i % perLine == perLine - 1 || i + 1 == bytes.size() ? "\r\n" : " ";
    }
    return text;
}

void check_text(const std::string &bytes, std::uint32_t perLine, const std::string &before, std::uint32_t size) {
    const auto data = fuzz::exact_bytes(bytes);
    const std::unique_ptr<char[]> out(new char[size]);
    std::memcpy(out.get(), before.c_str(), before.size() + 1);
    const auto length = static_cast<std::uint32_t>(bytes.size());
    const std::uint32_t result = ORVA_HexToString(data.get(), length, perLine, out.get(), size);
    if (bytes.empty() || perLine == 0) {
        REQUIRE(result == ORVA_ERR_HEX_ARGUMENT && out.get() == before);
        return;
    }
    const std::string text = before + model(bytes, perLine);
    if (length / perLine + std::uint64_t{3} * length > size) {
        REQUIRE(result == ORVA_ERR_HEX_TOO_SMALL && out.get() == before);
    } else if (text.size() + 1 > size) {
        REQUIRE(result == ORVA_ERR_HEX_APPEND && out[0] == '\0');
    } else {
        REQUIRE(result == ORVA_OK && out.get() == text);
    }
}

void check_black_box(const std::string &bytes, std::uint32_t most) {
    const auto data = fuzz::exact_bytes(bytes);
    ORVA_PmbusBBoxHexToStringAndDlog(1, 2, data.get(), static_cast<std::uint32_t>(bytes.size()), most);
    const std::size_t shown = std::min<std::size_t>(bytes.size(), most);
    std::size_t records = 0;
    for (const std::string &record : orva_test::take_logs()) {
        records += record.find("PMBUS-BLACK-BOX[slot=1 fru=2]: log[") != std::string::npos ? 1 : 0;
    }
    REQUIRE(records <= (shown + 127) / 128);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Front front(data, size);
    orva_test::reset_platform();
    const std::uint32_t perLine = front.byte();
    const std::uint32_t bufferSize = (front.word() >> 16) % 4096;
    const std::string before = front.text(front.byte());
    const std::string bytes = front.rest();
    check_text(bytes, perLine, before, std::max(bufferSize, static_cast<std::uint32_t>(before.size() + 1)));
    orva_test::take_logs();
    check_black_box(bytes, perLine * 16);
    return 0;
}
