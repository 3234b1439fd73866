/**
 * @file
 * Fault log: formatters of fault records (FMEA) with their wording tables, and the serial console.
 *
 * A formatter takes the position of the failing thing and a text in the manner of printf. It truncates the text to
 * 511 characters, removes one newline at its end, builds one line of at most 591 characters and passes it to a log:
 * - Fault records go to the diagnostic log (ORVA_DIAGLOG), which truncates the line to 511 characters, so that the
 *   end of a long text is lost to the position in front of it.
 * - Security events go to the security log and to the life-cycle log, whole.
 *
 * Each formatter uses 512 and 592 bytes of the library's partition while it runs. It writes nothing when they cannot
 * be had or the text cannot be formatted. A line that does not fit 591 characters is dropped; the system log says so,
 * except for ORVA_DiagFemaByType. A log that refuses the record is reported in the system log.
 */
#ifndef ORVA_API_LOG_H
#define ORVA_API_LOG_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

/* ---- Wording */

#define ORVA_INFO_POSITION 0xCE41017u    /**< Info id of faults at a driver or physical position. */
#define ORVA_INFO_POWER_INPUT 0xCE41018u /**< Kind of the power input. */
#define ORVA_INFO_POWER_STATE 0xCE41008u /**< Power state. */
#define ORVA_INFO_CARD_PLUG 0xCE4102Au   /**< Card plugged in or out. */
#define ORVA_INFO_PLUG 0xCE4102Cu        /**< Plugged in or out; also marks every life-cycle record. */

/** What the types of an info id mean. */
typedef struct {
    uint32_t infoId; /**< ORVA_INFO_... */
    char legend[64]; /**< Such as "[0:PLUG_IN 1:PLUG_OUT]". */
} OrvaDlogInfoDesc;

#define ORVA_DLOG_INFO_ROWS 4u /**< Rows of g_dlogInfoDesc. */
/** Legends of info ids, constant. */
ORVA_API extern const OrvaDlogInfoDesc g_dlogInfoDesc[ORVA_DLOG_INFO_ROWS];

#define ORVA_ID_KIND_DRIVER 1u   /**< Numbering of a position: the driver's slots and FRU numbers. */
#define ORVA_ID_KIND_PHYSICAL 2u /**< Numbering of a position: the physical ones. */

/** Wording of a position. */
typedef struct {
    uint32_t idKind;     /**< ORVA_ID_KIND_... */
    uint32_t infoId;     /**< Id under which the fault is reported. */
    char slotPrefix[16]; /**< Text before the slot. */
    char fruPrefix[16];  /**< Text before the FRU number. */
} OrvaPositionDesc;

/** Name of a sensor type; codes 0x01 to 0x29 are those of IPMI, the others are the system's own. */
typedef struct {
    uint32_t type;  /**< Sensor type, 0 to 0xFF. */
    char name[256]; /**< Its name. */
} OrvaSensorTypeDesc;

#define ORVA_SENSOR_TYPE_ROWS 78u /**< Rows of g_sensorTypeDesc. */
/** Names of sensor types, constant. */
ORVA_API extern const OrvaSensorTypeDesc g_sensorTypeDesc[ORVA_SENSOR_TYPE_ROWS];

/**
 * Finds the legend of an info id. Thread-safe.
 *
 * @param[in] infoId The info id.
 * @return The legend, a text of the library; null when the id has none.
 */
ORVA_API const char *ORVA_GetTypeDescByInfoId(uint32_t infoId);

/**
 * Writes the default wording ("[Slot=" and ", FruId=") of an info id. Thread-safe for distinct objects.
 *
 * A failed copy of a prefix is recorded in the system log and otherwise ignored.
 *
 * @param[in]     infoId The info id.
 * @param[in,out] desc   Receives info id and prefixes; its idKind stays. Null does nothing.
 */
ORVA_API void ORVA_EncodeDefaultDesc(uint32_t infoId, OrvaPositionDesc *desc);

/**
 * Writes the wording of an id kind. Thread-safe for distinct objects.
 *
 * @param[in]     idKind ORVA_ID_KIND_DRIVER or ORVA_ID_KIND_PHYSICAL; any other value is an info id with the default
 *                       wording of ORVA_EncodeDefaultDesc.
 * @param[in,out] desc   Receives the wording; null does nothing.
 */
ORVA_API void ORVA_GetIdDescByInfoId(uint32_t idKind, OrvaPositionDesc *desc);

/**
 * Finds the name of a sensor type. Thread-safe.
 *
 * @param[in] type Sensor type.
 * @return The name, a text of the library; "unknown" when the type has none.
 */
ORVA_API const char *ORVA_ALARM_GetSensorTypeDesc(uint8_t type);

/* ---- Formatters */

/**
 * Reports a fault of a FRU by type: "[Slot=3, FruId=1], Type=9, text". Thread-safe.
 *
 * For ORVA_INFO_POWER_INPUT the type's legend follows the type, and a type of 0xFF becomes 5. A text that is empty,
 * or only a newline, is not reported.
 *
 * @param[in] infoId Id of the record.
 * @param[in] slot   Slot of the FRU.
 * @param[in] fruId  FRU number.
 * @param[in] type   Kind of fault.
 * @param[in] word3  Third word of the record, passed on unchanged.
 * @param[in] format Format in the manner of printf.
 * @param[in] ...    Its arguments.
 */
ORVA_PRINTF(6)
ORVA_API void ORVA_DiagFemaByType(uint32_t infoId, uint32_t slot, uint32_t fruId, uint32_t type, uint32_t word3,
                                  const char *format, ...);

/**
 * Reports a fault of a sensor: "[Slot=3, FruId=1], SensorNo=7, Type=9, text". Thread-safe. An empty text is reported.
 *
 * @param[in] infoId   Id of the record.
 * @param[in] slot     Slot of the FRU.
 * @param[in] fruId    FRU number.
 * @param[in] sensorNo Sensor number.
 * @param[in] type     Kind of fault.
 * @param[in] word3    Third word of the record, passed on unchanged.
 * @param[in] format   Format in the manner of printf.
 * @param[in] ...      Its arguments.
 */
ORVA_PRINTF(7)
ORVA_API void ORVA_SensorFemaByNoAndType(uint32_t infoId, uint32_t slot, uint32_t fruId, uint32_t sensorNo,
                                         uint32_t type, uint32_t word3, const char *format, ...);

/**
 * Reports a fault at a position: "[PhySlot=4, PhyFruId=0], text". Thread-safe. An empty text is reported.
 *
 * @param[in] idKind Chooses wording and info id, see ORVA_GetIdDescByInfoId.
 * @param[in] slot   Slot in that numbering.
 * @param[in] fruId  FRU number in that numbering.
 * @param[in] word3  Third word of the record, passed on unchanged.
 * @param[in] format Format in the manner of printf.
 * @param[in] ...    Its arguments.
 */
ORVA_PRINTF(5)
ORVA_API void ORVA_DiagFema(uint32_t idKind, uint32_t slot, uint32_t fruId, uint32_t word3, const char *format, ...);

/**
 * Reports a fault of a sub-card: "[CardId=2], Type=9, text". Thread-safe. An empty text is reported.
 *
 * @param[in] infoId Id of the record.
 * @param[in] cardId Number of the sub-card.
 * @param[in] type   Kind of fault.
 * @param[in] word3  Third word of the record, passed on unchanged.
 * @param[in] format Format in the manner of printf.
 * @param[in] ...    Its arguments.
 */
ORVA_PRINTF(5)
ORVA_API void ORVA_CardFemaByType(uint32_t infoId, uint32_t cardId, uint32_t type, uint32_t word3, const char *format,
                                  ...);

/**
 * Reports a security event: "[Position: 1/3][Slot=3, FruId=1], Type=0[0:PLUG_IN 1:PLUG_OUT], text". Thread-safe.
 *
 * The line begins with the own chassis and slot; the legend of `infoId`, if it has one, follows the type. It goes to
 * the security log under `infoId` and to the life-cycle log under ORVA_INFO_PLUG, as their format argument itself
 * with its percent signs doubled: the logs print the line and never read a caller's text as conversions. An empty
 * text is reported.
 *
 * @param[in] infoId Id of the record.
 * @param[in] slot   Slot of the FRU.
 * @param[in] fruId  FRU number.
 * @param[in] type   Kind of event.
 * @param[in] word3  Third word of both records, passed on unchanged.
 * @param[in] format Format in the manner of printf.
 * @param[in] ...    Its arguments.
 */
ORVA_PRINTF(6)
ORVA_API void ORVA_SecurityEventLog(uint32_t infoId, uint32_t slot, uint32_t fruId, uint32_t type, uint32_t word3,
                                    const char *format, ...);

/* ---- Serial console */

#define ORVA_TTY_PATH_SIZE 4097u      /**< Bytes of a path buffer. */
#define ORVA_SERIAL_NO_FD 0xFFFFFFFFu /**< No console. */

/**
 * Finds the console device named in "/proc/cmdline". Thread-safe for distinct objects.
 *
 * The name begins 8 characters after the start of the first "console" and ends at the first comma, which must be
 * among the next 16 characters: "console=ttyS0,115200" gives /dev/ttyS0. Only a comma ends the name, a blank does
 * not. An empty name gives /dev.
 *
 * @param[out] resolved    Receives the resolved path, zero-terminated; at least ORVA_TTY_PATH_SIZE bytes.
 * @param[in]  resolvedLen Not used.
 * @retval ORVA_OK     `resolved` is written.
 * @retval ORVA_FAILED The command line cannot be read or names no console in this form, or the path does not resolve.
 */
ORVA_API uint32_t ORVA_GetTtyPath(char *resolved, uint64_t resolvedLen);

/**
 * Opens the console for writing, without making it the controlling terminal. Thread-safe.
 *
 * @return A tracked descriptor, which the caller closes with ORVA_CloseSerialFd; ORVA_SERIAL_NO_FD when there is no
 *         memory, no console, or it cannot be opened or registered.
 */
ORVA_API uint32_t ORVA_GetSerialFd(void);

/**
 * Closes a console descriptor. Thread-safe for distinct objects.
 *
 * @param[in] fd Descriptor of ORVA_GetSerialFd; ORVA_SERIAL_NO_FD is ignored.
 */
ORVA_API void ORVA_CloseSerialFd(uint32_t fd);

/**
 * Writes one message to the console, which is opened and closed for it. Thread-safe. Each message is one write.
 *
 * The message is dropped silently when there is no memory, it cannot be formatted, or there is no console.
 *
 * @param[in] format Format in the manner of printf; the message is truncated to 511 characters.
 * @param[in] ...    Its arguments.
 */
ORVA_PRINTF(1)
ORVA_API void ORVA_SerialLog(const char *format, ...);

ORVA_END_DECLS

#define ORVA_LAYOUT_API_LOG
#include "orva_layout.h"

#endif
