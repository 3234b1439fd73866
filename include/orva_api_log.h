/*
 * Fault log: formatters of fault records with their wording tables, and the serial console.
 *
 * A formatter takes the position of the failing thing and a text in the manner of printf (cut at 511 characters; one
 * line end at its end is removed), builds one line and hands it to the diagnostic log, security events to the
 * security and life-cycle logs. Each uses 512 and 592 bytes of the library's partition while it runs, writes nothing
 * when they cannot be had or the text cannot be formatted, and keeps no state. A log that refuses the record is
 * reported in the system log, and so is a line that does not fit, but not by ORVA_DiagFemaByType.
 */
#ifndef ORVA_API_LOG_H
#define ORVA_API_LOG_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

/* ---- Wording ----------------------------------------------------------------------------------- */

#define ORVA_INFO_POSITION 0xCE41017u    /* faults at a driver or physical position */
#define ORVA_INFO_POWER_INPUT 0xCE41018u /* kind of the power input */
#define ORVA_INFO_POWER_STATE 0xCE41008u /* power state */
#define ORVA_INFO_CARD_PLUG 0xCE4102Au   /* plugged in or out */
#define ORVA_INFO_PLUG 0xCE4102Cu        /* plugged in or out; also marks every life-cycle record */

/* What the types of an info id mean. */
typedef struct {
    uint32_t infoId;
    char legend[64];
} OrvaDlogInfoDesc;

#define ORVA_DLOG_INFO_ROWS 4u
ORVA_API extern const OrvaDlogInfoDesc g_dlogInfoDesc[ORVA_DLOG_INFO_ROWS];

/* Numbering of a position. */
#define ORVA_ID_KIND_DRIVER 1u   /* the driver's slots and FRU numbers */
#define ORVA_ID_KIND_PHYSICAL 2u /* the physical ones */

/* Wording of a position. */
typedef struct {
    uint32_t idKind; /* ORVA_ID_KIND_... */
    uint32_t infoId; /* id under which the fault is reported */
    char slotPrefix[16];
    char fruPrefix[16];
} OrvaPositionDesc;

/* Name of a sensor type; codes 0x01 to 0x29 are those of IPMI, the others are the system's own. */
typedef struct {
    uint32_t type;
    char name[256];
} OrvaSensorTypeDesc;

#define ORVA_SENSOR_TYPE_ROWS 78u
ORVA_API extern const OrvaSensorTypeDesc g_sensorTypeDesc[ORVA_SENSOR_TYPE_ROWS];

/* Returns the legend of `infoId`, a text of the library, or null when the id has none. Any thread. */
ORVA_API const char *ORVA_GetTypeDescByInfoId(uint32_t infoId);

/*
 * Writes the default wording ("[Slot=", ", FruId=") for `infoId` into `*desc`, whose idKind stays as it is.
 * A failed copy of a prefix is recorded in the system log and passed over. A null `desc` does nothing. Any thread.
 */
ORVA_API void ORVA_EncodeDefaultDesc(uint32_t infoId, OrvaPositionDesc *desc);

/*
 * Writes the wording of `idKind` into `*desc`: the driver's or the physical one for ORVA_ID_KIND_...; any other value
 * is an info id with the default wording, see ORVA_EncodeDefaultDesc. A null `desc` does nothing. Any thread.
 */
ORVA_API void ORVA_GetIdDescByInfoId(uint32_t idKind, OrvaPositionDesc *desc);

/* Returns the name of sensor type `type`, a text of the library, or "unknown". Any thread. */
ORVA_API const char *ORVA_ALARM_GetSensorTypeDesc(uint8_t type);

/* ---- Formatters -------------------------------------------------------------------------------- */

/*
 * Reports a fault of a FRU by type: "[Slot=3, FruId=1], Type=9, text".
 * `infoId` is the record's id, `slot` and `fruId` the position, `type` the kind of fault, `word3` is handed on as the
 * record's third word. For ORVA_INFO_POWER_INPUT the type's legend follows the type, and a type of 0xFF becomes 5.
 * A text that is empty, or only a line end, is not reported. Any thread.
 */
ORVA_PRINTF(6)
ORVA_API void ORVA_DiagFemaByType(uint32_t infoId, uint32_t slot, uint32_t fruId, uint32_t type, uint32_t word3,
                                  const char *format, ...);

/*
 * Reports a fault of a sensor: "[Slot=3, FruId=1], SensorNo=7, Type=9, text".
 * `sensorNo` is the sensor's number; the other arguments are those of ORVA_DiagFemaByType. An empty text is reported.
 * Any thread.
 */
ORVA_PRINTF(7)
ORVA_API void ORVA_SensorFemaByNoAndType(uint32_t infoId, uint32_t slot, uint32_t fruId, uint32_t sensorNo,
                                         uint32_t type, uint32_t word3, const char *format, ...);

/*
 * Reports a fault at a position: "[PhySlot=4, PhyFruId=0], text".
 * `idKind` chooses wording and info id, see ORVA_GetIdDescByInfoId; `slot`, `fruId` and `word3` are those of
 * ORVA_DiagFemaByType. An empty text is reported. Any thread.
 */
ORVA_PRINTF(5)
ORVA_API void ORVA_DiagFema(uint32_t idKind, uint32_t slot, uint32_t fruId, uint32_t word3, const char *format, ...);

/*
 * Reports a fault of a sub-card: "[CardId=2], Type=9, text".
 * `cardId` is the sub-card's number; the other arguments are those of ORVA_DiagFemaByType. An empty text is reported.
 * Any thread.
 */
ORVA_PRINTF(5)
ORVA_API void ORVA_CardFemaByType(uint32_t infoId, uint32_t cardId, uint32_t type, uint32_t word3, const char *format,
                                  ...);

/*
 * Reports a security event: "[Position: 1/3][Slot=3, FruId=1], Type=0[0:PLUG_IN 1:PLUG_OUT], text", with the own
 * chassis and slot first and the legend of `infoId`, if it has one, after the type.
 * The arguments are those of ORVA_DiagFemaByType. The line goes to the security log under `infoId` and to the
 * life-cycle log under ORVA_INFO_PLUG. An empty text is reported. Any thread.
 * Kept: the line is the logs' format argument itself; its percent signs are doubled, so that the logs print the line
 * and never read a caller's text as conversions.
 */
ORVA_PRINTF(6)
ORVA_API void ORVA_SecurityEventLog(uint32_t infoId, uint32_t slot, uint32_t fruId, uint32_t type, uint32_t word3,
                                    const char *format, ...);

/* ---- Serial console ---------------------------------------------------------------------------- */

#define ORVA_TTY_PATH_SIZE 4097u      /* bytes of a path buffer */
#define ORVA_SERIAL_NO_FD 0xFFFFFFFFu /* no console */

/*
 * Finds the console device named in "/proc/cmdline" and writes its resolved path, zero-terminated, to `resolved`, a
 * buffer of at least ORVA_TTY_PATH_SIZE bytes; `resolvedLen` is not consulted.
 * The name begins 8 characters after the start of the first "console" and ends at the first comma, which must be
 * among the next 16 characters: "console=ttyS0,115200" gives /dev/ttyS0. Returns ORVA_OK, or ORVA_FAILED when the
 * command line cannot be read, names no console in this form, or the path does not resolve. Any thread. Kept: only a
 * comma ends the name, blanks do not, and an empty name gives /dev.
 */
ORVA_API uint32_t ORVA_GetTtyPath(char *resolved, uint64_t resolvedLen);

/*
 * Opens the console for writing, without making it the controlling terminal.
 * Returns a tracked descriptor, which the caller closes with ORVA_CloseSerialFd, or ORVA_SERIAL_NO_FD when there is
 * no memory, no console, or it cannot be opened or registered. Any thread.
 */
ORVA_API uint32_t ORVA_GetSerialFd(void);

/* Closes the console descriptor `fd`; ORVA_SERIAL_NO_FD is passed over. Any thread. */
ORVA_API void ORVA_CloseSerialFd(uint32_t fd);

/*
 * Writes one message to the console, which is opened and closed for it.
 * `format` and its arguments are those of printf; the message is cut at 511 characters. It is dropped silently when
 * there is no memory, it cannot be formatted or there is no console. Any thread: one write per message.
 */
ORVA_PRINTF(1)
ORVA_API void ORVA_SerialLog(const char *format, ...);

ORVA_END_DECLS

#define ORVA_LAYOUT_API_LOG
#include "orva_layout.h"

#endif
