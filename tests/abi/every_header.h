/* Every public and platform header. */
#ifndef EVERY_HEADER_H
#define EVERY_HEADER_H

#include "deadloop.h"
#include "drv_basic.h"
#include "im_agent.h"
#include "miro.h"
#include "orva_additions.h"
#include "orva_api_log.h"
#include "orva_api_stub.h"
#include "orva_comm.h"
#include "orva_deadloop.h"
#include "orva_debugging.h"
#include "orva_diag.h"
#include "orva_drvadp_comm.h"
#include "orva_elabel_comm.h"
#include "orva_file.h"
#include "orva_imlib.h"
#include "orva_list.h"
#include "orva_perftrace_comm.h"
#include "orva_power_fan_cfg.h"
#include "orva_sensor.h"
#include "orva_simulate_comm.h"
#include "orva_tlv_sensor_comm.h"
#include "orva_util.h"
#include "orva_wire.h"
#include "orva_write_log.h"
#include "safeio.h"
#include "tova.h"

#endif
