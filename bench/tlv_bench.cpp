// Encode and decode of a 24-field record: the TLV codec over a descriptor table of the bench's own, against nanopb
// with the same fields at the same widths; and the library's own temperature record, against straight-line code
// written by hand. All decode into a fresh record.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <benchmark/benchmark.h>

#include "hand_records.h"
#include "orva_tlv_sensor_comm.h"
#include "pb_decode.h"
#include "pb_encode.h"
#include "ratio_report.h"
#include "tlv_record.pb.h"

namespace {

using Record = BenchRecord; // the peer's plain structure serves both
constexpr double kGoal = 3.0;

template <typename Member>
constexpr OrvaTlvDes row(std::uint32_t tag, std::size_t offset) {
    using Element = std::remove_extent_t<Member>;
    constexpr std::uint32_t width = sizeof(Element);
    return {.flag = 1,
            .tag = tag,
            .offset = static_cast<std::uint32_t>(offset),
            .type = width == 4 ? ORVA_TLV_TYPE_U32 : width,
            .elemSize = width,
            .totalLen = sizeof(Member),
            .nested = nullptr,
            .nestedRows = 0,
            .reserved = 0};
}

#define ROW(tag, member) row<decltype(Record::member)>(tag, offsetof(Record, member))
constexpr OrvaTlvDes kTable[] = {
    ROW(1, node_type),    ROW(2, query),        ROW(3, chip),         ROW(4, cpu),          ROW(5, owner),
    ROW(6, lun),          ROW(7, number),       ROW(8, type),         ROW(9, assertion),    ROW(10, deassertion),
    ROW(11, unit),        ROW(12, upper_fatal), ROW(13, upper_major), ROW(14, upper_minor), ROW(15, lower_fatal),
    ROW(16, lower_major), ROW(17, lower_minor), ROW(18, reading),     ROW(19, interval),    ROW(20, last_change),
    ROW(21, serial),      ROW(22, flags),       ROW(23, slots),       ROW(24, reserve),
};
constexpr std::uint32_t kRows = sizeof kTable / sizeof *kTable;
static_assert(kRows == 24);

Record sample() {
    Record record = BenchRecord_init_zero;
    for (const OrvaTlvDes &field : kTable) {
        for (std::uint32_t i = 0; i < field.totalLen; ++i) {
            reinterpret_cast<std::uint8_t *>(&record)[field.offset + i] =
                static_cast<std::uint8_t>(field.tag * 37 + i * 11 + 1);
        }
    }
    return record;
}

// The callback that such a record's owner writes: a plain value by its width, the array whole.
std::uint32_t store(const void *item, void *ctx) {
    const std::uint32_t tag = ORVA_TLV_GetTag(item);
    if (tag - 1 >= kRows) {
        return tag;
    }
    const OrvaTlvDes &field = kTable[tag - 1];
    const auto *const value = static_cast<const std::uint8_t *>(item) + ORVA_TLV_ITEM_HEADER;
    auto *const member = static_cast<std::uint8_t *>(ctx) + field.offset;
    if (field.type == ORVA_TLV_TYPE_U8) {
        std::memcpy(member, value, field.totalLen);
    } else if (field.type == ORVA_TLV_TYPE_U16) {
        const auto half = static_cast<std::uint16_t>(value[0] << 8 | value[1]);
        std::memcpy(member, &half, sizeof half);
    } else {
        std::uint32_t word = 0;
        std::memcpy(&word, value, sizeof word);
        word = __builtin_bswap32(word);
        std::memcpy(member, &word, sizeof word);
    }
    return tag;
}

struct Buffer {
    std::uint8_t bytes[512];
    std::size_t size;
};

bool tlv_encode(const Record &record, Buffer &to) {
    to.size = ORVA_TLV_Encode(kTable, kRows, &record, to.bytes);
    return to.size != 0;
}

bool tlv_decode(const Buffer &from, Record &record) {
    return ORVA_TLV_Decode(from.bytes, kTable, kRows, store, &record) == 0;
}

bool peer_encode(const Record &record, Buffer &to) {
    pb_ostream_t stream = pb_ostream_from_buffer(to.bytes, sizeof to.bytes);
    const bool done = pb_encode(&stream, BenchRecord_fields, &record);
    to.size = stream.bytes_written;
    return done;
}

bool peer_decode(const Buffer &from, Record &record) {
    pb_istream_t stream = pb_istream_from_buffer(from.bytes, from.size);
    return pb_decode(&stream, BenchRecord_fields, &record);
}

bool same_members(const Record &a, const Record &b) {
    for (const OrvaTlvDes &field : kTable) {
        if (std::memcmp(reinterpret_cast<const std::uint8_t *>(&a) + field.offset,
                        reinterpret_cast<const std::uint8_t *>(&b) + field.offset, field.totalLen) != 0) {
            return false;
        }
    }
    return true;
}

template <bool (*Encode)(const Record &, Buffer &), bool (*Decode)(const Buffer &, Record &)>
bool round_trip() {
    const Record record = sample();
    Record received = BenchRecord_init_zero;
    Buffer buffer{};
    return Encode(record, buffer) && Decode(buffer, received) && same_members(record, received);
}

template <bool (*Encode)(const Record &, Buffer &)>
orva_bench::Work encode_work() {
    return [record = sample(), buffer = Buffer{}](std::uint64_t times) mutable {
        for (std::uint64_t i = 0; i < times; ++i) {
            record.interval = static_cast<std::uint32_t>(i);
            benchmark::DoNotOptimize(Encode(record, buffer));
            benchmark::ClobberMemory();
        }
    };
}

template <bool (*Encode)(const Record &, Buffer &), bool (*Decode)(const Buffer &, Record &)>
orva_bench::Work decode_work() {
    Buffer filled{};
    Encode(sample(), filled);
    return [filled](std::uint64_t times) {
        for (std::uint64_t i = 0; i < times; ++i) {
            Record record = BenchRecord_init_zero;
            benchmark::DoNotOptimize(Decode(filled, record));
            benchmark::DoNotOptimize(record);
            benchmark::ClobberMemory();
        }
    };
}

// ---- The temperature record

constexpr double kStraightGoal = 1.2;

using TempEncode = std::uint32_t (*)(const OrvaTempSensorCfg *, void *);
using TempDecode = std::uint32_t (*)(const void *, OrvaTempSensorCfg *);

std::uint32_t generic_temp_encode(const OrvaTempSensorCfg *cfg, void *out) {
    return ORVA_TLV_Encode(g_orvaTempSyncDataDes, ORVA_TEMP_SYNC_ROWS, cfg, out);
}

OrvaTempSensorCfg temp_sample() {
    OrvaTempSensorCfg cfg{};
    for (const OrvaTlvDes &field : g_orvaTempSyncDataDes) {
        std::memset(reinterpret_cast<std::uint8_t *>(&cfg) + field.offset, static_cast<int>(field.tag * 7 + 1),
                    field.totalLen);
    }
    cfg.assertionEventMask = 0xABCD;
    return cfg;
}

// The three encoders write the same block, and both decoders make the same record of it.
bool temp_forms_agree() {
    const OrvaTempSensorCfg cfg = temp_sample();
    std::uint8_t blocks[3][ORVA_TEMP_SYNC_LENGTH];
    OrvaTempSensorCfg received[2] = {};
    return ORVA_TLV_SyncTempCfgDataEncode(&cfg, blocks[0]) == ORVA_TEMP_SYNC_LENGTH &&
           orva_bench_hand_temp_encode(&cfg, blocks[1]) == ORVA_TEMP_SYNC_LENGTH &&
           generic_temp_encode(&cfg, blocks[2]) == ORVA_TEMP_SYNC_LENGTH &&
           std::memcmp(blocks[0], blocks[1], sizeof blocks[0]) == 0 &&
           std::memcmp(blocks[0], blocks[2], sizeof blocks[0]) == 0 &&
           ORVA_TLV_SyncTempCfgDataDecode(blocks[0], &received[0]) == 0 &&
           orva_bench_hand_temp_decode(blocks[0], &received[1]) == 0 &&
           std::memcmp(&received[0], &cfg, sizeof cfg) == 0 && std::memcmp(&received[1], &cfg, sizeof cfg) == 0;
}

orva_bench::Work temp_encode_work(TempEncode encode) {
    return [encode, cfg = temp_sample(), buffer = Buffer{}](std::uint64_t times) mutable {
        for (std::uint64_t i = 0; i < times; ++i) {
            cfg.sensorNum = static_cast<std::uint8_t>(i);
            benchmark::DoNotOptimize(encode(&cfg, buffer.bytes));
            benchmark::ClobberMemory();
        }
    };
}

orva_bench::Work temp_decode_work(TempDecode decode) {
    Buffer filled{};
    const OrvaTempSensorCfg cfg = temp_sample();
    ORVA_TLV_SyncTempCfgDataEncode(&cfg, filled.bytes);
    return [decode, filled](std::uint64_t times) {
        for (std::uint64_t i = 0; i < times; ++i) {
            OrvaTempSensorCfg received{};
            benchmark::DoNotOptimize(decode(filled.bytes, &received));
            benchmark::DoNotOptimize(received);
            benchmark::ClobberMemory();
        }
    };
}

} // namespace

int main(int argc, char **argv) {
    if (!round_trip<tlv_encode, tlv_decode>() || !round_trip<peer_encode, peer_decode>() || !temp_forms_agree()) {
        std::fprintf(stderr, "a codec does not give back what it was given\n");
        return 2;
    }
    orva_bench::RatioReport report;
    report.add("tlv encode 24 fields", "nanopb", encode_work<tlv_encode>(), encode_work<peer_encode>(),
               orva_bench::Goal::kAtLeastSpeed, kGoal);
    report.add("tlv decode 24 fields", "nanopb", decode_work<tlv_encode, tlv_decode>(),
               decode_work<peer_encode, peer_decode>(), orva_bench::Goal::kAtLeastSpeed, kGoal);
    const orva_bench::Work straight = temp_encode_work(ORVA_TLV_SyncTempCfgDataEncode);
    report.add("temperature record encode", "hand", straight, temp_encode_work(orva_bench_hand_temp_encode),
               orva_bench::Goal::kAtMostTime, kStraightGoal);
    report.add("temperature record encode", "generic", straight, temp_encode_work(generic_temp_encode));
    const orva_bench::Work straight_decode = temp_decode_work(ORVA_TLV_SyncTempCfgDataDecode);
    report.add("temperature record decode", "hand", straight_decode, temp_decode_work(orva_bench_hand_temp_decode),
               orva_bench::Goal::kAtMostTime, kStraightGoal);
    report.add("temperature record decode", "no memcpy_s", straight_decode,
               temp_decode_work(orva_bench_bare_temp_decode));
    return report.run(argc, argv);
}
