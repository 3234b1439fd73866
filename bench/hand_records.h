// The temperature record encoded and decoded by straight-line code, written out member by member as a careful person
// would write it for this one record.
#ifndef ORVA_HAND_RECORDS_H
#define ORVA_HAND_RECORDS_H

#include <cstdint>

#include "orva_tlv_sensor_comm.h"

// As ORVA_TLV_SyncTempCfgDataEncode.
extern "C" ORVA_API std::uint32_t orva_bench_hand_temp_encode(const OrvaTempSensorCfg *cfg, void *out);

// As ORVA_TLV_SyncTempCfgDataDecode for a block whose items are all there and in order; any other block is refused.
// The second form takes the 16-bit members by plain loads, where the first copies them by memcpy_s as the library
// must.
extern "C" ORVA_API std::uint32_t orva_bench_hand_temp_decode(const void *block, OrvaTempSensorCfg *cfg);
extern "C" ORVA_API std::uint32_t orva_bench_bare_temp_decode(const void *block, OrvaTempSensorCfg *cfg);

#endif
