/**
 * @file status.h
 * Result codes and the names of connectivity services and transports.
 *
 * Most functions of the library return a STATUS. The lookups below turn codes into display texts
 * and symbolic texts back into codes. They keep no state, take no lock, never log and never fail:
 * what they do not know is "UNKNOWN", STATUS_UNRECOGNISED or UNKNOWN_SERVICE. They are safe from
 * any thread and from signal handlers.
 */
#ifndef COMMON_STATUS_H
#define COMMON_STATUS_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/** Result of an operation: one of the STATUS_ values. */
typedef uint32_t STATUS;

enum {
    STATUS_SUCCESS = 100,
    STATUS_BUSY = 101,
    STATUS_COMMUNICATION_FAILURE = 102,
    STATUS_DISCONNECTED = 103,
    STATUS_FAILED = 104,
    STATUS_PENDING = 105,
    STATUS_NO_RESOURCES = 106,
    STATUS_NOT_FOUND = 107,
    STATUS_NOT_SUPPORTED = 108,
    STATUS_IN_PROGRESS = 109,
    STATUS_REJECTED = 110,
    STATUS_USER_TERMINATED = 111,
    STATUS_VERIFY_FAILED = 112,
    STATUS_INVALID_HANDLE = 113,
    /** What StatusStrToStatus() gives for text it does not know. It has no display text. */
    STATUS_UNRECOGNISED = 114,
    STATUS_AUTH_FAILED = 115,
    STATUS_COMPLETE = 116,
    STATUS_DISALLOWED = 117,
    STATUS_INCOMPATIBLE_VERSION = 118,
    STATUS_DEVICE_ERROR = 119,
    STATUS_INVALID_PARAM = 120,
    STATUS_TIMEOUT = 121,
    STATUS_SECURITY_BLOCK = 122,
    STATUS_NO_FIRST_VALUE = 123
};

/** A connectivity service: one of the _SERVICE values. */
typedef uint32_t SERVICE;

enum {
    /** What ServiceStrToService() gives for text it does not know. It has no display text. */
    UNKNOWN_SERVICE = 0,
    HANDS_FREE_SERVICE = 1,
    VOICE_SERVICE = 2,
    DATA_SERVICE = 3,
    FILE_XFER_SERVICE = 4,
    REMOTE_DATA_SERVICE = 5,
    PHONEBOOK_SERVICE = 6,
    PHONEBOOK_PBAP_SERVICE = 7,
    PHONEBOOK_SYNCH_SERVICE = 8,
    PHONEBOOK_SYNCH_ML_SERVICE = 9,
    PHONEBOOK_FXFER_SERVICE = 10,
    PHONEBOOK_OPUSH_SERVICE = 11,
    PHONEBOOK_ATCMD_SERVICE = 12,
    PAIR_SERVICE = 13,
    MUSIC_SERVICE = 14,
    AUDIO_VISUAL_SERVICE = 15,
    ALL_SERVICE = 16,
    DISCOVERY_SERVICE = 17,
    MESSAGE_SERVICE = 18,
    MESSAGE_ATCMD_SERVICE = 19,
    MESSAGE_MAP_SERVICE = 20,
    WIRELESS_IAP_SERVICE = 21,
    PANDORA_SERVICE = 22,
    PANDORA_IOS_SERVICE = 23,
    CUSTOM_IR_SERVICE = 24,
    CUSTOM_IR_IOS_SERVICE = 25
};

/** A transport: one of the TRANSPORT_ values. */
typedef uint32_t TRANSPORT;

enum {
    TRANSPORT_NONE = 0,
    TRANSPORT_BLUETOOTH = 1,
    TRANSPORT_EMBEDDED = 2,
    TRANSPORT_CRADLE = 3,
    TRANSPORT_WDC = 4,
    TRANSPORT_DDC = 5
};

/**
 * Gives the display text of a status, such as "Success" or "Time Out".
 * @param status any value.
 * @return a constant text; "UNKNOWN" for STATUS_UNRECOGNISED and for values outside 100 to 123.
 */
const char* StatusToStr(STATUS status);

/**
 * Finds the status with a symbolic name, such as "STATUS_SUCCESS".
 * @param text compared whole and with regard to case; null is not recognised.
 * @return the status; STATUS_UNRECOGNISED for any other text.
 */
STATUS StatusStrToStatus(const char* text);

/**
 * Gives the display text of a service, such as "HandsFree".
 * @param service any value.
 * @return a constant text; "UNKNOWN" for UNKNOWN_SERVICE and values above 25.
 */
const char* ServiceToStr(SERVICE service);

/**
 * Finds the service with a symbolic name, such as "VOICE_SERVICE". Display texts are not accepted,
 * and the services 1, 13, 16, 17 and 21 to 25 have no symbolic name.
 * @param text compared whole and with regard to case; null is not recognised.
 * @return the service; UNKNOWN_SERVICE for any other text.
 */
SERVICE ServiceStrToService(const char* text);

/**
 * Gives the display text of a transport, such as "TransportBluetooth".
 * @param transport any value.
 * @return a constant text; "UNKNOWN" for values above 5.
 */
const char* TransportToStr(TRANSPORT transport);

COMMON_END_DECLS

#endif
