"""What gdb answers about the program of records.c, each command with its answer.

Addresses, the numbers of threads and processes and times are replaced (gdb_test.plain).
"""

COMMANDS = {
    "print *given": "5 of 8 bytes: 65 66 67 68 69",
    # Numbers with names.
    "print status": "STATUS_TIMEOUT (121)",
    "print results": "{STATUS_SUCCESS (100), 999}",
    "print service": "MUSIC_SERVICE (14)",
    "print transport": "TRANSPORT_BLUETOOTH (1)",
    "print level": "COMMON_LogLevelWarn (3)",
    "print format": "COMMON_LogFormatColumns (2)",
    "print control": "COMMON_LogPeakloadControlOn (2)",
    "print stopped": "TMR_ReturnNotSet (2)",
    "print compared": "MEM_CompareLess (2)",
    "print foreign_status": "120 'x'",
    # Variants.
    "print integer": "int -5",
    "print real": "float 1.5",
    "print empty": "none",
    "print word": "pointer 0x* <anchor>",
    "print longest": "string 'x' <repeats 200 times>...",
    "print array": 'array of 3 = {string "ra\\"dio", array of 2 = {int 7, none}, none}',
    # Lists and maps.
    "print *tracks": "list of 2 = {0x* <first>, 0x* <second>}",
    "print *no_tracks": "list of 0",
    "print *gains": "list of 2 = {0x* <first_track>, 0x* <second_track>}",
    "print copied_set": "list of 2 = {0x* <first_track>, 0x* <second_track>}",
    "print *capitals": "map of 2 = {[0x27] = 0x* <rome>, [0x2f] = 0x* <oslo>}",
    "common values tracks as char *": '[0] 0x* <first> "first"\n[1] 0x* <second> "second"',
    "common values *gains as struct Track *": '[0] {title = 0x* "Intro", state = STATUS_COMPLETE (116)}\n'
                                             '[1] {title = 0x* "Outro", state = STATUS_PENDING (105)}',
    "common values capitals as int, char *": '39 -> 0x* <rome> "Rome"\n47 -> 0x* <oslo> "Oslo"',
    "common values capitals as char *": '0x27 -> 0x* <rome> "Rome"\n0x2f -> 0x* <oslo> "Oslo"',
    "common values &cyclic as int *": "[0] 0x* <anchor>\n[1] 0x* <anchor>\n[2] <leads back to 0x*>",
    "common values ring as char *": "error: ring is no list and no map",
    "common values tracks": "error: usage: common values LIST as TYPE",
    "common values missing as char *": 'error: No symbol "missing" in current context.',
    "common values tracks as Missing *": 'error: No symbol "Missing" in current context.',
    "common values broken_map as char *": "error: Cannot access memory at address 0x*",
    "common values broken_pair as char *": "<Cannot access memory at address 0x*>"
                                           " -> <Cannot access memory at address 0x*>\n"
                                           '0x2f -> 0x* <oslo> "Oslo"',
    "common values broken_pair.list as Map_Pair *": "[0] <Cannot access memory at address 0x*>\n"
                                                    "[1] {key = 0x2f, value = 0x* <oslo>}",
    # Bytes.
    "print ring": "5 of 8 bytes: 65 66 67 68 69",
    "print unset_ring": "no bytes",
    "print queue": "5 of 64 bytes: 68 65 6c 6c 6f",
    "print queue_ex": "0 of 4 bytes",
    "print *data": "2 of 4 bytes: 01 fe",
    "print short_id": "110a",
    "print long_id": "30313233-3435-3637-3839-616263646566",
    "print no_id": "empty",
    # Expressions, clients, machines.
    "print *expression": '2 groups, next match from byte 4 = {[0] = "abb", [1] = "a", [2] = "bb"}',
    "print replacing": '0 groups, next match from byte 0 = {result = "xyx"}',
    "print clients": "clients = {client 5, 2 events = {0x*, 0x*}, client 6, 0 events}",
    "print no_clients": "no clients",
    "print player": '"player" in on_event (top > on > on_event)',
    "print unstarted": '"unstarted" not started',
    "print moving": '"player" in on_event (top > on > on_event), on its way to off',
    "print *player.current": "on_event",
    "print worker_machine": '"worker" in busy (master > idle > busy)',
    "print moving_machine": '"worker" in busy (master > idle > busy), on its way to idle',
    "print stopped_machine": '"worker" in busy (master > idle > busy)',
    "print *worker_machine.current": "busy",
    "print foreign_state": "{number = 5}",
    # What is the same in a core.
    "print *let_go": "free",
    "print signalled": "free, signal pending",
    "set $copy = signalled": "",  # a value without an address
    "print $copy": "free, signal pending",
    "print *idle": "idle",
    "print *busy_watchdog": "0 subscribers",
    "print *late": "on_late(0x0), fired",
    "print gone": "on_late(0x0), unsubscribed and fired",
    'print process': 'process N "gdb_records"',
    # What cannot be.
    "print unknown": "<unknown type 77>",
    "print itself": "<an array of itself>",
    "print broken": "array of 500000 = {<Cannot access memory at address 0x10>}",
    "print no_elements": "array of 3 without elements",
    "print cyclic": "list of 2 = {0x* <anchor>, 0x* <anchor>, <leads back to 0x*>}",
    "print broken_list": "list of 7 = {<Cannot access memory at address 0x10>}",
    "print broken_set": "list of 0 = {<Cannot access memory at address 0x10>}",
    "print no_list": "map without list",
    "print broken_map": "<Cannot access memory at address 0x*>"
                        " = {[<Cannot access memory at address 0x*>] = <Cannot access memory at address 0x*>}",
    "print broken_pair": "map of 2 = {[<Cannot access memory at address 0x*>] = <Cannot access memory at address 0x*>,"
                         " [0x2f] = 0x* <oslo>}",
    "print broken_ring": "<corrupt: 9 of 8 bytes>",
    "print far_ring": "<Cannot access memory at address 0x10>",
    "print broken_data": "<corrupt: 9 of 8 bytes>",
    "print broken_id": "<corrupt: 200 bytes>",
    "print broken_machine": "<error: Cannot access memory at address 0x10> in loop"
                            " (<leads back to 0x*> > loop)",
    "print broken_watchdog": "1 subscriber, no monitor = {on_late(0x0), unsubscribed and fired, <leads back to 0x*>}",
    "print broken_client": "client 7, 0 events = {<Cannot access memory at address 0x10>}",
    "print *(TMR*)0": "error: Cannot access memory at address 0x0",
    # gdb's own limits and switches.
    "print/r short_id.size": "2 '\\002'",
    "set print elements 2": "",
    "print (ring)": "5 of 8 bytes: 65 66 ...",
    "print (longest)": 'string "xx"...',
    "print (cyclic)": "list of 2 = {0x* <anchor>, 0x* <anchor>...}",
    "common values (&cyclic) as int *": "[0] 0x* <anchor>\n[1] 0x* <anchor>",
    "set print elements unlimited": "",
    "print ( ring )": "5 of 8 bytes: 65 66 67 68 69",
    "print ( broken )": "array of 500000 = {<Cannot access memory at address 0x10>}",
    "print ( cyclic )": "list of 2 = {0x* <anchor>, 0x* <anchor>, <leads back to 0x*>}",
    "set print elements 200": "",
    "disable pretty-printer .* libcommon;(STATUS|COMMON_UUID)": "2 printers disabled\n"
                                                                "<n> of <n> printers enabled",
    "print (status)": "121",
    "print (no_id).size": "0 '\\000'",
    "print ( no_id )": "{size = 0 '\\000', bytes = '\\000' <repeats 15 times>}",
    "enable pretty-printer .* libcommon;.*": "2 printers enabled\n<n> of <n> printers enabled",
    "print ( status )": "STATUS_TIMEOUT (121)",
    "print missing": 'error: No symbol "missing" in current context.',
}

# A thread has a name in a process only, and the time is known only there.
PROCESS = {
    "print *held": "locked by thread N (gdb_records), 2 times",
    "print *monitor": "locked by thread N (gdb_records), 1 thread in the wait",
    "print held_sync": "locked by thread N (gdb_records)",
    "print busy_queue": "0 of 8 bytes, queueMutex locked by thread N (gdb_records)",
    "print busy_queue_ex": "0 of 4 bytes, locked by thread N (gdb_records), signal pending",
    "print *thread": '"tuner" runs as thread N (gdb_records)',
    "print *watchdog": "1 subscriber = {on_late(0x* <anchor>), due in <an hour> ms}",
    "print *subscriber": "on_late(0x* <anchor>), due in <an hour> ms",
    "print overdue": "on_late(0x0), due <long> ms ago",
    "print *armed": "armed, last with on_tick after 3600000 ms"
                    " = {thread N = calls on_tick in <an hour> ms}",
    "print *calling": "idle = {thread N = calling back}",
    "common threads": "timer\ntimer\nwatchdog's monitor\nwatchdog's monitor\n"
                      "watchdog's monitor or handler, or started by one",
}
CORE = {
    "print *held": "locked by thread N, 2 times",
    "print *monitor": "locked by thread N, 1 thread in the wait",
    "print held_sync": "locked by thread N",
    "print *thread": '"tuner" runs as thread N',
    "print *watchdog": "1 subscriber = {on_late(0x* <anchor>), due at <time> s of the monotonic clock}",
    "print *armed": "armed, last with on_tick after 3600000 ms"
                    " = {thread N = calls on_tick at <time> s of the monotonic clock}",
    "print *calling": "idle = {thread N = calling back}",
    "common threads": "timer\ntimer\nwatchdog's monitor\nwatchdog's monitor",
}

LOG = {
    "common log": "accepted:         Note and what is more urgent\n"
                  "level:            Note; without peak load Note, at peak load Note\n"
                  "peakload control: None, files looked at every 1000 ms\n"
                  "layout:           Columns\n"
                  "records go to:    the system log\n"
                  "switches:         cache on, color off, debug off, enable on, legacy on, strip on\n"
                  'process:          N "gdb_records"',
}
NO_LOG = {
    "common log": "error: no debug information of libcommon.so is loaded: install what belongs to it"
                  " (Debian: libcommon1-dbgsym), or build the library with -g",
}
WITHOUT_DEBUG_INFORMATION = {
    "print status": "STATUS_TIMEOUT (121)",
    "print ring": "5 of 8 bytes: 65 66 67 68 69",
    "print *armed": "armed, last with on_tick after 3600000 ms",
    "print *watchdog": "1 subscriber = {on_late(0x* <anchor>), due in <an hour> ms}",
    "common threads": "timer, or started by a callback\n" * 2 +
                      "watchdog's monitor or handler, or started by one\n" * 2 +
                      "watchdog's monitor or handler, or started by one",
}
