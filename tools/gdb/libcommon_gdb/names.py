"""The typedefs of the interface whose numbers have names.

The headers say these as enumerations without a name, of which a compiler writes down only what a
program uses: so they are repeated here.
"""


def _row(prefix, names, first=0):
    return {number: prefix + name for number, name in enumerate(names.split(), first)}


NAMES = {
    "STATUS": _row("STATUS_", "SUCCESS BUSY COMMUNICATION_FAILURE DISCONNECTED FAILED PENDING NO_RESOURCES"
                   " NOT_FOUND NOT_SUPPORTED IN_PROGRESS REJECTED USER_TERMINATED VERIFY_FAILED"
                   " INVALID_HANDLE UNRECOGNISED AUTH_FAILED COMPLETE DISALLOWED INCOMPATIBLE_VERSION"
                   " DEVICE_ERROR INVALID_PARAM TIMEOUT SECURITY_BLOCK NO_FIRST_VALUE", 100),
    "SERVICE": _row("", "UNKNOWN_SERVICE HANDS_FREE_SERVICE VOICE_SERVICE DATA_SERVICE FILE_XFER_SERVICE"
                    " REMOTE_DATA_SERVICE PHONEBOOK_SERVICE PHONEBOOK_PBAP_SERVICE PHONEBOOK_SYNCH_SERVICE"
                    " PHONEBOOK_SYNCH_ML_SERVICE PHONEBOOK_FXFER_SERVICE PHONEBOOK_OPUSH_SERVICE"
                    " PHONEBOOK_ATCMD_SERVICE PAIR_SERVICE MUSIC_SERVICE AUDIO_VISUAL_SERVICE ALL_SERVICE"
                    " DISCOVERY_SERVICE MESSAGE_SERVICE MESSAGE_ATCMD_SERVICE MESSAGE_MAP_SERVICE"
                    " WIRELESS_IAP_SERVICE PANDORA_SERVICE PANDORA_IOS_SERVICE CUSTOM_IR_SERVICE"
                    " CUSTOM_IR_IOS_SERVICE"),
    "TRANSPORT": _row("TRANSPORT_", "NONE BLUETOOTH EMBEDDED CRADLE WDC DDC"),
    "COMMON_LogLevel_t": _row("COMMON_LogLevel", "Fatal Critical Error Warn Note Info Debug Verbose"),
    "COMMON_LogFormat_t": _row("COMMON_LogFormat", "Legacy All Columns Syslogng Syslogngext"),
    "COMMON_LogPeakloadControl_t": _row("COMMON_LogPeakloadControl", "None Off On"),
    "COMMON_MutexType_t": _row("COMMON_MutexType", "Normal ErrorChecking Recursive Default"),
    "COMMON_MutexProtocol_t": _row("COMMON_MutexProtocol", "Inherited Protected"),
    "COMMON_ThreadSchedule_t": _row("COMMON_ThreadSchedule", "Other Fifo RoundRobin"),
    "COMMON_ThreadDetach_t": _row("COMMON_ThreadDetach", "Joinable Detached"),
    "TMR_Return_t": _row("TMR_Return", "Success Failed NotSet NullTimer"),
    "MEM_CompareResult": _row("MEM_Compare", "Equal Less Greater", 1),
    "HsmEngine": _row("HsmEngine", "Hsm LsHsm"),
    "HsmCause": _row("HsmCause", "Event Start"),
}
