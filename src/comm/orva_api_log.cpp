// Owns the form of fault records and their wording tables, and the way to the serial console. Knows nothing of which
// faults there are, and keeps no state.
#include "orva_api_log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>

#include "log_record.h"
#include "orva_comm.h"
#include "orva_diag.h"
#include "orva_drvadp_comm.h"
#include "partition_memory.h"
#include "safeio.h"
#include "tova.h"
#include "tracked_descriptor.h"

// ---- Wording

constexpr OrvaDlogInfoDesc g_dlogInfoDesc[ORVA_DLOG_INFO_ROWS] = {
    {ORVA_INFO_POWER_INPUT, "[0:AC 1:DC 2:HVDC 3/4:TRANSBOARD 5:UNKNOWN]"},
    {ORVA_INFO_POWER_STATE, "[0:POWER_OFF 1:POWER_ON 2:POWER_SLEEP 3:FAKE OFF 4:FAKE SLEEP]"},
    {ORVA_INFO_CARD_PLUG, "[0:PLUG_IN 1:PLUG_OUT]"},
    {ORVA_INFO_PLUG, "[0:PLUG_IN 1:PLUG_OUT]"},
};

// Searched in this order: the standard IPMI types, then the system's own.
constexpr OrvaSensorTypeDesc g_sensorTypeDesc[ORVA_SENSOR_TYPE_ROWS] = {
    {0x01, "temperature"},
    {0x02, "voltage"},
    {0x03, "current"},
    {0x04, "fan"},
    {0x05, "physical security"},
    {0x06, "platform security"},
    {0x07, "processor"},
    {0x08, "power supply"},
    {0x09, "power unit"},
    {0x0A, "cooling device"},
    {0x0B, "other unit based"},
    {0x0C, "memory"},
    {0x0D, "drive slot"},
    {0x0E, "post memory resize"},
    {0x0F, "system firmware progress"},
    {0x10, "event logging disabled"},
    {0x11, "watch dog1"},
    {0x12, "system event"},
    {0x13, "critical interrupt"},
    {0x14, "button"},
    {0x15, "module board"},
    {0x16, "microcontroller"},
    {0x17, "addin card"},
    {0x18, "chassis"},
    {0x19, "sensor chipset"},
    {0x1A, "other fru"},
    {0x1B, "cable"},
    {0x1C, "terminator"},
    {0x1D, "system boot initiated"},
    {0x1E, "boot error"},
    {0x1F, "os boot"},
    {0x20, "os critical stop"},
    {0x21, "slot"},
    {0x22, "acpi power state"},
    {0x23, "watch dog2"},
    {0x24, "platform alert"},
    {0x25, "entity presence"},
    {0x26, "monitor asic"},
    {0x27, "lan"},
    {0x28, "management subsystem"},
    {0x29, "battery"},
    {0x30, "71xx"},
    {0x31, "pbm"},
    {0x53, "single can invalid"},
    {0x56, "boardin alarm"},
    {0x7C, "fan block"},
    {0x7D, "blade reset"},
    {0x7E, "io"},
    {0x7F, "clock invalid"},
    {0x80, "48v check"},
    {0xA0, "pwr cpld PG signal"},
    {0xA3, "i2c invalid"},
    {0xA5, "gdq invalid"},
    {0xA6, "pwr cpld"},
    {0xA7, "pwr epld IIC"},
    {0xA8, "pwr epld power off flag"},
    {0xA9, "pwr epld ADC i2c invalid"},
    {0xA2, "current nobalance"},
    {0xE0, "oem e0"},
    {0xED, "oem ed"},
    {0xEE, "oem ee"},
    {0xEF, "oem ef"},
    {0xF0, "hotswap"},
    {0xF1, "can invalid"},
    {0xF2, "epld test"},
    {0xF3, "humidity"},
    {0xF4, "canbus communication invalid"},
    {0xF5, "all card i2c alert"},
    {0xF6, "vrm alert"},
    {0xF7, "e2prom alert"},
    {0xF8, "systemboard i2c alert"},
    {0xF9, "corroded voltage alert"},
    {0xFA, "spi chan invalid"},
    {0xFD, "9555 i2c burnout"},
    {0xFE, "poe burnout"},
    {0x9E, "environment check"},
    {0x9F, "salt fog check"},
    {0xFF, "type end"},
};

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_api_log");
constexpr std::uint32_t kLastIpmiType = 0x29;

consteval bool ipmi_types_come_first() {
    for (std::uint32_t i = 0; i < kLastIpmiType; ++i) {
        if (g_sensorTypeDesc[i].type != i + 1) {
            return false;
        }
    }
    return true;
}

consteval bool every_row_is_filled() {
    return std::ranges::all_of(g_sensorTypeDesc, [](const OrvaSensorTypeDesc &row) {
        return row.type != 0 && row.type <= UINT8_MAX && row.name[0] != '\0';
    });
}

static_assert(ipmi_types_come_first());
static_assert(every_row_is_filled());

constexpr OrvaPositionDesc kPositionDesc[] = {
    {ORVA_ID_KIND_DRIVER, ORVA_INFO_POSITION, "[DrvSlot=", ", DrvFruId="},
    {ORVA_ID_KIND_PHYSICAL, ORVA_INFO_POSITION, "[PhySlot=", ", PhyFruId="},
};

void copy_prefix(char (&to)[16], const char *prefix, std::uint32_t line = __builtin_LINE()) {
    const int result = strcpy_s(to, sizeof to, prefix);
    if (result != 0) {
        orva::log_strcpy_error(kArea, result, line);
    }
}

} // namespace

const char *ORVA_GetTypeDescByInfoId(uint32_t infoId) {
    const auto *row = std::ranges::find(g_dlogInfoDesc, infoId, &OrvaDlogInfoDesc::infoId);
    return row == std::end(g_dlogInfoDesc) ? nullptr : row->legend;
}

void ORVA_EncodeDefaultDesc(uint32_t infoId, OrvaPositionDesc *desc) {
    if (desc == nullptr) {
        return;
    }
    desc->infoId = infoId;
    copy_prefix(desc->slotPrefix, "[Slot=");
    copy_prefix(desc->fruPrefix, ", FruId=");
}

void ORVA_GetIdDescByInfoId(uint32_t idKind, OrvaPositionDesc *desc) {
    if (desc == nullptr) {
        return;
    }
    const auto *row = std::ranges::find(kPositionDesc, idKind, &OrvaPositionDesc::idKind);
    if (row == std::end(kPositionDesc)) {
        ORVA_EncodeDefaultDesc(idKind, desc);
    } else {
        *desc = *row;
    }
}

const char *ORVA_ALARM_GetSensorTypeDesc(uint8_t type) {
    const auto *row = std::ranges::find(g_sensorTypeDesc, std::uint32_t{type}, &OrvaSensorTypeDesc::type);
    return row == std::end(g_sensorTypeDesc) ? "unknown" : row->name;
}

// ---- Formatters

namespace {

constexpr std::size_t kFaultTextSize = 512;
constexpr std::size_t kFaultLineSize = 592;
constexpr std::uint32_t kUnknownPowerInput = 5;
constexpr std::uint32_t kUnsetPowerInput = 0xFF;

// What a formatter works with: the caller's text, and room for the line.
struct Report {
    orva::PartitionPtr<char> text;
    orva::PartitionPtr<char> line;
    bool isGivenUp;
};

// Formats the caller's text and removes one line end from its end. Drops the report when there is no memory, when the
// text cannot be formatted, and when it is shorter than `shortest` characters.
Report open_report(int shortest, const char *format, va_list args) {
    Report report{orva::make_partition_buffer(kArea, kFaultTextSize), {}, true};
    if (report.text == nullptr) {
        return report;
    }
    report.line = orva::make_partition_buffer(kArea, kFaultLineSize);
    if (report.line == nullptr) {
        return report;
    }
    char *text = report.text.get();
    int length = vsnprintf_s(text, kFaultTextSize, kFaultTextSize - 1, format, args);
    if (length > 0 && text[length - 1] == '\n') {
        text[--length] = '\0';
    }
    report.isGivenUp = length < shortest;
    return report;
}

void close_report(Report &report, std::uint32_t line = __builtin_LINE()) {
    orva::release_block(report.line, line);
    orva::release_block(report.text, line);
}

void log_refusal(std::uint32_t result, std::uint32_t line) {
    if (result != 0) {
        // Compat: texts that others parse. A log that refuses a record is reported as a failed copy.
        orva::log_mem_copy_code_error(kArea, result, line);
    }
}

// Passes a built line to the diagnostic log.
void send(const Report &report, std::uint32_t infoId, std::uint32_t word3, std::uint32_t line = __builtin_LINE()) {
    log_refusal(ORVA_DIAGLOG(0, infoId, word3, 0, 0, "%s", report.line.get()), line);
}

// The same, unless building the line failed.
void send_built(const Report &report, int built, std::uint32_t infoId, std::uint32_t word3,
                std::uint32_t line = __builtin_LINE()) {
    if (built < 0) {
        orva::log_sprintf_error(kArea, built, line);
        return;
    }
    send(report, infoId, word3, line);
}

// A copy of a built line that is a format and prints as the line.
struct LineAsFormat {
    char text[2 * kFaultLineSize];

    explicit LineAsFormat(const char *line) {
        char *out = text;
        for (; *line != '\0'; ++line) {
            if (*line == '%') {
                *out++ = '%';
            }
            *out++ = *line;
        }
        *out = '\0';
    }
};

} // namespace

namespace {

// The line of a typed record. The power input's type has a legend, and a number for "not set".
int build_typed(const Report &report, std::uint32_t infoId, std::uint32_t slot, std::uint32_t fruId,
                std::uint32_t type) {
    if (infoId == ORVA_INFO_POWER_INPUT) {
        return sprintf_s(report.line.get(), kFaultLineSize, "[Slot=%u, FruId=%u], Type=%u%s, %s", slot, fruId,
                         type == kUnsetPowerInput ? kUnknownPowerInput : type, ORVA_GetTypeDescByInfoId(infoId),
                         report.text.get());
    }
    return sprintf_s(report.line.get(), kFaultLineSize, "[Slot=%u, FruId=%u], Type=%u, %s", slot, fruId, type,
                     report.text.get());
}

// The line of a security record, stamped with the own position.
int build_security(const Report &report, std::uint32_t infoId, std::uint32_t slot, std::uint32_t fruId,
                   std::uint32_t type, std::uint32_t ownChassis, std::uint32_t ownSlot) {
    const char *legend = ORVA_GetTypeDescByInfoId(infoId);
    return sprintf_s(report.line.get(), kFaultLineSize, "[Position: %u/%u][Slot=%u, FruId=%u], Type=%u%s, %s",
                     ownChassis, ownSlot, slot, fruId, type, legend == nullptr ? "" : legend, report.text.get());
}

} // namespace

void ORVA_DiagFemaByType(uint32_t infoId, uint32_t slot, uint32_t fruId, uint32_t type, uint32_t word3,
                         const char *format, ...) {
    va_list args;
    va_start(args, format);
    Report report = open_report(1, format, args);
    va_end(args);
    // Compat: texts that others parse. The one formatter that does not report a line that does not fit.
    if (!report.isGivenUp && build_typed(report, infoId, slot, fruId, type) >= 0) {
        send(report, infoId, word3);
    }
    close_report(report);
}

void ORVA_SensorFemaByNoAndType(uint32_t infoId, uint32_t slot, uint32_t fruId, uint32_t sensorNo, uint32_t type,
                                uint32_t word3, const char *format, ...) {
    va_list args;
    va_start(args, format);
    Report report = open_report(0, format, args);
    va_end(args);
    if (!report.isGivenUp) {
        const int built =
            sprintf_s(report.line.get(), kFaultLineSize, "[Slot=%u, FruId=%u], SensorNo=%u, Type=%u, %s", slot, fruId,
                      sensorNo, type, report.text.get());
        send_built(report, built, infoId, word3);
    }
    close_report(report);
}

void ORVA_DiagFema(uint32_t idKind, uint32_t slot, uint32_t fruId, uint32_t word3, const char *format, ...) {
    va_list args;
    va_start(args, format);
    Report report = open_report(0, format, args);
    va_end(args);
    if (!report.isGivenUp) {
        OrvaPositionDesc desc{};
        ORVA_GetIdDescByInfoId(idKind, &desc);
        const int built = sprintf_s(report.line.get(), kFaultLineSize, "%s%u%s%u], %s", desc.slotPrefix, slot,
                                    desc.fruPrefix, fruId, report.text.get());
        send_built(report, built, desc.infoId, word3);
    }
    close_report(report);
}

void ORVA_CardFemaByType(uint32_t infoId, uint32_t cardId, uint32_t type, uint32_t word3, const char *format, ...) {
    va_list args;
    va_start(args, format);
    Report report = open_report(0, format, args);
    va_end(args);
    if (!report.isGivenUp) {
        const int built =
            sprintf_s(report.line.get(), kFaultLineSize, "[CardId=%u], Type=%u, %s", cardId, type, report.text.get());
        send_built(report, built, infoId, word3);
    }
    close_report(report);
}

namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security" // the line is passed as the format, made safe by LineAsFormat
// Writes a built line to the security log, and to the life-cycle log under the plug record's number.
void send_security(const Report &report, std::uint32_t infoId, std::uint32_t word3) {
    const LineAsFormat line(report.line.get());
    const std::uint32_t security = TOVA_SecurityEventLog(0, infoId, word3, 0, 0, line.text);
    const std::uint32_t lifeCycle = TOVA_LifeCycleLog(0, ORVA_INFO_PLUG, word3, 0, 0, line.text);
    log_refusal(security | lifeCycle, __builtin_LINE());
}
#pragma GCC diagnostic pop

} // namespace

void ORVA_SecurityEventLog(uint32_t infoId, uint32_t slot, uint32_t fruId, uint32_t type, uint32_t word3,
                           const char *format, ...) {
    const std::uint32_t ownSlot = ORVA_DRVADP_GetSelfSlotVar();
    const std::uint32_t ownChassis = ORVA_DRVADP_GetSelfChassisVar();
    va_list args;
    va_start(args, format);
    Report report = open_report(0, format, args);
    va_end(args);
    if (!report.isGivenUp) {
        const int built = build_security(report, infoId, slot, fruId, type, ownChassis, ownSlot);
        if (built < 0) {
            orva::log_sprintf_error(kArea, built);
        } else {
            send_security(report, infoId, word3);
        }
    }
    close_report(report);
}

// ---- Serial console

namespace {

constexpr char kCommandLine[] = "/proc/cmdline";
constexpr char kConsoleWord[] = "console";
constexpr std::size_t kConsoleNameStart = sizeof kConsoleWord; // past the word and the equals sign
constexpr std::size_t kConsoleNameSize = 16;                   // a name and its comma
constexpr std::size_t kMostCommandLine = 1023;
constexpr std::size_t kDevicePathSize = 32;
constexpr std::size_t kMessageSize = 512;

bool read_command_line(char *text, std::size_t most) {
    const int fd = orva::open_tracked(kCommandLine, O_RDONLY | O_NONBLOCK, orva::OwnerResult::kNeeded);
    if (fd < 0) {
        return false;
    }
    const ssize_t length = read_s(fd, text, most);
    const bool isClosed = close_s(fd) == 0;
    if (length < 0 || !isClosed) {
        return false;
    }
    text[length] = '\0';
    return true;
}

int open_console(const char *path) {
    return orva::open_tracked(path, O_WRONLY | O_NOCTTY, orva::OwnerResult::kNeeded);
}

void write_to_console(const char *text, std::size_t length) {
    const std::uint32_t fd = ORVA_GetSerialFd();
    if (fd != ORVA_SERIAL_NO_FD) {
        write_s(static_cast<int>(fd), text, length);
        ORVA_CloseSerialFd(fd);
    }
}

} // namespace

uint32_t ORVA_GetTtyPath(char *resolved, [[maybe_unused]] uint64_t resolvedLen) {
    // Zero padding: a name that starts at the end of the text is compared with zeros, not with memory past the
    // buffer.
    char text[kMostCommandLine + 1 + kConsoleNameStart + kConsoleNameSize] = {};
    if (resolved == nullptr || !read_command_line(text, kMostCommandLine)) {
        return ORVA_FAILED;
    }
    char *console = std::strstr(text, kConsoleWord);
    if (console == nullptr) {
        return ORVA_FAILED;
    }
    char *name = console + kConsoleNameStart;
    // Compat: callers' code. Only a comma ends the console's name; an empty name gives /dev.
    auto *comma = static_cast<char *>(std::memchr(name, ',', kConsoleNameSize));
    if (comma == nullptr) {
        return ORVA_FAILED;
    }
    *comma = '\0';
    char path[kDevicePathSize] = {};
    if (sprintf_s(path, sizeof path, "/dev/%s", name) < 0) {
        return ORVA_FAILED;
    }
    return realpath(path, resolved) == nullptr ? ORVA_FAILED : ORVA_OK;
}

uint32_t ORVA_GetSerialFd(void) {
    auto path = orva::make_partition_buffer(kArea, ORVA_TTY_PATH_SIZE);
    if (path == nullptr) {
        return ORVA_SERIAL_NO_FD;
    }
    const int fd = ORVA_GetTtyPath(path.get(), ORVA_TTY_PATH_SIZE) == ORVA_OK ? open_console(path.get()) : -1;
    orva::release_block(path);
    return fd < 0 ? ORVA_SERIAL_NO_FD : static_cast<std::uint32_t>(fd);
}

void ORVA_CloseSerialFd(uint32_t fd) {
    if (fd != ORVA_SERIAL_NO_FD) {
        close_s(static_cast<int>(fd));
    }
}

void ORVA_SerialLog(const char *format, ...) {
    auto message = orva::make_partition_buffer(kArea, kMessageSize);
    if (message == nullptr) {
        return;
    }
    va_list args;
    va_start(args, format);
    const int length = vsnprintf_s(message.get(), kMessageSize, kMessageSize - 1, format, args);
    va_end(args);
    if (length >= 0) {
        write_to_console(message.get(), static_cast<std::size_t>(length));
    }
    orva::release_block(message);
}
