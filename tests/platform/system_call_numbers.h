// Numbers of system calls that not every machine has: there they are that of no call.
#pragma once

#include <sys/syscall.h>

#ifdef SYS__llseek
inline constexpr long kSysLongSeek = SYS__llseek;
#else
inline constexpr long kSysLongSeek = -1;
#endif
#ifndef SYS_clock_getres
#define SYS_clock_getres (-1)
#endif
#ifndef SYS_clock_getres_time64
#define SYS_clock_getres_time64 (-1)
#endif
#ifndef SYS_clock_gettime
#define SYS_clock_gettime (-1)
#endif
#ifndef SYS_clock_gettime64
#define SYS_clock_gettime64 (-1)
#endif
#ifndef SYS_clock_nanosleep
#define SYS_clock_nanosleep (-1)
#endif
#ifndef SYS_clock_nanosleep_time64
#define SYS_clock_nanosleep_time64 (-1)
#endif
#ifndef SYS_fork
#define SYS_fork (-1)
#endif
#ifndef SYS_fstat
#define SYS_fstat (-1)
#endif
#ifndef SYS_fstat64
#define SYS_fstat64 (-1)
#endif
#ifndef SYS_fstatat64
#define SYS_fstatat64 (-1)
#endif
#ifndef SYS_ftruncate64
#define SYS_ftruncate64 (-1)
#endif
#ifndef SYS_futex
#define SYS_futex (-1)
#endif
#ifndef SYS_futex_time64
#define SYS_futex_time64 (-1)
#endif
#ifndef SYS_mkdir
#define SYS_mkdir (-1)
#endif
#ifndef SYS_mmap
#define SYS_mmap (-1)
#endif
#ifndef SYS_mmap2
#define SYS_mmap2 (-1)
#endif
#ifndef SYS_newfstatat
#define SYS_newfstatat (-1)
#endif
#ifndef SYS_rename
#define SYS_rename (-1)
#endif
#ifndef SYS_renameat
#define SYS_renameat (-1)
#endif
#ifndef SYS_sigreturn
#define SYS_sigreturn (-1)
#endif
#ifndef SYS_socketcall
#define SYS_socketcall (-1)
#endif
#ifndef SYS_symlink
#define SYS_symlink (-1)
#endif
#ifndef SYS_unlink
#define SYS_unlink (-1)
#endif
#ifndef SYS_vfork
#define SYS_vfork (-1)
#endif
#ifndef SYS_wait4
#define SYS_wait4 (-1)
#endif
