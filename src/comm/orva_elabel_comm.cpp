// Electronic labels: one value by its key, a substring test, the base of an item code. Knows labels as text only, not
// where they come from.
#include "orva_elabel_comm.h"

#include <cstring>

#include "log_record.h"
#include "safeio.h"

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_elabel_comm");

bool ends_value(char character) {
    return character == '\n' || character == '\r' || character == '\0';
}

// Characters of the value that starts at `start`, up to the end of its line or to `labelLen` bytes of the label.
std::uint32_t value_length(const char *label, std::uint32_t labelLen, const char *start) {
    const auto first = static_cast<std::size_t>(start - label);
    std::size_t position = first;
    while (position < labelLen && !ends_value(label[position])) {
        ++position;
    }
    return static_cast<std::uint32_t>(position - first);
}

std::uint32_t check_pointers(const char *label, const char *key, const char *value) {
    const struct {
        const char *pointer;
        std::uint32_t code;
    } arguments[] = {
        {label, ORVA_ERR_ELABEL_LABEL_NULL},
        {key, ORVA_ERR_ELABEL_KEY_NULL},
        {value, ORVA_ERR_ELABEL_VALUE_NULL},
    };
    for (const auto &argument : arguments) {
        if (argument.pointer == nullptr) {
            orva::log_check_ptr_error();
            return argument.code;
        }
    }
    return ORVA_OK;
}

} // namespace

uint32_t ORVA_GetElabelElement(const char *label, uint32_t labelLen, const char *key, char *value,
                               uint32_t valueLen) {
    const std::uint32_t checked = check_pointers(label, key, value);
    if (checked != ORVA_OK) {
        return checked;
    }
    if (label[0] == '\0') {
        return ORVA_ERR_ELABEL_EMPTY;
    }
    const char *found = std::strstr(label, key);
    if (found == nullptr) {
        return ORVA_ERR_ELABEL_KEY_ABSENT;
    }
    const char *start = found + std::strlen(key);
    const std::uint32_t length = value_length(label, labelLen, start);
    const int ret = strncpy_s(value, valueLen, start, length < valueLen ? length : valueLen - 1);
    if (ret != 0) {
        orva::log_strcpy_error(kArea, ret);
        return ORVA_FAILED;
    }
    return ORVA_OK;
}

uint32_t ORVA_CheckElabelString(const char *label, const char *text) {
    return std::strstr(label, text) != nullptr ? 1 : 0;
}

uint32_t ORVA_VER_TransformItemLabel(const char *item, char *out, uint32_t outLen) {
    if (item == nullptr) {
        return ORVA_OK;
    }
    const char *dash = std::strchr(item, '-');
    const int ret = dash == nullptr ? strcpy_s(out, outLen, item)
                                    : strncpy_s(out, outLen, item, static_cast<std::size_t>(dash - item));
    return ret == 0 ? ORVA_OK : orva::log_strcpy_error(kArea, ret);
}
