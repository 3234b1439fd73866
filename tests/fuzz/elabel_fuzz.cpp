// Label parsing: whatever the label, the key and the lengths, the result is that of a plain model, and neither buffer
// is left. Input: key length, label length (two bytes), value length, key, label.
#include "orva_elabel_comm.h"
#include "platform_double.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// A zero-terminated copy that ends where its memory ends.
std::unique_ptr<char[]> exact_copy(const std::string &text) {
    std::unique_ptr<char[]> copy(new char[text.size() + 1]);
    std::memcpy(copy.get(), text.c_str(), text.size() + 1);
    return copy;
}

struct Element {
    std::uint32_t code;
    std::string value;
};

Element model(const std::string &label, std::uint32_t labelLen, const std::string &key, std::uint32_t valueLen) {
    if (label.empty()) {
        return {ORVA_ERR_ELABEL_EMPTY, {}};
    }
    const std::size_t found = label.find(key);
    if (found == std::string::npos) {
        return {ORVA_ERR_ELABEL_KEY_ABSENT, {}};
    }
    if (valueLen == 0) {
        return {ORVA_FAILED, {}};
    }
    const std::string reached = label.substr(0, labelLen);
    const std::size_t start = found + key.size();
    std::string value = start < reached.size() ? reached.substr(start) : std::string();
    value = value.substr(0, value.find_first_of("\r\n"));
    return {ORVA_OK, value.substr(0, valueLen - 1)};
}

void check_element(const std::string &label, std::uint32_t labelLen, const std::string &key, std::uint32_t valueLen) {
    const auto labelCopy = exact_copy(label);
    const auto keyCopy = exact_copy(key);
    const std::unique_ptr<char[]> value(new char[valueLen]);
    std::memset(value.get(), 'x', valueLen);
    const std::uint32_t code = ORVA_GetElabelElement(labelCopy.get(), labelLen, keyCopy.get(), value.get(), valueLen);
    const Element expected = model(label, labelLen, key, valueLen);
    require(code == expected.code);
    if (code == ORVA_OK) {
        require(expected.value == value.get());
    } else {
        require(std::string(value.get(), valueLen) == std::string(valueLen, 'x'));
    }
    require((ORVA_CheckElabelString(labelCopy.get(), keyCopy.get()) == 1) == (label.find(key) != std::string::npos));
}

void check_item(const std::string &item, std::uint32_t outLen) {
    const auto itemCopy = exact_copy(item);
    const std::unique_ptr<char[]> out(new char[outLen]);
    const std::string base = item.substr(0, item.find('-'));
    const std::uint32_t code = ORVA_VER_TransformItemLabel(itemCopy.get(), out.get(), outLen);
    if (base.size() < outLen) {
        require(code == ORVA_OK && base == out.get());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    orva_test::reset_platform();
    constexpr std::size_t kHead = 4;
    if (size < kHead) {
        return 0;
    }
    const auto labelLen = static_cast<std::uint32_t>(data[1] | data[2] << 8);
    const std::uint32_t valueLen = data[3];
    const auto *text = reinterpret_cast<const char *>(data + kHead);
    const std::size_t left = size - kHead;
    const std::size_t keyLen = data[0] % 32 < left ? data[0] % 32 : left;
    // Texts end at their first zero.
    const std::string key(text, strnlen(text, keyLen));
    const std::string label(text + keyLen, strnlen(text + keyLen, left - keyLen));
    check_element(label, labelLen, key, valueLen);
    check_item(label, valueLen);
    return 0;
}
