/* placeholder, replaced by the runtime services */
#ifndef ORVA_COMM_H
#define ORVA_COMM_H
#include "orva_types.h"
ORVA_BEGIN_DECLS
ORVA_API uint32_t ORVA_GetMemHandle(void);
ORVA_API void ORVA_SetMemHandle(uint32_t handle);
ORVA_API uint8_t ORVA_GetMemPtr(void);
ORVA_API void ORVA_SetMemPtr(uint8_t partition);
ORVA_END_DECLS
#endif
