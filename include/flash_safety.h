/**
 * @file flash_safety.h
 * Checks, repairs and remounts the partitions of the NOR flash device, and stops and starts the
 * flash drivers, that of an optional NAND device included.
 *
 * The NOR device has a boot area and then, back to back, four partitions, which are named by their
 * index. Offsets count from the start of the device; all numbers are kilobytes:
 *
 * | index | mount point   | offset                      | size                        |
 * |-------|---------------|-----------------------------|-----------------------------|
 * | 0     | "/"           | FLASH_START_BOOT_SIZE       | FLASH_START_ROOT_SIZE       |
 * | 1     | "/config-mfg" | boot + root                 | FLASH_START_CONFIG_MFG_SIZE |
 * | 2     | "/config"     | boot + root + config-mfg    | FLASH_START_CONFIG_SIZE     |
 * | 3     | "/log"        | boot + root + config-mfg    | FLASH_START_LOG_SIZE        |
 * |       |               | + config                    |                             |
 *
 * The parameters are variables of the environment: besides the sizes (decimal, "0x" hexadecimal or
 * "0" octal), FLASH_START_DRIVER_NAME and FLASH_START_DRIVER_OPTIONS, the NOR driver's command,
 * which is also its process's name, and options; NAND_DRIVER_NAME and NAND_DRIVER_OPTIONS, the same
 * for the NAND device. Those of a device are read at the first call that needs them and finds all
 * of them; from then on they hold for the life of the process and of the children that it forks,
 * and their texts must stay in the environment. As long as one is missing, every call reports each
 * missing one at Error ("getenv(\"%s\") returned NULL for the required driver parameter!"), and
 * then "Cannot get flash driver parameters from the environment!" or "Cannot get NAND driver
 * parameters from the environment!": a platform without a NAND device gets these records with every
 * call that stops or starts drivers. Names and options reach the shell as they stand, unquoted: the
 * environment of a process that calls these functions must be as trustworthy as the process. A
 * command is cut after 255 characters.
 *
 * A driver is up when there is a path like "/dev/fs0*" (NOR) or "/dev/etfs*" (NAND).
 *
 * Reports go to zone COMMON. All functions block: on the file system, on shell commands that they
 * wait for, and on the drivers. They can be cancelled between two of these steps, a repair only
 * before it erases anything and after it has started the drivers. They keep no state but the
 * parameters and take no lock: callers do not run them from several threads at once.
 */
#ifndef COMMON_FLASH_SAFETY_H
#define COMMON_FLASH_SAFETY_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/**
 * Checks a partition and, if wanted, formats it anew when it is corrupt, by way of flashctl; all
 * files on it are lost then, and both drivers are restarted, with 10 seconds for each half of the
 * way. The results of flashctl are not looked at: the next check tells.
 *
 * A deep check examines everything below the mount point and stops at the first thing wrong, which
 * it reports at Warn: a folder that cannot be opened, an entry that stat(2) cannot examine (a
 * symbolic link whose target is missing is one), or folders nested more than 98 levels below the
 * mount point. A path that is longer than 4095 characters is cut there and examined as cut. What
 * cannot be read of a folder that could be opened is not noticed.
 *
 * Why something cannot be opened or examined makes no difference. The check takes one open folder
 * for each level, some memory for each, and less than 64 KiB of stack: a sound partition counts as
 * corrupt, and is formatted if that is wanted, also when the process or the system has no more
 * descriptors (EMFILE, ENFILE) or memory (ENOMEM), or may not search a folder. Who has a repair
 * made sees to that before: as a user who may read everything, with 100 descriptors to spare.
 *
 * Symbolic links to folders are followed, also out of the partition. Each entry is resolved from
 * the folder that it is in, so that links on the way to it do not add up to the system's limit (40
 * on Linux): that only holds for links that lead to links. A link that leads into a circle, were it
 * only to its own folder, makes a tree too deep.
 *
 * @param index 0 to 3.
 * @param mode 1 checks deep; any other value only asks stat(2) for the mount point.
 * @param recover 1 formats a corrupt partition; any other value leaves it alone.
 * @param corrupt gets 1 when the partition was found corrupt, whatever was done about it, else 0.
 *        It is left as it is when it is not set because of a bad index.
 * @return 1 when the partition is sound, or corrupt and left alone, or formatted with the drivers
 *         running again; 0 when they could not be stopped or started, when the NOR parameters are
 *         not available, and for a null pointer or an index above 3.
 */
COMMON_MUST_USE uint32_t FLASHSAFE_CheckPartition(uint32_t index, uint32_t mode, uint32_t recover,
                                                  uint32_t* corrupt);

/**
 * Remounts a partition writable, with "mount -u -w".
 * @param index 0 to 3.
 * @return 1 when the command could be run and exited with 0 (one that a signal kills has that exit
 *         status, too); otherwise 0, which is reported at Error unless the index is above 3 or the
 *         NOR parameters are not available.
 */
uint32_t FLASHSAFE_MountWritable(uint32_t index);

/**
 * Remounts a partition read-only, with "mount -u -r".
 * @param index 0 to 3.
 * @return as FLASHSAFE_MountWritable().
 */
uint32_t FLASHSAFE_MountReadOnly(uint32_t index);

/**
 * Stops the flash drivers with SIGTERM, first that of the NOR device and then, also when that
 * failed, that of the NAND device. A driver whose parameters are not available, whose name is empty
 * or that is not up counts as stopped. A driver is found by its name as
 * UTIL_GetPidFromProcessName() does, so that one with more than 15 characters in its name, or a
 * path for a name, is never found.
 * @param timeout_ms how long to wait for the end of each driver, in steps of 100 ms, of which there
 *        is at least one for a driver that does not end at once; at most 200 ms for the
 *        NAND driver.
 * @param force 1 kills a NOR driver that does not end in time and waits for another step; any other
 *        value lets it run. The NAND driver is never killed.
 * @return 1 when all drivers have ended, else 0.
 */
COMMON_MUST_USE uint32_t FLASHSAFE_ShutdownDriver(uint32_t timeout_ms, uint32_t force);

/**
 * Starts the flash drivers that are not up, first that of the NOR device and then, also when that
 * failed, that of the NAND device. The commands are expected to put themselves into the background.
 * Once the NOR driver is up, partitions 0 and 1 are remounted read-only, 2 and 3 writable; should
 * that fail, it is reported only. A driver whose parameters are not available, whose name is empty
 * or that is up already counts as started, and nothing is run for it.
 * @param timeout_ms how long to wait for each driver to come up, after its command has returned: it
 *        is looked for at once and after every 100 ms until so much time has passed.
 * @return 1 when all drivers are up, else 0.
 */
COMMON_MUST_USE uint32_t FLASHSAFE_StartDriver(uint32_t timeout_ms);

COMMON_END_DECLS

#endif
