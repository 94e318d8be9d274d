/**
 * @file common_mutex.h
 * Mutexes whose attributes are chosen first and built afterwards.
 *
 * The caller owns a COMMON_Mutex record. COMMON_Mutex_Initialize() or COMMON_Mutex_New() fills it
 * with defaults, the setters store what is wanted, and COMMON_Mutex_Commit() builds the platform's
 * mutex from that. Only then is it locked; nothing takes part in a lock but the platform's mutex,
 * so that a record in shared memory serves several processes.
 *
 * No function gives a failure back. Whatever the platform refuses is reported at Fatal under the
 * empty zone name, with the error's text and number, and the program goes on; a null record ends
 * the process by an assertion. Setters and COMMON_Mutex_Commit() are for the owner, before others
 * know the record; locking and unlocking are as safe in threads as the platform's mutex.
 */
#ifndef COMMON_MUTEX_H
#define COMMON_MUTEX_H

#include <pthread.h>

#include "common_api.h"

COMMON_BEGIN_DECLS

/** What the mutex does when its holder locks it again. The numbers are not those of the platform.
 */
typedef int32_t COMMON_MutexType_t;

/** Values of COMMON_MutexType_t. */
enum {
    COMMON_MutexTypeNormal = 0,        /**< waits for ever */
    COMMON_MutexTypeErrorChecking = 1, /**< refuses, which is reported */
    COMMON_MutexTypeRecursive = 2,     /**< counts */
    COMMON_MutexTypeDefault = 3        /**< nothing asked of the platform */
};

/** Whose priority the holder runs with. */
typedef int32_t COMMON_MutexProtocol_t;

/** Values of COMMON_MutexProtocol_t. */
enum {
    /** Nothing asked of the platform: its default protocol stays, whatever the name says. */
    COMMON_MutexProtocolInherited = 0,
    /** The mutex's priority ceiling. */
    COMMON_MutexProtocolProtected = 1
};

/** A mutex. Its address may be handed to the platform's own calls for mutexes. */
typedef struct COMMON_Mutex {
    /* Private: the functions below read and write them. */
    pthread_mutex_t mutex;           /**< the platform's, of the last commit */
    uint32_t unused[2];              /**< zero */
    int32_t priorityCeiling;         /**< for the next commit; 0: none */
    COMMON_MutexProtocol_t protocol; /**< for the next commit */
    uint32_t recursive;              /**< for the next commit: boolean */
    uint32_t shared;         /**< for the next commit: boolean; 0: threads of this process */
    COMMON_MutexType_t type; /**< for the next commit */
} COMMON_Mutex;

/**
 * Allocates a record with the defaults. It cannot be locked before COMMON_Mutex_Commit().
 * @return the record, never null, which the caller releases with COMMON_Mutex_Delete().
 */
COMMON_MUST_USE COMMON_Mutex* COMMON_Mutex_New(void) COMMON_NEVER_NULL;

/**
 * Fills a caller's record with the defaults.
 * @param mutex whatever it held is overwritten, so it must not be a mutex in use.
 */
void COMMON_Mutex_Initialize(COMMON_Mutex* mutex);

/** Stores the priority ceiling. @param mutex the record. @param ceiling unchecked; 0: none. */
void COMMON_Mutex_SetPriorityCeiling(COMMON_Mutex* mutex, int32_t ceiling);
/** Stores the protocol. @param mutex the record. @param protocol unchecked: COMMON_Mutex_Commit()
 * reports a wrong one. */
void COMMON_Mutex_SetProtocol(COMMON_Mutex* mutex, COMMON_MutexProtocol_t protocol);
/** Stores whether it is recursive. @param mutex the record. @param recursive boolean. A type other
 * than Default overrides. */
void COMMON_Mutex_SetRecursive(COMMON_Mutex* mutex, uint32_t recursive);
/** Stores whether processes share it. @param mutex the record. @param shared boolean; the record is
 * in shared memory then. */
void COMMON_Mutex_SetShared(COMMON_Mutex* mutex, uint32_t shared);
/** Stores the type. @param mutex the record. @param type unchecked: COMMON_Mutex_Commit() reports a
 * wrong one. */
void COMMON_Mutex_SetType(COMMON_Mutex* mutex, COMMON_MutexType_t type);

/** Gives the priority ceiling. @return as stored. */
int32_t COMMON_Mutex_GetPriorityCeiling(const COMMON_Mutex* mutex);
/** Gives the protocol. @return as stored. */
COMMON_MutexProtocol_t COMMON_Mutex_GetProtocol(const COMMON_Mutex* mutex);
/** Tells whether it is recursive. @return as stored. */
uint32_t COMMON_Mutex_GetRecursive(const COMMON_Mutex* mutex);
/** Tells whether processes share it. @return as stored. */
uint32_t COMMON_Mutex_GetShared(const COMMON_Mutex* mutex);
/** Gives the type. @return as stored. */
COMMON_MutexType_t COMMON_Mutex_GetType(const COMMON_Mutex* mutex);

/**
 * Builds the platform's mutex from what is stored: ceiling, protocol, recursive, shared, type, in
 * this order and each only where it differs from its default. A step that fails is reported and the
 * next ones are still taken, so that there is a mutex in any case; a wrong protocol or type is
 * reported by its text and number and then refused by the platform, which is reported, too.
 * @param mutex nobody holds it or waits for it.
 */
void COMMON_Mutex_Commit(COMMON_Mutex* mutex);

/** Locks, waiting for the holder. Not a cancellation point. */
void COMMON_Mutex_Lock(COMMON_Mutex* mutex);
/** Unlocks. */
void COMMON_Mutex_Unlock(COMMON_Mutex* mutex);

/**
 * Unlocks and locks again, which gives others a chance: whoever waits may take the mutex in
 * between, but need not.
 */
void COMMON_Mutex_Relock(COMMON_Mutex* mutex);

/** Destroys the platform's mutex; the record stays and can be committed again. */
void COMMON_Mutex_Destroy(COMMON_Mutex* mutex);

/** Destroys and frees a record of COMMON_Mutex_New(), also when destroying it failed. */
void COMMON_Mutex_Delete(COMMON_Mutex* mutex);

/**
 * Gives the text of a type. Safe everywhere.
 * @return "Normal", "Error Checking", "Recursive" or "Default"; "Invalid" for any other value.
 */
const char* COMMON_MutexType_ToString(COMMON_MutexType_t type);

/**
 * Gives the text of a protocol. Safe everywhere.
 * @return "Inherited" or "Protected"; "Invalid" for any other value.
 */
const char* COMMON_MutexProtocol_ToString(COMMON_MutexProtocol_t protocol);

COMMON_END_DECLS

#endif
