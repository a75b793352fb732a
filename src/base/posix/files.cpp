#include "base/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "base/text.h"

namespace tivar {

static_assert(kPathBytes >= PATH_MAX);  // what realpath writes to
static_assert(kMostNameBytes == NAME_MAX);

// ---- Names ----

const char* lastName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

bool readStatus(const char* name, FileStatus& status) {
    struct stat found = {};
    if (stat(name, &found) != 0) return false;
    status.kind = FileKind::kOther;
    if (S_ISREG(found.st_mode)) status.kind = FileKind::kFile;
    if (S_ISDIR(found.st_mode)) status.kind = FileKind::kDirectory;
    status.mode = found.st_mode & 07777;
    status.owner = found.st_uid;
    status.group = found.st_gid;
    return true;
}

bool isThere(const char* name) {
    return access(name, F_OK) == 0;
}

bool mayWrite(const char* name) {
    return access(name, W_OK) == 0;
}

// A relative link counts from the directory that it lies in.
bool followLink(char* path, size_t capacity) {
    char to[kPathBytes];
    const ssize_t length = readlink(path, to, sizeof to - 1);
    if (length < 0) return false;
    to[length] = '\0';
    const size_t kept = to[0] == '/' ? 0 : static_cast<size_t>(lastName(path) - path);
    if (static_cast<size_t>(length) >= capacity - kept) {
        errno = ENAMETOOLONG;
        return false;
    }
    copyBounded(path + kept, capacity - kept, to);
    return true;
}

bool resolvePath(const char* path, char (&place)[kPathBytes]) {
    return realpath(path, place) != nullptr;
}

bool removeFile(const char* name) {
    return unlink(name) == 0;
}

bool replaceFile(const char* from, const char* to) {
    return std::rename(from, to) == 0;
}

// A link never replaces anything; file systems without links rename what did not exist before.
bool installNewFile(const char* from, const char* to) {
    if (link(from, to) == 0) {
        unlink(from);
        return true;
    }
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS) return false;
    if (access(to, F_OK) == 0) {
        errno = EEXIST;
        return false;
    }
    return std::rename(from, to) == 0;
}

bool syncDirectoryOf(const char* path) {
    char directory[kPathBytes];
    copyBounded(directory, sizeof directory, path);
    char* slash = std::strrchr(directory, '/');
    if (slash == nullptr) {
        copyBounded(directory, sizeof directory, ".");
    } else {
        slash[slash == directory ? 1 : 0] = '\0';
    }
    const int descriptor = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return false;
    const bool synced = fsync(descriptor) == 0;
    return close(descriptor) == 0 && synced;
}

// ---- Open files ----

int createFile(const char* name, bool isNew) {
    return open(name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, isNew ? 0666 : 0600);
}

int openToWrite(const char* name) {
    return open(name, O_WRONLY | O_CLOEXEC);
}

ptrdiff_t writeSome(int descriptor, const void* bytes, size_t length) {
    return write(descriptor, bytes, length);
}

ptrdiff_t writeSomeAt(int descriptor, uint64_t place, const void* bytes, size_t length) {
    return pwrite(descriptor, bytes, length, static_cast<off_t>(place));
}

bool setMode(int descriptor, const FileStatus& status) {
    return fchmod(descriptor, status.mode) == 0;
}

// The mode comes last: another owner may take it away.
bool setModeAndOwner(int descriptor, const FileStatus& status) {
    struct stat found = {};
    if (fstat(descriptor, &found) != 0) return false;
    const bool other = found.st_uid != status.owner || found.st_gid != status.group;
    // Only the superuser gives files away; for others the new file is their own.
    if (other && fchown(descriptor, status.owner, status.group) != 0 &&
        fchown(descriptor, static_cast<uid_t>(-1), status.group) != 0)
        return fchmod(descriptor, status.mode & 0777) == 0;
    return fchmod(descriptor, status.mode) == 0;
}

bool syncFile(int descriptor) {
    return fsync(descriptor) == 0;
}

bool closeFile(int descriptor) {
    return close(descriptor) == 0;
}

// ---- C's streams ----

FILE* streamOf(int descriptor) {
    return fdopen(descriptor, "w+");
}

int descriptorOf(FILE* file) {
    return fileno(file);
}

long processNumber() {
    return getpid();
}

}  // namespace tivar
