// The driver layer of the host platform: answers queries from the board in force, which is read at the first one.
#include "drv_basic.h"

#include "board_description.h"
#include "builtin_board.h"
#include "drv_basic_host.h"
#include "fork_guard.h"
#include "line_text.h"
#include "uncancelled.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#define DRV_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using host::BoardDescription;
using BoardPointer = std::shared_ptr<const BoardDescription>;

struct Driver {
    std::mutex mutex;
    bool tried = false; // the first query's load, which is not repeated when it failed
    BoardPointer board;
    std::string error;
};

// Never destroyed: threads may ask until the process is gone.
Driver &driver() {
    static Driver &state = *new Driver;
    return state;
}

[[gnu::constructor]] void keep_lock_usable_after_fork() {
    host::keep_usable_after_fork(driver().mutex);
}

uint32_t unusable(Driver &state, const std::string &error) {
    state.error.clear();
    host::append_escaped(state.error, error);
    return DRV_HOST_ERR_DESCRIPTION;
}

uint32_t load_text(Driver &state, const std::string &name, std::string_view text) {
    std::string error;
    auto board = host::parse_board(text, name, error);
    if (!board) {
        return unusable(state, error);
    }
    state.board = std::make_shared<const BoardDescription>(std::move(*board));
    state.error.clear();
    return 0;
}

uint32_t load_file(Driver &state, const char *path) {
    std::string error;
    const auto text = host::read_description(path, error);
    const uint32_t result = text ? load_text(state, path, *text) : unusable(state, error);
    if (result != 0) {
        host::write_all(STDERR_FILENO, "drv_basic: " + state.error + "\n");
    }
    return result;
}

uint32_t load_path(Driver &state, const char *path) {
    if (path == nullptr) {
        path = std::getenv("ORVA_HOST_BOARD");
    }
    return path != nullptr && *path != '\0' ? load_file(state, path)
                                            : load_text(state, "built-in board", host::kBuiltinBoard);
}

// The board in force, or null when its description cannot be used.
BoardPointer board_in_force() {
    const host::Uncancelled uncancelled;
    Driver &state = driver();
    const std::lock_guard<std::mutex> lock(state.mutex);
    if (!state.board && !state.tried) {
        state.tried = true;
        load_path(state, nullptr);
    }
    return state.board;
}

template <typename Load>
uint32_t load_guarded(Load load) {
    const host::Uncancelled uncancelled;
    Driver &state = driver();
    const std::lock_guard<std::mutex> lock(state.mutex);
    try {
        return load(state);
    } catch (const std::exception &) {
        return DRV_HOST_ERR_DESCRIPTION;
    }
}

// Runs a query on the board in force; out of memory counts as an unusable description.
template <typename Query>
uint32_t ask(Query query) {
    try {
        const BoardPointer board = board_in_force();
        return board ? query(*board) : DRV_HOST_ERR_DESCRIPTION;
    } catch (const std::exception &) {
        return DRV_HOST_ERR_DESCRIPTION;
    }
}

uint32_t copy_out(const std::string &text, char *buffer, uint32_t bufferLen) {
    if (text.size() >= bufferLen) {
        return DRV_HOST_ERR_BUFFER;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return 0;
}

bool is_own_board(const BoardDescription &board, uint32_t slot) {
    return slot == DRV_SELF_BOARD || board.slot == slot;
}

} // namespace

DRV_EXPORT uint32_t drv_env_get(const char *key, char *buffer, uint32_t bufferLen) {
    if (key == nullptr || buffer == nullptr || bufferLen == 0) {
        return DRV_HOST_ERR_ARGUMENT;
    }
    return ask([&](const BoardDescription &board) -> uint32_t {
        if (board.fail.environment != 0) {
            return board.fail.environment;
        }
        const auto found = board.environment.find(std::string_view(key));
        return found == board.environment.end() ? DRV_HOST_ERR_ABSENT : copy_out(found->second, buffer, bufferLen);
    });
}

DRV_EXPORT uint32_t drv_board_get_self_logic_slotid(uint32_t *slot) {
    if (slot == nullptr) {
        return DRV_HOST_ERR_ARGUMENT;
    }
    return ask([&](const BoardDescription &board) -> uint32_t {
        if (board.fail.slot != 0) {
            return board.fail.slot;
        }
        if (!board.slot) {
            return DRV_HOST_ERR_NO_SLOT;
        }
        *slot = *board.slot;
        return 0;
    });
}

DRV_EXPORT uint32_t drv_board_get_type(uint32_t slot, uint32_t *boardType) {
    if (boardType == nullptr) {
        return DRV_HOST_ERR_ARGUMENT;
    }
    return ask([&](const BoardDescription &board) -> uint32_t {
        if (board.fail.board_type != 0) {
            return board.fail.board_type;
        }
        if (is_own_board(board, slot)) {
            *boardType = board.type;
            return 0;
        }
        const auto other = board.other_boards.find(slot);
        if (other == board.other_boards.end()) {
            return DRV_HOST_ERR_BOARD;
        }
        *boardType = other->second;
        return 0;
    });
}

DRV_EXPORT uint32_t drv_backplane_get_type(uint32_t *type) {
    if (type == nullptr) {
        return DRV_HOST_ERR_ARGUMENT;
    }
    return ask([&](const BoardDescription &board) -> uint32_t {
        if (board.fail.backplane_type != 0) {
            return board.fail.backplane_type;
        }
        *type = board.chassis_type;
        return 0;
    });
}

DRV_EXPORT uint32_t drv_elabel_read(uint32_t slot, uint32_t index, char *buffer, uint32_t bufferLen) {
    if (buffer == nullptr || bufferLen == 0) {
        return DRV_HOST_ERR_ARGUMENT;
    }
    return ask([&](const BoardDescription &board) -> uint32_t {
        if (board.fail.elabel != 0) {
            return board.fail.elabel;
        }
        const uint32_t place = is_own_board(board, slot) ? host::kOwnBoard : slot;
        const auto label = board.labels.find({place, index});
        return label == board.labels.end() ? DRV_HOST_ERR_LABEL : copy_out(label->second, buffer, bufferLen);
    });
}

uint32_t DRV_HostLoadBoard(const char *path) {
    return load_guarded([&](Driver &state) { return load_path(state, path); });
}

uint32_t DRV_HostLoadBoardText(const char *name, const char *text, size_t length) {
    if (text == nullptr) {
        return DRV_HOST_ERR_ARGUMENT;
    }
    return load_guarded([&](Driver &state) {
        return load_text(state, name != nullptr ? name : "board", std::string_view(text, length));
    });
}

uint32_t DRV_HostDescriptionError(char *buffer, uint32_t bufferLen) {
    if (buffer == nullptr || bufferLen == 0) {
        return DRV_HOST_ERR_ARGUMENT;
    }
    Driver &state = driver();
    const std::lock_guard<std::mutex> lock(state.mutex);
    const std::size_t length = state.error.copy(buffer, bufferLen - 1);
    buffer[length] = '\0';
    return 0;
}

uint32_t DRV_HostCheckBoard(const char *path, DRV_HOST_FAULT_VISITOR visitor, void *context) {
    if (path == nullptr || visitor == nullptr) {
        return DRV_HOST_ERR_ARGUMENT;
    }
    try {
        std::string error;
        std::vector<host::Fault> faults;
        const auto text = host::read_description(path, error);
        if (!text) {
            faults.push_back({0, error});
        } else {
            host::parse_board(*text, path, faults);
        }
        std::stable_sort(faults.begin(), faults.end(),
                         [](const host::Fault &a, const host::Fault &b) { return a.line < b.line; });
        for (const host::Fault &fault : faults) {
            std::string line;
            host::append_escaped(line, fault.text);
            visitor(line.c_str(), context);
        }
        return faults.empty() ? 0 : DRV_HOST_ERR_DESCRIPTION;
    } catch (const std::exception &) {
        visitor("no memory", context);
        return DRV_HOST_ERR_DESCRIPTION;
    }
}

const char *DRV_HostExampleBoard(void) {
    return host::kBuiltinBoard;
}
