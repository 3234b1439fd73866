// A received block through the bounded caller and, when it is whole, through its decoder. The first byte chooses the
// record; the rest lies in a buffer of exactly its size, so that a sanitizer sees every read past the end.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "orva_additions.h"
#include "orva_tlv_sensor_comm.h"
#include "platform_double.h"

namespace {

struct Kind {
    const OrvaTlvDes *table;
    std::uint32_t rows;
    std::uint32_t (*decode)(const void *block);
};

template <typename Record, std::uint32_t (*Decode)(const void *, Record *)>
std::uint32_t decode_into(const void *block) {
    Record record;
    std::memset(&record, 0xFF, sizeof record); // slot counts as large as they can be
    return Decode(block, &record);
}

std::uint32_t decode_delay(const void *block, OrvaDelayPowerOn *record) {
    return ORVA_TLV_Decode(block, g_orvaDelayPowerOnDes, ORVA_DELAY_POWER_ON_ROWS, ORVA_DelayPowerOn_SyncDataDecode,
                           record);
}

const Kind kKinds[] = {
    {g_orvaTempSyncDataDes, ORVA_TEMP_SYNC_ROWS, decode_into<OrvaTempSensorCfg, ORVA_TLV_SyncTempCfgDataDecode>},
    {g_orvaVltSyncDataDes, ORVA_VLT_SYNC_ROWS, decode_into<OrvaVltSensorCfg, ORVA_TLV_SyncVltCfgDataDecode>},
    {g_orvaFmeaSyncDataDes, ORVA_FMEA_SYNC_ROWS, decode_into<OrvaVltSensorCfg, ORVA_TLV_SyncFmeaDataDecode>},
    {g_orvaPwrSupSyncDataDes, ORVA_PWR_SUP_SYNC_ROWS, decode_into<OrvaVltSensorCfg, ORVA_TLV_SyncPowerSupplyDecode>},
    {g_orvaDelayPowerOnDes, ORVA_DELAY_POWER_ON_ROWS, decode_into<OrvaDelayPowerOn, decode_delay>},
    {g_orvaBoardInfoSyncToBakDataDes, ORVA_BOARD_INFO_SYNC_ROWS,
     decode_into<OrvaBoardInfoSync, ORVA_TLV_SyncBoardInfoToBakDecode>},
    {g_orvaPwrsSyncToBakDataDes, ORVA_PWRS_SYNC_ROWS, decode_into<OrvaPwrsPwrSync, ORVA_TLV_SyncPwrsPwrDataDecode>},
    {g_orvaAgentModelCtlTlvDes, ORVA_MODEL_CTL_ROWS,
     decode_into<OrvaAgentModelCtl, ORVA_OrvaAgt_ModelCtlTlvDataDecode>},
};

void stand_alone_items(const std::uint8_t *item, std::size_t size) {
    auto remaining = static_cast<std::uint32_t>(size);
    std::uint32_t consumed = 0;
    std::uint8_t number = 0;
    const std::uint32_t result = ORVA_TLV_SensorNumDecode(item, &remaining, &number, &consumed);
    if (result == ORVA_OK && (consumed != ORVA_TLV_SENSOR_NUM_LENGTH || remaining + consumed != size)) {
        std::abort();
    }
    ORVA_OrvaAgt_HandleFruTlvForE2prom(item, &number, static_cast<std::uint32_t>(size));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    orva_test::reset_platform();
    if (size == 0) {
        return 0;
    }
    const Kind &kind = kKinds[data[0] % (sizeof kKinds / sizeof *kKinds)];
    const std::size_t received = size - 1;
    const std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[received]);
    std::memcpy(block.get(), data + 1, received);
    stand_alone_items(block.get(), received);
    if (orva_tlv_block_is_whole(block.get(), received, kind.table, kind.rows) &&
        kind.decode(block.get()) != ORVA_OK) {
        std::abort(); // a whole block has no empty item
    }
    return 0;
}
