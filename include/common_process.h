/**
 * @file common_process.h
 * What the process file system says about a process, and the calling process's own record.
 *
 * The calling process's record is read once, at the first call of any function of this file, and
 * only read afterwards: a child of fork() sees its parent's until it executes another program. One
 * that was forked while another thread was reading it for the first time reads its own.
 * Should that first reading fail, the process ends by an assertion ("STATUS_SUCCESS == status").
 * The functions may be called from any thread.
 */
#ifndef COMMON_PROCESS_H
#define COMMON_PROCESS_H

#include "common_api.h"
#include "status.h"

COMMON_BEGIN_DECLS

/** A process. */
typedef struct COMMON_Process {
    uint32_t id;           /**< the process id */
    char path[257];        /**< "/proc/<id>/status" */
    char buffer[256];      /**< holds the name, zero-terminated */
    uint32_t bufferLength; /**< length of the text in the buffer */
    const char* name;      /**< the name, in a buffer of this or another record */
    uint32_t nameLength;   /**< bytes, without the terminating zero */
    uint32_t loaded;       /**< 1 after a successful load */
} COMMON_Process;

/** An empty record, to initialise others with or compare them to: id 0, path "/proc/0". */
extern const COMMON_Process COMMON_Process_NULL;

/**
 * Copies the calling process's record.
 * @param copy gets the record; its name points into the library's own record, which stays valid.
 *        Null ends the process ("((void *)0) != copy").
 */
void COMMON_Process_Get(COMMON_Process* copy);

/**
 * Reads the record of any process from "/proc/<pid>/status". A status file without a name gives an
 * empty name and succeeds.
 * @param pid the process id.
 * @param copy gets the record; its name points into its own buffer. Null ends the process
 *        ("((void *)0) != copy").
 * @return STATUS_SUCCESS; STATUS_FAILED when there is no such process (told as a debug row on
 *         standard error): then only id and path are set.
 */
COMMON_MUST_USE STATUS COMMON_Process_GetById(uint32_t pid, COMMON_Process* copy);

/** Gives the id of the calling process as captured. @return the process id. */
uint32_t COMMON_Process_Id(void);

COMMON_END_DECLS

#endif
