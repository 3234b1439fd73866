// Start mode and run flags: the markers of a finished start, and the power-off file.
#include "orva_comm.h"

#include <cstdint>
#include <cstdio>

#include "line_reader.h"
#include "log_record.h"
#include "orva_file.h"
#include "safeio.h"
#include "tova.h"

namespace {

constexpr const char *kMarkerFiles[] = {"/tmp/orva_init_ok", "/tmp/orva_agent_init_ok"};
constexpr char kConfigFile[] = "/opt/keldv8/data/ORVA_CFG.ini";
constexpr std::uint32_t kMarkerMode = 0600;

// The marker of a process kind, or null.
const char *marker_file(std::uint32_t kind) {
    return kind <= ORVA_PROCESS_AGENT ? kMarkerFiles[kind] : nullptr;
}

} // namespace

void ORVA_COMM_InitProcessStartMode(uint32_t kind, uint32_t *warm) {
    *warm = ORVA_START_COLD;
    const char *const marker = marker_file(kind);
    if (marker == nullptr) {
        return;
    }
    FILE *const file = fopen(marker, "r");
    if (file == nullptr) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, orva::kCodeState, "Get reboot flag file fopen null");
        return;
    }
    *warm = ORVA_START_WARM;
    ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, orva::kCodeState,
                     "Reboot flag file already exists and orva start mode warm");
    ORVA_FileClose(file);
}

void ORVA_COMM_SetProcessStartMode(uint32_t kind) {
    const char *const marker = marker_file(kind);
    if (marker == nullptr) {
        return;
    }
    FILE *const file = fopen(marker, "a+");
    if (file == nullptr) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, orva::kCodeState, "Reboot flag file fopen null");
        return;
    }
    orva::LineReader lines(file);
    if (lines.next() == nullptr) {
        ORVA_Fchmod(marker, kMarkerMode);
        fputs("5\n", file);
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, orva::kCodeState, "Reboot flag file is created");
    }
}

uint32_t ORVA_GetIndependPwrOffFlag(uint8_t slot, uint8_t index) {
    if (slot > ORVA_INDEPEND_SLOT_MAX || index > ORVA_INDEPEND_INDEX_MAX) {
        return 0;
    }
    FILE *const file = fopen(kConfigFile, "r");
    if (file == nullptr) {
        return 0;
    }
    orva::LineReader lines(file);
    while (const char *line = lines.next()) {
        unsigned lineSlot = 0;
        unsigned lineIndex = 0;
        unsigned flag = 0;
        const int parsed = sscanf_s(line, "independ_%u_%u:%u;", &lineSlot, &lineIndex, &flag);
        // Compat: callers' code. An empty or blank line ends the search; a line that switches off does not.
        if (parsed < 0) {
            return 0;
        }
        if (parsed == 3 && lineSlot == slot && lineIndex == index && flag == 1) {
            return 1;
        }
    }
    return 0;
}

uint32_t ORVA_CheckIsCaseTemp(int8_t sensorType) {
    return sensorType == ORVA_CASE_TEMP_TYPE_A || sensorType == ORVA_CASE_TEMP_TYPE_B ? 1 : 0;
}

uint32_t liborva_comm_PAT_C2HSyncHookFunc(void) {
    return 0;
}
