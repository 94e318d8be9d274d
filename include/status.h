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

/** Values of STATUS, with the texts of StatusToStr(). */
enum {
    STATUS_SUCCESS = 100,               /**< "Success" */
    STATUS_BUSY = 101,                  /**< "Busy" */
    STATUS_COMMUNICATION_FAILURE = 102, /**< "Communication Failure" */
    STATUS_DISCONNECTED = 103,          /**< "Disconnected" */
    STATUS_FAILED = 104,                /**< "Failed" */
    STATUS_PENDING = 105,               /**< "Pending" */
    STATUS_NO_RESOURCES = 106,          /**< "No Resources" */
    STATUS_NOT_FOUND = 107,             /**< "Not Found" */
    STATUS_NOT_SUPPORTED = 108,         /**< "Not Supported" */
    STATUS_IN_PROGRESS = 109,           /**< "In Progress" */
    STATUS_REJECTED = 110,              /**< "Rejected" */
    STATUS_USER_TERMINATED = 111,       /**< "User-Terminated" */
    STATUS_VERIFY_FAILED = 112,         /**< "Verify Failed" */
    STATUS_INVALID_HANDLE = 113,        /**< "Invalid Handle" */
    /** What StatusStrToStatus() gives for text it does not know. It has no display text. */
    STATUS_UNRECOGNISED = 114,
    STATUS_AUTH_FAILED = 115,          /**< "Authentication Failed" */
    STATUS_COMPLETE = 116,             /**< "Complete" */
    STATUS_DISALLOWED = 117,           /**< "Disallowed" */
    STATUS_INCOMPATIBLE_VERSION = 118, /**< "Incompatible Version" */
    STATUS_DEVICE_ERROR = 119,         /**< "Device Error" */
    STATUS_INVALID_PARAM = 120,        /**< "Invalid Parameter" */
    STATUS_TIMEOUT = 121,              /**< "Time Out" */
    STATUS_SECURITY_BLOCK = 122,       /**< "Security Block" */
    STATUS_NO_FIRST_VALUE = 123        /**< "No first value" */
};

/** A connectivity service: one of the _SERVICE values. */
typedef uint32_t SERVICE;

/** Values of SERVICE, with the texts of ServiceToStr(). */
enum {
    /** What ServiceStrToService() gives for text it does not know. It has no display text. */
    UNKNOWN_SERVICE = 0,
    HANDS_FREE_SERVICE = 1,         /**< "HandsFree" */
    VOICE_SERVICE = 2,              /**< "Voice" */
    DATA_SERVICE = 3,               /**< "Data" */
    FILE_XFER_SERVICE = 4,          /**< "FileTransfer" */
    REMOTE_DATA_SERVICE = 5,        /**< "RemoteData" */
    PHONEBOOK_SERVICE = 6,          /**< "Phonebook" */
    PHONEBOOK_PBAP_SERVICE = 7,     /**< "PBAP" */
    PHONEBOOK_SYNCH_SERVICE = 8,    /**< "PB-Synch" */
    PHONEBOOK_SYNCH_ML_SERVICE = 9, /**< "PB-SynchML" */
    PHONEBOOK_FXFER_SERVICE = 10,   /**< "PB-fxfer" */
    PHONEBOOK_OPUSH_SERVICE = 11,   /**< "PB-Opush" */
    PHONEBOOK_ATCMD_SERVICE = 12,   /**< "PB-At" */
    PAIR_SERVICE = 13,              /**< "Pair" */
    MUSIC_SERVICE = 14,             /**< "Music" */
    AUDIO_VISUAL_SERVICE = 15,      /**< "AudioVisual" */
    ALL_SERVICE = 16,               /**< "All" */
    DISCOVERY_SERVICE = 17,         /**< "Discovery" */
    MESSAGE_SERVICE = 18,           /**< "Message Access" */
    MESSAGE_ATCMD_SERVICE = 19,     /**< "Message Access - AT" */
    MESSAGE_MAP_SERVICE = 20,       /**< "Message Access - MAP" */
    WIRELESS_IAP_SERVICE = 21,      /**< "Wireless IAP" */
    PANDORA_SERVICE = 22,           /**< "Pandora" */
    PANDORA_IOS_SERVICE = 23,       /**< "Pandora IOS" */
    CUSTOM_IR_SERVICE = 24,         /**< "Custom IR" */
    CUSTOM_IR_IOS_SERVICE = 25      /**< "Custom IR IOS" */
};

/** A transport: one of the TRANSPORT_ values. */
typedef uint32_t TRANSPORT;

/** Values of TRANSPORT, with the texts of TransportToStr(). */
enum {
    TRANSPORT_NONE = 0,      /**< "TransportNone" */
    TRANSPORT_BLUETOOTH = 1, /**< "TransportBluetooth" */
    TRANSPORT_EMBEDDED = 2,  /**< "TransportEmbedded" */
    TRANSPORT_CRADLE = 3,    /**< "TransportCradle" */
    TRANSPORT_WDC = 4,       /**< "TransportWDC" */
    TRANSPORT_DDC = 5        /**< "TransportDDC" */
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
