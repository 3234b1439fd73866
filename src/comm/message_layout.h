// Message layouts: which words of each agent message change byte order, one row per converter, and the one engine
// that walks a row in either direction. The engine knows no message and the rows hold no code; it is instantiated per
// row over the constant table, so that a converter compiles to straight swaps.
#ifndef ORVA_MESSAGE_LAYOUT_H
#define ORVA_MESSAGE_LAYOUT_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "bytes.h"
#include "orva_comm.h"

namespace orva {

// A net frame is a body behind a prefix, whose first two bytes are a 16-bit word and whose other bytes stay.
enum class Shape : std::uint8_t { kBody, kNetFrame };
inline constexpr std::size_t kNetPrefixBytes = 8;

enum class StepOrder : std::uint8_t { kWordsFirst, kArraysFirst };

// Consecutive 32-bit words; a run of 0 words is no run.
struct WordRun {
    std::uint16_t offset;
    std::uint16_t words;
};

// A byte count is never converted. A word count is itself one of the converted words and is read in host order, which
// is why its row orders words and arrays by direction. A clamped byte count is cut to the bound in the buffer too.
enum class CountForm : std::uint8_t { kByte, kClampedByte, kWord };

struct CountField {
    CountForm form;
    std::uint16_t offset;
};

// A converted field of an array entry; width 0 is no field.
struct EntryField {
    std::uint8_t offset;
    std::uint8_t width;
};
using EntryFields = std::array<EntryField, 2>;

inline constexpr EntryFields kOneLong{{{0, 4}, {0, 0}}};
inline constexpr EntryFields kTwoLongs{{{0, 4}, {4, 4}}};
inline constexpr EntryFields kTwoShorts{{{0, 2}, {2, 2}}};
inline constexpr EntryFields kShortAndLong{{{0, 2}, {4, 4}}};

// min(count, bound) entries; a bound of 0 is no array.
struct EntryArray {
    CountField count;
    std::uint16_t offset;
    std::uint16_t stride;
    std::uint16_t bound;
    EntryFields fields;
};

enum class Converter : std::uint8_t {
    kSwitchOverToHost,
    kSwitchOverToNet,
    kSenAlmReqToHost,
    kSenAlmReqToNet,
    kAddrRegToHost,
    kAddrAckToNet,
    kTempInfoToHost,
    kTempInfoToNet,
    kVltInfoToHost,
    kVltInfoToNet,
    kMpuMngSensorInfoToHost,
    kMpuMngSensorInfoToNet,
    kMpuMngSensorInfoMsgToNet,
    kSubCardInfoToHost,
    kSubCardInfoToNet,
    kCardAttrToHost,
    kCardAttrToNet,
    kCardHumidToHost,
    kCardHumidToNet,
    kSimulateToHost,
    kSimulateToNet,
    kSoNameReqToHost,
    kSoNameReqToNet,
    kSoNameAckToHost,
    kSoNameAckToNet,
    kFrameAttrToHost,
    kFrameAttrReqToNet,
    kReqToHost,
    kReqToNet,
    kFrameCardPowerStateToHost,
    kFrameCardPowerStateToNet,
    kPowerStateToNet,
    kPwrSenCfgToHost,
    kPwrSenCfgToNet,
    kHeartBeatToHost,
    kHeartBeatToNet,
    kSensorCtrlToHost,
    kSensorCtrlToNet,
    kEnd
};

// Knows by itself whether it is set: GCC's sanitizers do not compare the address of a function at compile time.
struct Hook {
    void (*call)(void) = nullptr;
    bool isSet = false;
    consteval Hook() = default;
    consteval Hook(void (*function)(void)) : call(function), isSet(true) {}
};

// All offsets are body offsets; the engine adds the prefix of a net frame.
struct MessageLayout {
    Converter converter;
    Shape shape;
    std::array<WordRun, 2> words;
    std::array<EntryArray, 3> arrays = {};
    StepOrder order = StepOrder::kWordsFirst;
    Hook hook = {};
};

namespace layouts {

consteval EntryArray sensor_values(std::uint16_t bound) {
    return {{CountForm::kByte, 19}, 24, 8, bound, kOneLong};
}

inline constexpr std::array<EntryArray, 3> kMpuMngSensors{
    {{{CountForm::kByte, 16}, 24, 12, 68, kShortAndLong}, {{CountForm::kByte, 17}, 840, 12, 168, kShortAndLong}}};

// The second and the third array share one count.
inline constexpr std::array<EntryArray, 3> kSubCards{{{{CountForm::kByte, 21}, 24, 8, 14, kOneLong},
                                                      {{CountForm::kByte, 22}, 140, 22, 168, kTwoShorts},
                                                      {{CountForm::kByte, 22}, 3838, 22, 68, kTwoShorts}}};

inline constexpr EntryArray kSimulatedStubs{{CountForm::kWord, 0}, 4, 40, 32, kTwoLongs};
inline constexpr EntryArray kSoNames{{CountForm::kWord, 0}, 68, 68, 32, kTwoShorts};
inline constexpr EntryArray kPowerSensors{{CountForm::kClampedByte, 87}, 2206, 22, 96, kTwoShorts};

inline constexpr std::array<WordRun, 2> kHeader{{{0, 4}}};
inline constexpr std::array<WordRun, 2> kHeaderAndOne{{{0, 5}}};
inline constexpr std::array<WordRun, 2> kHeaderAndThree{{{0, 7}}};
inline constexpr std::array<WordRun, 2> kFirstWord{{{0, 1}}};

consteval std::array<WordRun, 2> header_and(std::uint16_t offset, std::uint16_t words = 1) {
    return {{{0, 4}, {offset, words}}};
}

} // namespace layouts

inline constexpr std::array<MessageLayout, static_cast<std::size_t>(Converter::kEnd)> kMessageLayouts{{
    {.converter = Converter::kSwitchOverToHost,
     .shape = Shape::kBody,
     .words = layouts::kHeaderAndOne,
     .hook = ORVA_AGENT_ChgSwitchOverMsgToHostPath},
    {.converter = Converter::kSwitchOverToNet,
     .shape = Shape::kNetFrame,
     .words = layouts::kHeaderAndOne,
     .hook = ORVA_AGENT_ChgSwitchOverMsgToNetPath},
    {.converter = Converter::kSenAlmReqToHost, .shape = Shape::kBody, .words = layouts::kHeader},
    {.converter = Converter::kSenAlmReqToNet, .shape = Shape::kBody, .words = layouts::kHeader},
    {.converter = Converter::kAddrRegToHost,
     .shape = Shape::kBody,
     .words = layouts::kHeaderAndOne,
     .hook = ORVA_AGENT_ChgAddrRegMsgToHostPath},
    {.converter = Converter::kAddrAckToNet,
     .shape = Shape::kNetFrame,
     .words = layouts::kHeaderAndOne,
     .hook = ORVA_AGENT_ChgAddrAckMsgToNetPath},
    {.converter = Converter::kTempInfoToHost,
     .shape = Shape::kBody,
     .words = layouts::kHeader,
     .arrays = {{layouts::sensor_values(68)}},
     .order = StepOrder::kArraysFirst,
     .hook = ORVA_AGENT_ChgTempInfoMsgToHostPath},
    {.converter = Converter::kTempInfoToNet,
     .shape = Shape::kNetFrame,
     .words = layouts::kHeader,
     .arrays = {{layouts::sensor_values(68)}},
     .hook = ORVA_AGENT_ChgTempInfoMsgToNetPath},
    {.converter = Converter::kVltInfoToHost,
     .shape = Shape::kBody,
     .words = layouts::kHeader,
     .arrays = {{layouts::sensor_values(168)}},
     .order = StepOrder::kArraysFirst},
    {.converter = Converter::kVltInfoToNet,
     .shape = Shape::kNetFrame,
     .words = layouts::kHeader,
     .arrays = {{layouts::sensor_values(168)}}},
    {.converter = Converter::kMpuMngSensorInfoToHost,
     .shape = Shape::kBody,
     .words = layouts::kHeader,
     .arrays = layouts::kMpuMngSensors},
    // Kept: this variant goes to the net without a prefix.
    {.converter = Converter::kMpuMngSensorInfoToNet,
     .shape = Shape::kBody,
     .words = layouts::kHeader,
     .arrays = layouts::kMpuMngSensors},
    {.converter = Converter::kMpuMngSensorInfoMsgToNet,
     .shape = Shape::kNetFrame,
     .words = layouts::kHeader,
     .arrays = layouts::kMpuMngSensors},
    {.converter = Converter::kSubCardInfoToHost,
     .shape = Shape::kBody,
     .words = layouts::kHeaderAndOne,
     .arrays = layouts::kSubCards},
    {.converter = Converter::kSubCardInfoToNet,
     .shape = Shape::kNetFrame,
     .words = layouts::kHeaderAndOne,
     .arrays = layouts::kSubCards,
     .hook = ORVA_AGENT_ChgSubCardInfoMsgToNetPath},
    {.converter = Converter::kCardAttrToHost, .shape = Shape::kBody, .words = layouts::header_and(20)},
    {.converter = Converter::kCardAttrToNet, .shape = Shape::kNetFrame, .words = layouts::header_and(20)},
    {.converter = Converter::kCardHumidToHost, .shape = Shape::kBody, .words = layouts::header_and(20)},
    {.converter = Converter::kCardHumidToNet, .shape = Shape::kNetFrame, .words = layouts::header_and(20)},
    {.converter = Converter::kSimulateToHost,
     .shape = Shape::kBody,
     .words = layouts::kFirstWord,
     .arrays = {{layouts::kSimulatedStubs}}},
    {.converter = Converter::kSimulateToNet,
     .shape = Shape::kNetFrame,
     .words = layouts::kFirstWord,
     .arrays = {{layouts::kSimulatedStubs}},
     .order = StepOrder::kArraysFirst},
    {.converter = Converter::kSoNameReqToHost, .shape = Shape::kBody, .words = layouts::kFirstWord},
    {.converter = Converter::kSoNameReqToNet, .shape = Shape::kNetFrame, .words = layouts::kFirstWord},
    {.converter = Converter::kSoNameAckToHost,
     .shape = Shape::kBody,
     .words = layouts::kFirstWord,
     .arrays = {{layouts::kSoNames}}},
    {.converter = Converter::kSoNameAckToNet,
     .shape = Shape::kNetFrame,
     .words = layouts::kFirstWord,
     .arrays = {{layouts::kSoNames}},
     .order = StepOrder::kArraysFirst},
    {.converter = Converter::kFrameAttrToHost, .shape = Shape::kBody, .words = layouts::header_and(140)},
    {.converter = Converter::kFrameAttrReqToNet, .shape = Shape::kNetFrame, .words = layouts::header_and(140)},
    {.converter = Converter::kReqToHost, .shape = Shape::kBody, .words = layouts::kHeader},
    {.converter = Converter::kReqToNet, .shape = Shape::kBody, .words = layouts::kHeader},
    {.converter = Converter::kFrameCardPowerStateToHost, .shape = Shape::kBody, .words = layouts::kHeader},
    {.converter = Converter::kFrameCardPowerStateToNet, .shape = Shape::kNetFrame, .words = layouts::kHeader},
    {.converter = Converter::kPowerStateToNet,
     .shape = Shape::kNetFrame,
     .words = {{{0, 5}, {48, 1}}},
     .hook = ORVA_AGENT_ChgPowerStateMsgToNetPath},
    {.converter = Converter::kPwrSenCfgToHost,
     .shape = Shape::kBody,
     .words = layouts::header_and(80),
     .arrays = {{layouts::kPowerSensors}}},
    {.converter = Converter::kPwrSenCfgToNet,
     .shape = Shape::kNetFrame,
     .words = layouts::header_and(80),
     .arrays = {{layouts::kPowerSensors}}},
    // Kept: the heart beat's two directions are no mirror images; the words at 28, 36 and 40 change to host order
    // only.
    {.converter = Converter::kHeartBeatToHost,
     .shape = Shape::kBody,
     .words = {{{0, 8}, {36, 2}}},
     .hook = ORVA_AGENT_ChgHeartBeatMsgToHostPath},
    {.converter = Converter::kHeartBeatToNet,
     .shape = Shape::kNetFrame,
     .words = layouts::kHeaderAndThree,
     .hook = ORVA_AGENT_ChgHeartBeatMsgToNetPath},
    {.converter = Converter::kSensorCtrlToHost, .shape = Shape::kBody, .words = layouts::kHeaderAndThree},
    {.converter = Converter::kSensorCtrlToNet, .shape = Shape::kNetFrame, .words = layouts::kHeaderAndThree},
}};

namespace layouts {

consteval bool is_converted_word(const MessageLayout &layout, std::size_t offset) {
    return std::any_of(layout.words.begin(), layout.words.end(), [offset](const WordRun &run) {
        return offset >= run.offset && offset < run.offset + std::size_t{4} * run.words;
    });
}

consteval std::size_t fields_end(const EntryFields &fields) {
    std::size_t end = 0;
    for (const EntryField &field : fields) {
        end = std::max<std::size_t>(end, std::size_t{field.offset} + field.width);
    }
    return end;
}

// Fields ascend inside the entry, do not overlap and are 2 or 4 bytes wide.
consteval bool fields_fit(const EntryArray &array) {
    std::size_t end = 0;
    for (const EntryField &field : array.fields) {
        if (field.width == 0) {
            continue;
        }
        if ((field.width != 2 && field.width != 4) || field.offset < end) {
            return false;
        }
        end = std::size_t{field.offset} + field.width;
    }
    return array.fields[0].width != 0 && end <= array.stride;
}

// A byte count lies outside the converted words. A word count is the first of them, converted before the arrays to
// host order and after them to net order.
consteval bool count_fits(const MessageLayout &layout, const CountField &count) {
    if (count.form != CountForm::kWord) {
        return !is_converted_word(layout, count.offset);
    }
    const bool toNet = layout.shape == Shape::kNetFrame;
    return count.offset == layout.words[0].offset && (layout.order == StepOrder::kArraysFirst) == toNet;
}

// Runs and arrays ascend and do not overlap, so no byte is swapped twice.
consteval bool layout_fits(const MessageLayout &layout) {
    std::size_t end = 0;
    for (const WordRun &run : layout.words) {
        if (run.words != 0 && run.offset < end) {
            return false;
        }
        end = std::max<std::size_t>(end, run.offset + std::size_t{4} * run.words);
    }
    bool ended = false;
    for (const EntryArray &array : layout.arrays) {
        if (array.bound == 0) {
            ended = true;
            continue;
        }
        if (ended || array.offset < end || array.bound > 255 || !fields_fit(array) ||
            !count_fits(layout, array.count)) {
            return false;
        }
        end = array.offset + std::size_t{array.stride} * (array.bound - 1u) + fields_end(array.fields);
    }
    return layout.words[0].offset == 0 && layout.words[0].words != 0;
}

consteval bool table_fits() {
    std::size_t row = 0;
    for (const MessageLayout &layout : kMessageLayouts) {
        if (static_cast<std::size_t>(layout.converter) != row++ || !layout_fits(layout)) {
            return false;
        }
    }
    return true;
}

consteval auto rows_with_hook() {
    return std::count_if(kMessageLayouts.begin(), kMessageLayouts.end(),
                         [](const MessageLayout &layout) { return layout.hook.isSet; });
}

static_assert(table_fits());
static_assert(kMessageLayouts.size() == 38);
static_assert(rows_with_hook() == 10);

} // namespace layouts

namespace engine {

template <std::uint8_t kWidth>
[[gnu::always_inline]] inline void swap_field(std::uint8_t *at) {
    if constexpr (kWidth == 2) {
        swap_in_place<std::uint16_t>(at);
    } else if constexpr (kWidth == 4) {
        swap_in_place<std::uint32_t>(at);
    }
}

// Two neighbouring fields at once: reversed as one word, they change places, which the rotation undoes.
template <std::uint8_t kWidth>
[[gnu::always_inline]] inline void swap_pair(std::uint8_t *at) {
    if constexpr (kWidth == 2) {
        const std::uint32_t reversed = __builtin_bswap32(load_host<std::uint32_t>(at));
        store_host(at, reversed << 16 | reversed >> 16);
    } else {
        const std::uint64_t reversed = __builtin_bswap64(load_host<std::uint64_t>(at));
        store_host(at, reversed << 32 | reversed >> 32);
    }
}

template <Converter kRow>
inline constexpr const MessageLayout &kLayout = kMessageLayouts[static_cast<std::size_t>(kRow)];

template <Converter kRow, std::size_t kRun>
[[gnu::always_inline]] inline void swap_run(std::uint8_t *body) {
    constexpr WordRun kWords = kLayout<kRow>.words[kRun];
    std::uint8_t *word = body + kWords.offset;
    for (std::size_t i = 0; i < kWords.words / 2; ++i, word += 8) {
        swap_pair<4>(word);
    }
    if constexpr (kWords.words % 2 != 0) {
        swap_in_place<std::uint32_t>(word);
    }
}

// The number of entries to convert.
template <Converter kRow, std::size_t kArray>
[[gnu::always_inline]] inline std::uint32_t entry_count(std::uint8_t *body) {
    constexpr EntryArray kEntries = kLayout<kRow>.arrays[kArray];
    std::uint8_t *const field = body + kEntries.count.offset;
    std::uint32_t count = 0;
    if constexpr (kEntries.count.form == CountForm::kWord) {
        count = load_host<std::uint32_t>(field);
    } else {
        count = *field;
    }
    if (count <= kEntries.bound) {
        return count;
    }
    if constexpr (kEntries.count.form == CountForm::kClampedByte) {
        *field = static_cast<std::uint8_t>(kEntries.bound);
    }
    return kEntries.bound;
}

template <Converter kRow, std::size_t kArray>
[[gnu::always_inline]] inline void swap_entry(std::uint8_t *entry) {
    constexpr EntryField kFirst = kLayout<kRow>.arrays[kArray].fields[0];
    constexpr EntryField kSecond = kLayout<kRow>.arrays[kArray].fields[1];
    if constexpr (kFirst.width == kSecond.width && kSecond.offset == kFirst.offset + kFirst.width) {
        swap_pair<kFirst.width>(entry + kFirst.offset);
    } else {
        swap_field<kFirst.width>(entry + kFirst.offset);
        swap_field<kSecond.width>(entry + kSecond.offset);
    }
}

template <Converter kRow, std::size_t kArray>
[[gnu::always_inline]] inline void swap_array(std::uint8_t *body) {
    constexpr EntryArray kEntries = kLayout<kRow>.arrays[kArray];
    if constexpr (kEntries.bound != 0) {
        const std::uint32_t count = entry_count<kRow, kArray>(body);
        std::uint8_t *entry = body + kEntries.offset;
        for (std::uint32_t i = 0; i < count; ++i, entry += kEntries.stride) {
            swap_entry<kRow, kArray>(entry);
        }
    }
}

template <Converter kRow>
[[gnu::always_inline]] inline void swap_words(std::uint8_t *body) {
    swap_run<kRow, 0>(body);
    swap_run<kRow, 1>(body);
}

template <Converter kRow>
[[gnu::always_inline]] inline void swap_arrays(std::uint8_t *body) {
    swap_array<kRow, 0>(body);
    swap_array<kRow, 1>(body);
    swap_array<kRow, 2>(body);
}

} // namespace engine

// Converts the message in place and calls the row's hook, which stays a call of the public symbol.
template <Converter kRow>
[[gnu::always_inline]] inline void convert_message(void *message) {
    constexpr MessageLayout kLayout = engine::kLayout<kRow>;
    auto *body = static_cast<std::uint8_t *>(message);
    if constexpr (kLayout.shape == Shape::kNetFrame) {
        swap_in_place<std::uint16_t>(body);
        body += kNetPrefixBytes;
    }
    if constexpr (kLayout.order == StepOrder::kWordsFirst) {
        engine::swap_words<kRow>(body);
        engine::swap_arrays<kRow>(body);
    } else {
        engine::swap_arrays<kRow>(body);
        engine::swap_words<kRow>(body);
    }
    if constexpr (kLayout.hook.isSet) {
        kLayout.hook.call();
    }
}

} // namespace orva

#endif
