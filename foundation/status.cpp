#include "status.h"

#include <cstddef>
#include <cstring>
#include <iterator>

namespace {

// The names are held in place rather than pointed to, which spares every process the relocations.

struct StatusName {
    STATUS value;
    char symbol[29];
    char text[22];
};

/// All statuses in ascending order, without a gap.
/// Oddity: 114 is what an unknown text gives, so its own symbol gives nothing else, and its display
/// text is that of an unknown number.
/// Test: Status.EveryStatusHasItsNumberAndTexts.
constexpr StatusName kStatusNames[] = {
    {STATUS_SUCCESS, "STATUS_SUCCESS", "Success"},
    {STATUS_BUSY, "STATUS_BUSY", "Busy"},
    {STATUS_COMMUNICATION_FAILURE, "STATUS_COMMUNICATION_FAILURE", "Communication Failure"},
    {STATUS_DISCONNECTED, "STATUS_DISCONNECTED", "Disconnected"},
    {STATUS_FAILED, "STATUS_FAILED", "Failed"},
    {STATUS_PENDING, "STATUS_PENDING", "Pending"},
    {STATUS_NO_RESOURCES, "STATUS_NO_RESOURCES", "No Resources"},
    {STATUS_NOT_FOUND, "STATUS_NOT_FOUND", "Not Found"},
    {STATUS_NOT_SUPPORTED, "STATUS_NOT_SUPPORTED", "Not Supported"},
    {STATUS_IN_PROGRESS, "STATUS_IN_PROGRESS", "In Progress"},
    {STATUS_REJECTED, "STATUS_REJECTED", "Rejected"},
    {STATUS_USER_TERMINATED, "STATUS_USER_TERMINATED", "User-Terminated"},
    {STATUS_VERIFY_FAILED, "STATUS_VERIFY_FAILED", "Verify Failed"},
    {STATUS_INVALID_HANDLE, "STATUS_INVALID_HANDLE", "Invalid Handle"},
    {STATUS_UNRECOGNISED, "STATUS_UNRECOGNISED", "UNKNOWN"},
    {STATUS_AUTH_FAILED, "STATUS_AUTH_FAILED", "Authentication Failed"},
    {STATUS_COMPLETE, "STATUS_COMPLETE", "Complete"},
    {STATUS_DISALLOWED, "STATUS_DISALLOWED", "Disallowed"},
    {STATUS_INCOMPATIBLE_VERSION, "STATUS_INCOMPATIBLE_VERSION", "Incompatible Version"},
    {STATUS_DEVICE_ERROR, "STATUS_DEVICE_ERROR", "Device Error"},
    {STATUS_INVALID_PARAM, "STATUS_INVALID_PARAM", "Invalid Parameter"},
    {STATUS_TIMEOUT, "STATUS_TIMEOUT", "Time Out"},
    {STATUS_SECURITY_BLOCK, "STATUS_SECURITY_BLOCK", "Security Block"},
    {STATUS_NO_FIRST_VALUE, "STATUS_NO_FIRST_VALUE", "No first value"},
};
constexpr STATUS kFirstStatus = STATUS_SUCCESS;
constexpr STATUS kLastStatus = STATUS_NO_FIRST_VALUE;
static_assert(kStatusNames[0].value == kFirstStatus);
static_assert(std::size(kStatusNames) == kLastStatus - kFirstStatus + 1);

struct ServiceName {
    SERVICE value;
    /// Empty for a service that cannot be obtained from text.
    char symbol[27];
    char text[22];
};

/// All services in ascending order, without a gap.
constexpr ServiceName kServiceNames[] = {
    {UNKNOWN_SERVICE, "", "UNKNOWN"},
    {HANDS_FREE_SERVICE, "", "HandsFree"},
    {VOICE_SERVICE, "VOICE_SERVICE", "Voice"},
    {DATA_SERVICE, "DATA_SERVICE", "Data"},
    {FILE_XFER_SERVICE, "FILE_XFER_SERVICE", "FileTransfer"},
    {REMOTE_DATA_SERVICE, "REMOTE_DATA_SERVICE", "RemoteData"},
    {PHONEBOOK_SERVICE, "PHONEBOOK_SERVICE", "Phonebook"},
    {PHONEBOOK_PBAP_SERVICE, "PHONEBOOK_PBAP_SERVICE", "PBAP"},
    {PHONEBOOK_SYNCH_SERVICE, "PHONEBOOK_SYNCH_SERVICE", "PB-Synch"},
    {PHONEBOOK_SYNCH_ML_SERVICE, "PHONEBOOK_SYNCH_ML_SERVICE", "PB-SynchML"},
    {PHONEBOOK_FXFER_SERVICE, "PHONEBOOK_FXFER_SERVICE", "PB-fxfer"},
    {PHONEBOOK_OPUSH_SERVICE, "PHONEBOOK_OPUSH_SERVICE", "PB-Opush"},
    {PHONEBOOK_ATCMD_SERVICE, "PHONEBOOK_ATCMD_SERVICE", "PB-At"},
    {PAIR_SERVICE, "", "Pair"},
    {MUSIC_SERVICE, "MUSIC_SERVICE", "Music"},
    {AUDIO_VISUAL_SERVICE, "AUDIO_VISUAL_SERVICE", "AudioVisual"},
    {ALL_SERVICE, "", "All"},
    {DISCOVERY_SERVICE, "", "Discovery"},
    {MESSAGE_SERVICE, "MESSAGE_SERVICE", "Message Access"},
    {MESSAGE_ATCMD_SERVICE, "MESSAGE_ATCMD_SERVICE", "Message Access - AT"},
    {MESSAGE_MAP_SERVICE, "MESSAGE_MAP_SERVICE", "Message Access - MAP"},
    {WIRELESS_IAP_SERVICE, "", "Wireless IAP"},
    {PANDORA_SERVICE, "", "Pandora"},
    {PANDORA_IOS_SERVICE, "", "Pandora IOS"},
    {CUSTOM_IR_SERVICE, "", "Custom IR"},
    {CUSTOM_IR_IOS_SERVICE, "", "Custom IR IOS"},
};
static_assert(kServiceNames[0].value == UNKNOWN_SERVICE);
static_assert(kServiceNames[std::size(kServiceNames) - 1].value == CUSTOM_IR_IOS_SERVICE);
static_assert(std::size(kServiceNames) == CUSTOM_IR_IOS_SERVICE + 1);

constexpr char kTransportTexts[][19] = {
    "TransportNone",   "TransportBluetooth", "TransportEmbedded",
    "TransportCradle", "TransportWDC",       "TransportDDC",
};
static_assert(std::size(kTransportTexts) == TRANSPORT_DDC + 1);

constexpr char kUnknown[] = "UNKNOWN";

constexpr bool values_are_consecutive()
{
    for (std::size_t i = 0; i < std::size(kStatusNames); ++i) {
        if (kStatusNames[i].value != kFirstStatus + i) {
            return false;
        }
    }
    for (std::size_t i = 0; i < std::size(kServiceNames); ++i) {
        if (kServiceNames[i].value != i) {
            return false;
        }
    }
    return true;
}
static_assert(values_are_consecutive());

}  // namespace

extern "C" {

const char* StatusToStr(STATUS status)
{
    return status >= kFirstStatus && status <= kLastStatus
               ? kStatusNames[status - kFirstStatus].text
               : kUnknown;
}

STATUS StatusStrToStatus(const char* text)
{
    if (text != nullptr) {
        for (const StatusName& name : kStatusNames) {
            if (std::strcmp(text, name.symbol) == 0) {
                return name.value;
            }
        }
    }
    return STATUS_UNRECOGNISED;
}

const char* ServiceToStr(SERVICE service)
{
    return service < std::size(kServiceNames) ? kServiceNames[service].text : kUnknown;
}

SERVICE ServiceStrToService(const char* text)
{
    if (text != nullptr && *text != '\0') {
        for (const ServiceName& name : kServiceNames) {
            if (std::strcmp(text, name.symbol) == 0) {
                return name.value;
            }
        }
    }
    return UNKNOWN_SERVICE;
}

const char* TransportToStr(TRANSPORT transport)
{
    return transport < std::size(kTransportTexts) ? kTransportTexts[transport] : kUnknown;
}

}  // extern "C"
