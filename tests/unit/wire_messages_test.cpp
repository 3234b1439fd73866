// The description of the agent messages against the library: every converter moves exactly the bytes that its row
// says, and the checks refuse rows that are wrong.
#include "wire_messages.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <numeric>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace orva::wire;
using Bytes = std::vector<std::uint8_t>;

// ---- Which byte of the buffer before a conversion each byte after it comes from

constexpr std::size_t kGuardBytes = 64;

// A value for each of a message's counts.
struct Count {
    const Field *field;
    std::uint32_t value;
};
using Counts = std::vector<Count>;

std::uint32_t entries(const Counts &counts, const Array &array) {
    const auto count = std::find_if(counts.begin(), counts.end(), [&array](const Count &one) {
        return std::string_view(one.field->name) == array.count;
    });
    return std::min<std::uint32_t>(count->value, array.bound);
}

// Reverses the sources of a field's bytes.
void reverse(std::vector<std::size_t> &sources, std::size_t offset, std::size_t width) {
    const auto first = sources.begin() + static_cast<std::ptrdiff_t>(offset);
    std::reverse(first, first + static_cast<std::ptrdiff_t>(width));
}

std::vector<std::size_t> described_sources(const Converter &converter, const Counts &counts, std::size_t size) {
    std::vector<std::size_t> sources(size);
    std::iota(sources.begin(), sources.end(), 0);
    const Message &message = *converter.message;
    const std::size_t base = prefix_bytes(converter.shape);
    if (base != 0) {
        reverse(sources, 0, kPrefixField.width);
    }
    for (const Field &field : message.fields) {
        if (is_swapped(field.swapped, converter.direction)) {
            reverse(sources, base + field.offset, field.width);
        }
    }
    for (std::size_t k = 0; k < length_of(message.arrays); ++k) {
        const Array &array = message.arrays[k];
        for (std::uint32_t i = 0; i < entries(counts, array); ++i) {
            for (const Field &field : array.fields) {
                if (is_swapped(field.swapped, converter.direction)) {
                    reverse(sources, base + array.offset + std::size_t{array.stride} * i + field.offset, field.width);
                }
            }
        }
    }
    return sources;
}

// The count as the converter receives it: a word is still in the other side's order.
void put_count(Bytes &buffer, const Converter &converter, const Count &count) {
    std::uint8_t *const at = buffer.data() + prefix_bytes(converter.shape) + count.field->offset;
    if (count.field->width == 1) {
        *at = static_cast<std::uint8_t>(count.value);
        return;
    }
    for (unsigned k = 0; k < 4; ++k) {
        const unsigned shift = converter.direction == Direction::kHost ? 24 - 8 * k : 8 * k;
        at[k] = static_cast<std::uint8_t>(count.value >> shift);
    }
}

// Converts a buffer between guards.
Bytes converted(const Converter &converter, const Bytes &before) {
    Bytes storage(before.size() + 2 * kGuardBytes, 0xE7);
    std::copy(before.begin(), before.end(), storage.begin() + kGuardBytes);
    converter.call(storage.data() + kGuardBytes);
    const auto is_guard = [](std::uint8_t byte) { return byte == 0xE7; };
    EXPECT_TRUE(std::all_of(storage.begin(), storage.begin() + kGuardBytes, is_guard)) << converter.function;
    EXPECT_TRUE(std::all_of(storage.end() - kGuardBytes, storage.end(), is_guard)) << converter.function;
    return {storage.begin() + kGuardBytes, storage.end() - kGuardBytes};
}

// Two conversions, of the low and of the high byte of each byte's own position, tell where every byte came from. The
// bytes of the counts, which hold the counts in both, are left out.
void expect_described_permutation(const Converter &converter, const Counts &counts) {
    const std::size_t base = prefix_bytes(converter.shape);
    const std::size_t size = base + body_bytes(*converter.message);
    Bytes low(size), high(size);
    for (std::size_t i = 0; i < size; ++i) {
        low[i] = static_cast<std::uint8_t>(i);
        high[i] = static_cast<std::uint8_t>(i >> 8);
    }
    std::set<std::size_t> countBytes;
    for (const Count &count : counts) {
        put_count(low, converter, count);
        put_count(high, converter, count);
        for (std::size_t k = 0; k < count.field->width; ++k) {
            countBytes.insert(base + count.field->offset + k);
        }
    }
    const Bytes lowAfter = converted(converter, low);
    const Bytes highAfter = converted(converter, high);
    const std::vector<std::size_t> sources = described_sources(converter, counts, size);
    for (std::size_t i = 0; i < size; ++i) {
        if (!countBytes.contains(i)) {
            ASSERT_EQ(lowAfter[i] | std::size_t{highAfter[i]} << 8, sources[i])
                << converter.function << " byte " << i;
        } else if (!std::any_of(converter.message->arrays.begin(), converter.message->arrays.end(),
                                [](const Array &array) { return array.clamps; })) {
            ASSERT_EQ(lowAfter[i], low[sources[i]]) << converter.function << " count byte " << i;
        }
    }
}

// Every set of the interesting values of a message's counts.
std::vector<Counts> all_counts(const Message &message) {
    std::vector<Counts> sets{{}};
    for (const Field &field : message.fields) {
        std::set<std::uint32_t> values;
        for (std::size_t k = 0; k < length_of(message.arrays); ++k) {
            const Array &array = message.arrays[k];
            if (field.name != nullptr && std::string_view(field.name) == array.count) {
                values.insert({0, 1, array.bound, array.bound + 1u, 255});
            }
        }
        std::vector<Counts> longer;
        for (const Counts &counts : sets) {
            for (const std::uint32_t value : values) {
                longer.push_back(counts);
                longer.back().push_back({&field, value});
            }
        }
        sets = longer.empty() ? sets : longer;
    }
    return sets;
}

TEST(WireMessages, EveryConverterMakesExactlyTheDescribedPermutation) {
    for (const Converter &converter : kConverters) {
        const auto sets = all_counts(*converter.message);
        EXPECT_EQ(sets.size() > 1, length_of(converter.message->arrays) != 0) << converter.function;
        for (const Counts &counts : sets) {
            ASSERT_NO_FATAL_FAILURE(expect_described_permutation(converter, counts));
        }
    }
}

TEST(WireMessages, ACountAboveItsBoundIsOverwrittenWhereItIsClampedOnly) {
    for (const Converter &converter : kConverters) {
        for (std::size_t k = 0; k < length_of(converter.message->arrays); ++k) {
            const Array &array = converter.message->arrays[k];
            const Field count = count_field(*converter.message, array);
            if (count.width != 1) {
                EXPECT_FALSE(array.clamps);
                continue;
            }
            const std::size_t base = prefix_bytes(converter.shape);
            for (const std::uint32_t value : {array.bound + 0u, array.bound + 1u, 255u}) {
                Bytes buffer(base + body_bytes(*converter.message));
                buffer[base + count.offset] = static_cast<std::uint8_t>(value);
                converter.call(buffer.data());
                EXPECT_EQ(buffer[base + count.offset],
                          array.clamps ? std::min<std::uint32_t>(value, array.bound) : value)
                    << converter.function;
            }
        }
    }
}

// ---- The checks

// A message that differs from a sound one in one point.
template <typename Change>
Message changed(Message message, Change change) {
    change(message);
    return message;
}

TEST(WireMessages, MessageIsSound_RefusesEveryWrongField) {
    const auto refuses = [](auto change) { return !message_is_sound(changed(kTempInfo, change)); };
    ASSERT_TRUE(message_is_sound(kTempInfo));
    EXPECT_TRUE(refuses([](Message &m) { m.family = ""; }));
    EXPECT_TRUE(refuses([](Message &m) { m.text = ""; }));
    EXPECT_TRUE(refuses([](Message &m) { m.fields[1].name = ""; }));
    EXPECT_TRUE(refuses([](Message &m) { m.fields[1].text = ""; }));
    EXPECT_TRUE(refuses([](Message &m) { m.fields[1].offset = 3; })); // overlaps the first
    EXPECT_TRUE(refuses([](Message &m) { m.fields[1].width = 2; }));  // not a word, but converted
    EXPECT_TRUE(refuses([](Message &m) { m.fields[4].width = 3; }));  // not a number
    EXPECT_TRUE(refuses([](Message &m) { m.fields[4].width = 0; }));
    EXPECT_TRUE(refuses([](Message &m) { m.fields[0].offset = 1; })); // the body starts later
    EXPECT_TRUE(refuses([](Message &m) { m.fields[0].swapped = Swapped::kToHost; }));
    EXPECT_TRUE(refuses([](Message &m) { m.fields[2].name = "src_slot"; })); // twice
    EXPECT_TRUE(refuses([](Message &m) { m.fields[6] = m.fields[4]; }));     // after the end of the list
}

TEST(WireMessages, MessageIsSound_RefusesEveryWrongArray) {
    const auto refuses = [](auto change) {
        return !message_is_sound(changed(kMpuMngSensorInfo, [&change](Message &m) { change(m.arrays); }));
    };
    ASSERT_TRUE(message_is_sound(kMpuMngSensorInfo));
    EXPECT_TRUE(refuses([](Arrays &a) { a[0].text = ""; }));
    EXPECT_TRUE(refuses([](Arrays &a) { a[0].offset = 17; }));  // overlaps a field
    EXPECT_TRUE(refuses([](Arrays &a) { a[1].offset = 839; })); // overlaps the first array
    EXPECT_TRUE(refuses([](Arrays &a) { a[0].bound = 0; }));
    EXPECT_TRUE(refuses([](Arrays &a) { a[1].bound = 256; }));       // more than a byte counts
    EXPECT_TRUE(refuses([](Arrays &a) { a[0].stride = 7; }));        // shorter than its fields
    EXPECT_TRUE(refuses([](Arrays &a) { a[0].count = "count"; }));   // no such field
    EXPECT_TRUE(refuses([](Arrays &a) { a[0].count = "word_12"; })); // a word that is not the first
    EXPECT_TRUE(refuses([](Arrays &a) { a[0].name = "src_slot"; })); // twice
    EXPECT_TRUE(refuses([](Arrays &a) { a[0].fields[1].offset = 1; }));
    EXPECT_TRUE(refuses([](Arrays &a) { a[0].fields[0].width = 1; }));
    EXPECT_TRUE(refuses([](Arrays &a) { a[0].fields[0].swapped = Swapped::kToHost; }));
    EXPECT_TRUE(refuses([](Arrays &a) { a[0].fields = {}; }));
}

TEST(WireMessages, MessageIsSound_RefusesAWordThatCountsAndIsClampedOrKept) {
    EXPECT_TRUE(message_is_sound(kSimulate));
    EXPECT_FALSE(message_is_sound(changed(kSimulate, [](Message &m) { m.arrays[0].clamps = true; })));
    EXPECT_FALSE(message_is_sound(changed(kTempInfo, [](Message &m) { m.fields[4].swapped = Swapped::kBoth; })));
}

TEST(WireMessages, ConvertersAreSound_RefusesEveryWrongRow) {
    const auto refuses = [](auto change) {
        auto rows = kConverters;
        change(rows);
        return !converters_are_sound(rows);
    };
    ASSERT_TRUE(converters_are_sound(kConverters));
    using Rows = std::remove_const_t<decltype(kConverters)>;
    EXPECT_TRUE(refuses([](Rows &rows) { rows[0].direction = Direction::kNet; }));
    EXPECT_TRUE(refuses([](Rows &rows) { rows[1].direction = Direction::kHost; }));
    EXPECT_TRUE(refuses([](Rows &rows) { rows[0].shape = Shape::kFrame; }));
    EXPECT_TRUE(refuses([](Rows &rows) { rows[0].function = "AGENT_ChgSwitchOverMsgToHost"; }));
    EXPECT_TRUE(refuses([](Rows &rows) { rows[2].function = rows[0].function; }));
    EXPECT_TRUE(refuses([](Rows &rows) { std::swap(rows[1], rows[2]); })); // a message in two places
}

} // namespace
