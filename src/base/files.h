// What the library asks of the system about files, beside what C's streams do. Names are UTF-8 on
// Windows. What fails leaves its reason in errno.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace tivar {

// Bytes of the longest name, its end included.
constexpr size_t kPathBytes = 4096;
constexpr size_t kMostNameBytes = 255;

enum class FileKind { kFile, kDirectory, kOther };

// Mode and owner mean something where files have them; elsewhere they are 0.
struct FileStatus {
    FileKind kind;
    uint32_t mode;
    uint32_t owner;
    uint32_t group;
};

// ---- Names ----

// Behind the last separator.
const char* lastName(const char* path);

bool readStatus(const char* name, FileStatus& status);
bool isThere(const char* name);
bool mayWrite(const char* name);

// The place that a link leads to, one step: false when path is no link, or with ENAMETOOLONG when
// the place does not fit.
bool followLink(char* path, size_t capacity);

// The place of a file that is there, with all links followed.
bool resolvePath(const char* path, char (&place)[kPathBytes]);

bool removeFile(const char* name);

// In one step: there is one of both files at any time.
bool replaceFile(const char* from, const char* to);

// The same where nothing may be replaced: EEXIST.
bool installNewFile(const char* from, const char* to);

bool syncDirectoryOf(const char* path);

// ---- Open files ----

// A descriptor, or -1. A new file has the mode that the process gives files, any other the owner's
// alone. Neither is inherited by programs that the process starts.
int createFile(const char* name, bool isNew);
int openToWrite(const char* name);

// How many bytes went there, or -1. The second does not move the place of the first.
ptrdiff_t writeSome(int descriptor, const void* bytes, size_t length);
ptrdiff_t writeSomeAt(int descriptor, uint64_t place, const void* bytes, size_t length);

bool setMode(int descriptor, const FileStatus& status);
bool setModeAndOwner(int descriptor, const FileStatus& status);
bool syncFile(int descriptor);
bool closeFile(int descriptor);

// ---- C's streams ----

// To read and write a new file; null leaves the descriptor open.
FILE* streamOf(int descriptor);
int descriptorOf(FILE* file);

long processNumber();

}  // namespace tivar
