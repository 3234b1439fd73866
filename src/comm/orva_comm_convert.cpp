// Byte-order conversion of agent messages: one engine, instantiated over the description of each message, so that a
// converter compiles to straight swaps. The messages themselves are described in wire_messages.h.
#include "orva_comm.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "bytes.h"
#include "wire_messages.h"

#define ORVA_COMM_INLINE [[gnu::always_inline]] inline

namespace {

using orva::wire::Array;
using orva::wire::Direction;
using orva::wire::Message;
using orva::wire::Shape;

// ---- What the engine takes from a description, at compile time

// Consecutive 32-bit words; 0 words mean that there is none.
struct WordRun {
    std::size_t offset;
    std::size_t words;
};

// A converted field of an array entry; width 0 means that there is none.
struct EntryField {
    std::size_t offset;
    std::size_t width;
};

constexpr std::array<WordRun, 4> word_runs(const Message &message, Direction direction) {
    std::array<WordRun, 4> runs{};
    std::size_t used = 0;
    for (const auto &field : message.fields) {
        if (!is_swapped(field.swapped, direction)) {
            continue;
        }
        if (used != 0 && runs[used - 1].offset + 4 * runs[used - 1].words == field.offset) {
            ++runs[used - 1].words;
        } else {
            runs.at(used++) = {field.offset, 1};
        }
    }
    return runs;
}

constexpr std::array<EntryField, 2> entry_fields(const Array &array) {
    std::array<EntryField, 2> fields{};
    std::size_t used = 0;
    for (const auto &field : array.fields) {
        if (field.swapped == orva::wire::Swapped::kBoth) {
            fields.at(used++) = {field.offset, field.width};
        }
    }
    return fields;
}

// Whether a count is itself a converted word.
constexpr bool has_word_count(const Message &message) {
    return std::any_of(message.arrays.begin(), message.arrays.end(), [&message](const Array &array) {
        return array.name != nullptr && count_field(message, array).width == 4;
    });
}

// ---- The engine

template <std::size_t kWidth>
ORVA_COMM_INLINE void swap_field(std::uint8_t *at) {
    if constexpr (kWidth == 2) {
        orva::swap_in_place<std::uint16_t>(at);
    } else if constexpr (kWidth == 4) {
        orva::swap_in_place<std::uint32_t>(at);
    }
}

// Two neighbouring fields at once: reversed as one word, they change places, which the rotation undoes.
template <std::size_t kWidth>
ORVA_COMM_INLINE void swap_pair(std::uint8_t *at) {
    if constexpr (kWidth == 2) {
        const std::uint32_t reversed = __builtin_bswap32(orva::load_host<std::uint32_t>(at));
        orva::store_host(at, reversed << 16 | reversed >> 16);
    } else {
        const std::uint64_t reversed = __builtin_bswap64(orva::load_host<std::uint64_t>(at));
        orva::store_host(at, reversed << 32 | reversed >> 32);
    }
}

template <const Message &kMessage, Direction kDirection, std::size_t kRun>
ORVA_COMM_INLINE void swap_run(std::uint8_t *body) {
    constexpr WordRun kWords = word_runs(kMessage, kDirection)[kRun];
    std::uint8_t *word = body + kWords.offset;
    if constexpr (kWords.words > 1) {
        for (std::size_t i = 0; i < kWords.words / 2; ++i, word += 8) {
            swap_pair<4>(word);
        }
    }
    if constexpr (kWords.words % 2 != 0) {
        orva::swap_in_place<std::uint32_t>(word);
    }
}

// The number of entries to convert.
template <const Message &kMessage, std::size_t kArray>
ORVA_COMM_INLINE std::uint32_t entry_count(std::uint8_t *body) {
    constexpr std::size_t kOffset = count_field(kMessage, kMessage.arrays[kArray]).offset;
    constexpr std::size_t kWidth = count_field(kMessage, kMessage.arrays[kArray]).width;
    constexpr std::uint32_t kBound = kMessage.arrays[kArray].bound;
    constexpr bool kClamps = kMessage.arrays[kArray].clamps;
    std::uint32_t count = 0;
    if constexpr (kWidth == 4) {
        count = orva::load_host<std::uint32_t>(body + kOffset);
    } else {
        count = body[kOffset];
    }
    if (count <= kBound) {
        return count;
    }
    if constexpr (kClamps) {
        body[kOffset] = static_cast<std::uint8_t>(kBound);
    }
    return kBound;
}

template <const Message &kMessage, std::size_t kArray>
ORVA_COMM_INLINE void swap_entry(std::uint8_t *entry) {
    constexpr auto kFields = entry_fields(kMessage.arrays[kArray]);
    if constexpr (kFields[0].width == kFields[1].width && kFields[1].offset == kFields[0].offset + kFields[0].width) {
        swap_pair<kFields[0].width>(entry + kFields[0].offset);
    } else {
        swap_field<kFields[0].width>(entry + kFields[0].offset);
        swap_field<kFields[1].width>(entry + kFields[1].offset);
    }
}

template <const Message &kMessage, std::size_t kArray>
ORVA_COMM_INLINE void swap_array(std::uint8_t *body) {
    if constexpr (kArray < length_of(kMessage.arrays)) {
        constexpr std::size_t kOffset = kMessage.arrays[kArray].offset;
        constexpr std::size_t kStride = kMessage.arrays[kArray].stride;
        const std::uint32_t count = entry_count<kMessage, kArray>(body);
        std::uint8_t *entry = body + kOffset;
        for (std::uint32_t i = 0; i < count; ++i, entry += kStride) {
            swap_entry<kMessage, kArray>(entry);
        }
    }
}

template <const Message &kMessage, Direction kDirection>
ORVA_COMM_INLINE void swap_words(std::uint8_t *body) {
    swap_run<kMessage, kDirection, 0>(body);
    swap_run<kMessage, kDirection, 1>(body);
    swap_run<kMessage, kDirection, 2>(body);
    swap_run<kMessage, kDirection, 3>(body);
}

template <const Message &kMessage>
ORVA_COMM_INLINE void swap_arrays(std::uint8_t *body) {
    swap_array<kMessage, 0>(body);
    swap_array<kMessage, 1>(body);
    swap_array<kMessage, 2>(body);
    static_assert(orva::wire::kMaxArrays == 3);
}

template <const Message &kMessage, Direction kDirection, Shape kShape>
ORVA_COMM_INLINE void convert(void *buffer) {
    auto *body = static_cast<std::uint8_t *>(buffer);
    if constexpr (kShape == Shape::kFrame) {
        orva::swap_in_place<std::uint16_t>(body);
        body += orva::wire::kPrefixBytes;
    }
    // A count that is a converted word is read in host order. For a count that stays as it is, the order is free;
    // this one measures fastest.
    constexpr bool kArraysFirst = (kDirection == Direction::kHost) != has_word_count(kMessage);
    if constexpr (kArraysFirst) {
        swap_arrays<kMessage>(body);
        swap_words<kMessage, kDirection>(body);
    } else {
        swap_words<kMessage, kDirection>(body);
        swap_arrays<kMessage>(body);
    }
}

} // namespace

// ---- The converters without a hook

#define ORVA_COMM_CONVERTER(message, function, direction, shape)                                                     \
    void function(void *buffer) {                                                                                    \
        convert<orva::wire::k##message, Direction::direction, Shape::shape>(buffer);                                 \
    }
#define ORVA_COMM_WRITTEN_OUT(message, function, direction, shape)

ORVA_WIRE_CONVERTERS(ORVA_COMM_CONVERTER, ORVA_COMM_WRITTEN_OUT)

#undef ORVA_COMM_CONVERTER
#undef ORVA_COMM_WRITTEN_OUT
#undef ORVA_COMM_INLINE

// ---- The converters that end with their hook, which stays a call of the public symbol

void ORVA_AGENT_ChgSwitchOverMsgToHost(void *body) {
    convert<orva::wire::kSwitchOver, Direction::kHost, Shape::kBody>(body);
    ORVA_AGENT_ChgSwitchOverMsgToHostPath();
}

void ORVA_AGENT_ChgSwitchOverMsgToNet(void *frame) {
    convert<orva::wire::kSwitchOver, Direction::kNet, Shape::kFrame>(frame);
    ORVA_AGENT_ChgSwitchOverMsgToNetPath();
}

void ORVA_AGENT_ChgAddrRegMsgToHost(void *body) {
    convert<orva::wire::kAddrReg, Direction::kHost, Shape::kBody>(body);
    ORVA_AGENT_ChgAddrRegMsgToHostPath();
}

void ORVA_AGENT_ChgAddrAckMsgToNet(void *frame) {
    convert<orva::wire::kAddrAck, Direction::kNet, Shape::kFrame>(frame);
    ORVA_AGENT_ChgAddrAckMsgToNetPath();
}

void ORVA_AGENT_ChgTempInfoMsgToHost(void *body) {
    convert<orva::wire::kTempInfo, Direction::kHost, Shape::kBody>(body);
    ORVA_AGENT_ChgTempInfoMsgToHostPath();
}

void ORVA_AGENT_ChgTempInfoMsgToNet(void *frame) {
    convert<orva::wire::kTempInfo, Direction::kNet, Shape::kFrame>(frame);
    ORVA_AGENT_ChgTempInfoMsgToNetPath();
}

void ORVA_AGENT_ChgSubCardInfoMsgToNet(void *frame) {
    convert<orva::wire::kSubCardInfo, Direction::kNet, Shape::kFrame>(frame);
    ORVA_AGENT_ChgSubCardInfoMsgToNetPath();
}

void ORVA_AGENT_ChgPowerStateMsgToNet(void *frame) {
    convert<orva::wire::kPowerState, Direction::kNet, Shape::kFrame>(frame);
    ORVA_AGENT_ChgPowerStateMsgToNetPath();
}

void ORVA_AGENT_ChgHeartBeatMsgToHost(void *body) {
    convert<orva::wire::kHeartBeat, Direction::kHost, Shape::kBody>(body);
    ORVA_AGENT_ChgHeartBeatMsgToHostPath();
}

void ORVA_AGENT_ChgHeartBeatMsgToNet(void *frame) {
    convert<orva::wire::kHeartBeat, Direction::kNet, Shape::kFrame>(frame);
    ORVA_AGENT_ChgHeartBeatMsgToNetPath();
}

// ---- The hooks: empty here

void ORVA_AGENT_ChgSwitchOverMsgToHostPath() {}

void ORVA_AGENT_ChgSwitchOverMsgToNetPath() {}

void ORVA_AGENT_ChgAddrRegMsgToHostPath() {}

void ORVA_AGENT_ChgAddrAckMsgToNetPath() {}

void ORVA_AGENT_ChgTempInfoMsgToHostPath() {}

void ORVA_AGENT_ChgTempInfoMsgToNetPath() {}

void ORVA_AGENT_ChgSubCardInfoMsgToNetPath() {}

void ORVA_AGENT_ChgHeartBeatMsgToHostPath() {}

void ORVA_AGENT_ChgHeartBeatMsgToNetPath() {}

void ORVA_AGENT_ChgPowerStateMsgToNetPath() {}
