// Encode and decode of the temperature record against msgpack-c and protobuf-c with the same 24 values. All write
// into a buffer that is there already, and all read into a fresh record.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <benchmark/benchmark.h>
#include <msgpack.h>

#include "orva_tlv_sensor_comm.h"
#include "ratio_report.h"
#include "temp_record.pb-c.h"

namespace {

// MEMBER(name in the record, name in the peer's structure), in the order of the tags.
#define TEMP_MEMBERS(MEMBER)                                                                                         \
    MEMBER(tempNodeType, tempnodetype)                                                                               \
    MEMBER(queryByChip, querybychip)                                                                                 \
    MEMBER(sensorNum, sensornum)                                                                                     \
    MEMBER(sensorType, sensortype)                                                                                   \
    MEMBER(chipIndex, chipindex)                                                                                     \
    MEMBER(sensorInitia, sensorinitia)                                                                               \
    MEMBER(assertionEventMask, assertioneventmask)                                                                   \
    MEMBER(deassertionEventMask, deassertioneventmask)                                                               \
    MEMBER(uprMinorAlm, uprminoralm)                                                                                 \
    MEMBER(uprMajorAlm, uprmajoralm)                                                                                 \
    MEMBER(uprFatalAlm, uprfatalalm)                                                                                 \
    MEMBER(busId, busid)                                                                                             \
    MEMBER(negativegoingThre, negativegoingthre)                                                                     \
    MEMBER(positivegoingThre, positivegoingthre)                                                                     \
    MEMBER(lwrMinorAlm, lwrminoralm)                                                                                 \
    MEMBER(lwrMajorAlm, lwrmajoralm)                                                                                 \
    MEMBER(lwrFatalAlm, lwrfatalalm)                                                                                 \
    MEMBER(cpuIndex, cpuindex)                                                                                       \
    MEMBER(ownerId, ownerid)                                                                                         \
    MEMBER(ownerLun, ownerlun)                                                                                       \
    MEMBER(i2cChannel, i2cchannel)                                                                                   \
    MEMBER(reserve, reserve)                                                                                         \
    MEMBER(deviceModifier, devicemodifier)                                                                           \
    MEMBER(sensorUnit3, sensorunit3)

constexpr std::size_t kMembers = 24;

struct Buffer {
    char bytes[512];
    std::size_t size;
};

OrvaTempSensorCfg sample() {
    OrvaTempSensorCfg record{};
    int value = 0;
#define FILL(ours, peer) record.ours = static_cast<decltype(record.ours)>(value += 7);
    TEMP_MEMBERS(FILL)
#undef FILL
    record.assertionEventMask = 0xABCD;
    return record;
}

// ---- The library

bool our_encode(const OrvaTempSensorCfg &record, Buffer &to) {
    to.size = ORVA_TLV_SyncTempCfgDataEncode(&record, to.bytes);
    return to.size != 0;
}

bool our_decode(const Buffer &from, OrvaTempSensorCfg &record) {
    return ORVA_TLV_SyncTempCfgDataDecode(from.bytes, &record) == 0;
}

// ---- msgpack-c: an array of the 24 values

int append(void *to, const char *bytes, std::size_t size) {
    auto *const buffer = static_cast<Buffer *>(to);
    std::memcpy(buffer->bytes + buffer->size, bytes, size);
    buffer->size += size;
    return 0;
}

bool msgpack_encode(const OrvaTempSensorCfg &record, Buffer &to) {
    to.size = 0;
    msgpack_packer packer;
    msgpack_packer_init(&packer, &to, append);
    int failed = msgpack_pack_array(&packer, kMembers);
    const auto pack = [&](auto value) {
        if constexpr (sizeof value == 1) {
            failed |= msgpack_pack_uint8(&packer, value);
        } else {
            failed |= msgpack_pack_uint16(&packer, value);
        }
    };
#define PACK(ours, peer) pack(record.ours);
    TEMP_MEMBERS(PACK)
#undef PACK
    return failed == 0;
}

bool msgpack_decode(const Buffer &from, OrvaTempSensorCfg &record) {
    msgpack_unpacked unpacked;
    msgpack_unpacked_init(&unpacked);
    std::size_t at = 0;
    const bool isRead = msgpack_unpack_next(&unpacked, from.bytes, from.size, &at) == MSGPACK_UNPACK_SUCCESS &&
                        unpacked.data.type == MSGPACK_OBJECT_ARRAY && unpacked.data.via.array.size == kMembers;
    if (isRead) {
        const msgpack_object *value = unpacked.data.via.array.ptr;
#define TAKE(ours, peer) record.ours = static_cast<decltype(record.ours)>((value++)->via.u64);
        TEMP_MEMBERS(TAKE)
#undef TAKE
    }
    msgpack_unpacked_destroy(&unpacked);
    return isRead;
}

// ---- protobuf-c

bool protobuf_encode(const OrvaTempSensorCfg &record, Buffer &to) {
    BenchTempRecord message = BENCH_TEMP_RECORD__INIT;
#define SET(ours, peer) message.peer = record.ours;
    TEMP_MEMBERS(SET)
#undef SET
    to.size = bench_temp_record__pack(&message, reinterpret_cast<std::uint8_t *>(to.bytes));
    return to.size != 0;
}

bool protobuf_decode(const Buffer &from, OrvaTempSensorCfg &record) {
    BenchTempRecord *const message =
        bench_temp_record__unpack(nullptr, from.size, reinterpret_cast<const std::uint8_t *>(from.bytes));
    if (message == nullptr) {
        return false;
    }
#define GET(ours, peer) record.ours = static_cast<decltype(record.ours)>(message->peer);
    TEMP_MEMBERS(GET)
#undef GET
    bench_temp_record__free_unpacked(message, nullptr);
    return true;
}

// ---- All of them

template <bool (*Encode)(const OrvaTempSensorCfg &, Buffer &), bool (*Decode)(const Buffer &, OrvaTempSensorCfg &)>
bool gives_back() {
    const OrvaTempSensorCfg record = sample();
    OrvaTempSensorCfg received{};
    Buffer buffer{};
    return Encode(record, buffer) && Decode(buffer, received) && std::memcmp(&record, &received, sizeof record) == 0;
}

template <bool (*Encode)(const OrvaTempSensorCfg &, Buffer &)>
orva_bench::Work encode_work() {
    return [record = sample(), buffer = Buffer{}](std::uint64_t times) mutable {
        for (std::uint64_t i = 0; i < times; ++i) {
            record.sensorNum = static_cast<std::uint8_t>(i);
            benchmark::DoNotOptimize(Encode(record, buffer));
            benchmark::ClobberMemory();
        }
    };
}

template <bool (*Encode)(const OrvaTempSensorCfg &, Buffer &), bool (*Decode)(const Buffer &, OrvaTempSensorCfg &)>
orva_bench::Work decode_work() {
    Buffer filled{};
    Encode(sample(), filled);
    return [filled](std::uint64_t times) {
        for (std::uint64_t i = 0; i < times; ++i) {
            OrvaTempSensorCfg record{};
            benchmark::DoNotOptimize(Decode(filled, record));
            benchmark::DoNotOptimize(record);
            benchmark::ClobberMemory();
        }
    };
}

} // namespace

int main(int argc, char **argv) {
    if (!gives_back<our_encode, our_decode>() || !gives_back<msgpack_encode, msgpack_decode>() ||
        !gives_back<protobuf_encode, protobuf_decode>()) {
        std::fputs("a codec does not give back what it was given\n", stderr);
        return 2;
    }
    constexpr auto kFaster = orva_bench::Goal::kAtLeastSpeed;
    orva_bench::RatioReport report;
    const orva_bench::Work encode = encode_work<our_encode>();
    report.add("temperature record encode", "msgpack-c", encode, encode_work<msgpack_encode>(), kFaster, 1);
    report.add("temperature record encode", "protobuf-c", encode, encode_work<protobuf_encode>(), kFaster, 1);
    const orva_bench::Work decode = decode_work<our_encode, our_decode>();
    report.add("temperature record decode", "msgpack-c", decode, decode_work<msgpack_encode, msgpack_decode>(),
               kFaster, 1);
    report.add("temperature record decode", "protobuf-c", decode, decode_work<protobuf_encode, protobuf_decode>(),
               kFaster, 1);
    return report.run(argc, argv);
}
