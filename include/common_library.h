/**
 * @file common_library.h
 * Every public header of the Common library.
 */
#ifndef COMMON_LIBRARY_H
#define COMMON_LIBRARY_H

#include "abstract_set.h"
#include "blockq.h"
#include "charset.h"
#include "client_descriptor.h"
#include "client_nodes.h"
#include "common.h"
#include "common_api.h"
#include "common_blockQEx.h"
#include "common_debug.h"
#include "common_log.h"
#include "common_log_macros.h"
#include "common_log_settings.h"
#include "common_monitor.h"
#include "common_mutex.h"
#include "common_process.h"
#include "common_sync.h"
#include "common_system.h"
#include "common_thread.h"
#include "common_uuid.h"
#include "common_version.h"
#include "common_wdm.h"
#include "convert.h"
#include "data.h"
#include "flash_safety.h"
#include "hsm.h"
#include "hsm_trace.h"
#include "list_by_abstractset.h"
#include "list_light.h"
#include "ls_hsm.h"
#include "map.h"
#include "mem_malloc.h"
#include "oxa_file.h"
#include "oxa_getopt.h"
#include "oxa_logger.h"
#include "oxa_shims.h"
#include "oxavar.h"
#include "regexp.h"
#include "ring_buffer.h"
#include "status.h"
#include "timer.h"

#endif
