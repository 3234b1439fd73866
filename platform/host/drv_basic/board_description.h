// What a board description file says, checked whole. Knows the file format, nothing of the driver's functions.
#ifndef HOST_BOARD_DESCRIPTION_H
#define HOST_BOARD_DESCRIPTION_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace host {

inline constexpr std::uint32_t kMaxSlot = 30;
inline constexpr std::size_t kMaxDescriptionBytes = 1024 * 1024;

// Codes that queries are told to fail with; 0: they answer.
struct ForcedFailures {
    std::uint32_t slot = 0;
    std::uint32_t board_type = 0;
    std::uint32_t backplane_type = 0;
    std::uint32_t environment = 0;
    std::uint32_t elabel = 0;
};

struct BoardDescription {
    std::optional<std::uint32_t> slot; // none: the board has no slot number
    std::uint32_t type = 0;
    std::uint32_t chassis_type = 0;
    std::map<std::string, std::string, std::less<>> environment;
    std::map<std::uint32_t, std::uint32_t> other_boards; // slot to board type
    // (slot, index) to text; the own board's labels stand under kOwnBoard.
    std::map<std::pair<std::uint32_t, std::uint32_t>, std::string> labels;
    ForcedFailures fail;
};

inline constexpr std::uint32_t kOwnBoard = 0xFFFFFFFFU;

struct Fault {
    std::size_t line;
    std::string text; // "name:line: [table] key: reason"
};

// Reads a description. Nothing, with every fault in `faults`, where it breaks the format. A fault of the syntax hides
// those after it.
std::optional<BoardDescription> parse_board(std::string_view text, const std::string &name,
                                            std::vector<Fault> &faults);

// The same with the first fault alone: nothing, with "name:line: [table] key: reason" in `error`, where it breaks the
// format.
std::optional<BoardDescription> parse_board(std::string_view text, const std::string &name, std::string &error);

// Reads a file of at most kMaxDescriptionBytes; nothing, with the reason in `error`, where that fails.
std::optional<std::string> read_description(const std::string &path, std::string &error);

} // namespace host

#endif
