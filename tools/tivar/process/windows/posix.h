// The calls of POSIX that the tool makes and the C library here lacks, or has for other names than
// UTF-8. Included before every file of the tool.
#pragma once

#pragma GCC system_header  // a record and a routine have one name, as in POSIX

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#ifdef __cplusplus
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#endif

extern "C" {

// ---- Numbers that are asked for and mean nothing here, or the nearest thing ----

#define O_CLOEXEC _O_NOINHERIT
#define O_NOFOLLOW 0
#define O_NONBLOCK 0
#define F_DUPFD_CLOEXEC 1030
#define F_GETFD 1
#define F_GETFL 3
#define FD_CLOEXEC 1
#ifndef EDQUOT
#define EDQUOT 10069
#endif
#define FALLOC_FL_KEEP_SIZE 1
#define SIGHUP 1
#define SIGPIPE 13
#define S_IFLNK 0120000
#define S_ISLNK(mode) (((mode)&S_IFMT) == S_IFLNK)

typedef unsigned long sigset_t;

// ---- Files ----

// Seconds of 64 bits, whatever the word size.
struct tivar_time {
    int64_t tv_sec;
    long tv_nsec;
};

// Which file it is says the pair of device and number.
struct tivar_stat {
    uint64_t st_dev;
    uint64_t st_ino;
    unsigned st_mode;
    int64_t st_size;
    struct tivar_time st_mtim;
};
int tivar_stat(const char* name, struct tivar_stat* status);
int tivar_lstat(const char* name, struct tivar_stat* status);
int tivar_fstat(int file, struct tivar_stat* status);
#undef stat
#undef lstat
#undef fstat
#define stat tivar_stat
#define lstat tivar_lstat
#define fstat tivar_fstat

FILE* fmemopen(void* bytes, size_t count, const char* mode);
ssize_t pread(int file, void* bytes, size_t count, int64_t place);
int fcntl(int file, int command, ...);
// A hint, which is not taken here.
inline int fallocate(int, int, int64_t, int64_t) {
    return -1;
}

// Renames, where mayReplace is 0 only to a name that no file has; -1 with errno.
int tivar_rename(const char* from, const char* to, int mayReplace);

// ---- Terminals and processors ----

struct winsize {
    unsigned short ws_row;
    unsigned short ws_col;
};
#define TIOCGWINSZ 1
int ioctl(int file, int request, struct winsize* size);

typedef struct {
    unsigned count;
} cpu_set_t;
#define CPU_COUNT(set) ((set)->count)
int sched_getaffinity(int process, size_t size, cpu_set_t* set);

}  // extern "C"
