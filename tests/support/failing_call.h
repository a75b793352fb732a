// Makes a call that the code under test makes to the C library fail. The program is linked with
// --wrap for each function below, which leads the calls here.
#pragma once

#include "support/failing_memory.h"

// What the library calls on Windows is not C's for the most part: there it is memory alone.
#if !defined(_WIN32)
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace support {

// What write and pwrite answer then: 0 says that nothing was written, and no error; so many bytes
// at most are written for a number above.
inline ssize_t failedWrite = -1;
template <class Write>
ssize_t failWrite(size_t size, Write&& writeFirst) {
    if (failedWrite <= 0) return failedWrite;
    return writeFirst(size < static_cast<size_t>(failedWrite) ? size
                                                              : static_cast<size_t>(failedWrite));
}

}  // namespace support

// Nothing but their names in the program's link leads to these, so they are kept by force.
#define SUPPORT_WRAP(result, function, parameters, arguments, failure)                       \
    extern "C" result __real_##function parameters;                                          \
    extern "C" __attribute__((used)) inline result __wrap_##function parameters {            \
        return support::FailingCall::due(#function) ? failure : __real_##function arguments; \
    }

SUPPORT_WRAP(int, fseek, (FILE * file, long offset, int whence), (file, offset, whence), -1)
SUPPORT_WRAP(long, ftell, (FILE * file), (file), -1)
SUPPORT_WRAP(int, mkstemp, (char* name), (name), -1)
SUPPORT_WRAP(char*, realpath, (const char* path, char* resolved), (path, resolved), nullptr)
SUPPORT_WRAP(FILE*, fopen, (const char* name, const char* mode), (name, mode), nullptr)
SUPPORT_WRAP(FILE*, fdopen, (int file, const char* mode), (file, mode), nullptr)
SUPPORT_WRAP(size_t, fwrite, (const void* data, size_t size, size_t count, FILE* file),
             (data, size, count, file), 0)
SUPPORT_WRAP(int, fflush, (FILE * file), (file), EOF)
SUPPORT_WRAP(ssize_t, write, (int file, const void* data, size_t size), (file, data, size),
             support::failWrite(size, [&](size_t few) { return __real_write(file, data, few); }))
SUPPORT_WRAP(ssize_t, pwrite, (int file, const void* data, size_t size, off_t place),
             (file, data, size, place), support::failWrite(size, [&](size_t few) {
                 return __real_pwrite(file, data, few, place);
             }))
SUPPORT_WRAP(int, link, (const char* from, const char* to), (from, to), -1)
SUPPORT_WRAP(int, close, (int file), (file), (__real_close(file), -1))
SUPPORT_WRAP(int, fchmod, (int file, mode_t mode), (file, mode), -1)
SUPPORT_WRAP(int, fsync, (int file), (file), -1)
SUPPORT_WRAP(int, rename, (const char* from, const char* to), (from, to), -1)
SUPPORT_WRAP(int, fclose, (FILE * file), (file), (__real_fclose(file), EOF))
SUPPORT_WRAP(int, pthread_create,
             (pthread_t * thread, const pthread_attr_t* attributes, void* (*run)(void*),
              void* argument),
             (thread, attributes, run, argument), EAGAIN)
#undef SUPPORT_WRAP

// Where offsets of files are 64 bits wide by choice, the same calls have names of their own.
extern "C" ssize_t __real_pwrite64(int file, const void* data, size_t size, off64_t place);
extern "C" __attribute__((used)) inline ssize_t __wrap_pwrite64(int file, const void* data,
                                                                size_t size, off64_t place) {
    const auto put = [&](size_t bytes) { return __real_pwrite64(file, data, bytes, place); };
    return support::FailingCall::due("pwrite") ? support::failWrite(size, put) : put(size);
}

extern "C" int __real_open(const char* name, int flags, ...);
extern "C" __attribute__((used)) inline int __wrap_open(const char* name, int flags, ...) {
    unsigned mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list rest;
        va_start(rest, flags);
        mode = va_arg(rest, unsigned);
        va_end(rest);
    }
    return support::FailingCall::due("open") ? -1 : __real_open(name, flags, mode);
}

extern "C" int __real_open64(const char* name, int flags, ...);
extern "C" __attribute__((used)) inline int __wrap_open64(const char* name, int flags, ...) {
    unsigned mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list rest;
        va_start(rest, flags);
        mode = va_arg(rest, unsigned);
        va_end(rest);
    }
    return support::FailingCall::due("open") ? -1 : __real_open64(name, flags, mode);
}

// A read fails the way a broken disk makes it fail: the file's error indicator must be set, too.
extern "C" size_t __real_fread(void* data, size_t size, size_t count, FILE* file);
extern "C" __attribute__((used)) inline size_t __wrap_fread(void* data, size_t size, size_t count,
                                                            FILE* file) {
    if (!support::FailingCall::due("fread")) return __real_fread(data, size, count, file);
    const int kept = dup(fileno(file));
    const int unreadable = __real_open("/dev/null", O_WRONLY);
    dup2(unreadable, fileno(file));
    const size_t result = __real_fread(data, size, count, file);
    dup2(kept, fileno(file));
    __real_close(unreadable);
    __real_close(kept);
    return result;
}
#endif
