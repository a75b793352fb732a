#include "write/file_target.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <tivar/write.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/beside.h"
#include "base/text.h"

namespace tivar {
namespace {

int32_t failed(FileTarget& file) {
    file.error = errno;
    return TIVAR_RESULT_FILE_FAILED;
}

int32_t failedWith(FileTarget& file, int error) {
    file.error = error;
    return TIVAR_RESULT_FILE_FAILED;
}

// ---- Opening ----

// The place that a link leads to, one step: false when path is no link, or with ENAMETOOLONG when
// the place does not fit. A relative link counts from the directory that it lies in.
bool followLink(char* path, size_t capacity) {
    char to[PATH_MAX];
    const ssize_t length = readlink(path, to, sizeof to - 1);
    if (length < 0) return false;
    to[length] = '\0';
    char* name = std::strrchr(path, '/');
    const size_t kept = to[0] == '/' || name == nullptr ? 0 : static_cast<size_t>(name + 1 - path);
    if (static_cast<size_t>(length) >= capacity - kept) {
        errno = ENAMETOOLONG;
        return false;
    }
    copyBounded(path + kept, capacity - kept, to);
    return true;
}

int32_t followLinks(FileTarget& file, const char* name) {
    if (std::strlen(name) >= sizeof file.place) return failedWith(file, ENAMETOOLONG);
    copyBounded(file.place, sizeof file.place, name);
    constexpr int kMostLinks = 40;
    for (int i = 0; i < kMostLinks; ++i)
        if (!followLink(file.place, sizeof file.place))
            return errno == ENAMETOOLONG ? failed(file) : int32_t{TIVAR_RESULT_OK};
    return failedWith(file, ELOOP);
}

int32_t openDirectly(FileTarget& file, const char* name) {
    file.direct = true;
    file.descriptor = open(name, O_WRONLY | O_CLOEXEC);
    return file.descriptor < 0 ? failed(file) : int32_t{TIVAR_RESULT_OK};
}

int32_t openBeside(FileTarget& file) {
    file.descriptor = createBeside(file.place, !file.replaces, file.beside, sizeof file.beside);
    if (file.descriptor >= 0) return TIVAR_RESULT_OK;
    file.beside[0] = '\0';
    return failed(file);
}

// ---- Writing ----

int32_t writeAll(void* context, const void* bytes, size_t length) {
    auto& file = *static_cast<FileTarget*>(context);
    const auto* at = static_cast<const uint8_t*>(bytes);
    while (length != 0) {
        const ssize_t written = write(file.descriptor, at, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return written == 0 ? failedWith(file, ENOSPC) : failed(file);
        at += written;
        length -= static_cast<size_t>(written);
    }
    return TIVAR_RESULT_OK;
}

int32_t writeAllAt(void* context, uint64_t place, const void* bytes, size_t length) {
    auto& file = *static_cast<FileTarget*>(context);
    const auto* at = static_cast<const uint8_t*>(bytes);
    while (length != 0) {
        const ssize_t written = pwrite(file.descriptor, at, length, static_cast<off_t>(place));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return written == 0 ? failedWith(file, ENOSPC) : failed(file);
        at += written;
        place += static_cast<uint64_t>(written);
        length -= static_cast<size_t>(written);
    }
    return TIVAR_RESULT_OK;
}

// Room that is found at once costs less than room for block after block. Only a hint: the file
// keeps its length, and what there is no room for fails as it is written.
int32_t reserveRoom([[maybe_unused]] void* context, [[maybe_unused]] uint64_t length) {
#if defined(FALLOC_FL_KEEP_SIZE)
    constexpr uint64_t kWorthwhile = 1u << 20;
    const auto& file = *static_cast<const FileTarget*>(context);
    if (length >= kWorthwhile)
        (void)fallocate(file.descriptor, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(length));
#endif
    return TIVAR_RESULT_OK;
}

// ---- Completing ----

// The mode comes last: another owner may take it away.
bool takeOverMode(const FileTarget& file) {
    if (!file.replaces) return true;
    struct stat status = {};
    if (fstat(file.descriptor, &status) != 0) return false;
    const bool other = status.st_uid != file.owner || status.st_gid != file.group;
    // Only the superuser gives files away; for others the new file is their own.
    if (other && fchown(file.descriptor, file.owner, file.group) != 0 &&
        fchown(file.descriptor, static_cast<uid_t>(-1), file.group) != 0)
        return fchmod(file.descriptor, file.mode & 0777) == 0;
    return fchmod(file.descriptor, file.mode) == 0;
}

bool closeFile(FileTarget& file) {
    const int descriptor = file.descriptor;
    file.descriptor = -1;
    return close(descriptor) == 0;
}

bool syncDirectory(const char* path) {
    char directory[PATH_MAX];
    copyBounded(directory, sizeof directory, path);
    char* name = std::strrchr(directory, '/');
    if (name == nullptr) {
        copyBounded(directory, sizeof directory, ".");
    } else {
        name[name == directory ? 1 : 0] = '\0';
    }
    const int descriptor = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return false;
    const bool synced = fsync(descriptor) == 0;
    return close(descriptor) == 0 && synced;
}

// A link never replaces anything; file systems without links rename what did not exist before.
bool install(FileTarget& file, uint32_t flags) {
    if ((flags & TIVAR_FILE_NEW) == 0) return std::rename(file.beside, file.place) == 0;
    if (link(file.beside, file.place) == 0) {
        unlink(file.beside);
        return true;
    }
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS) return false;
    if (access(file.place, F_OK) == 0) {
        errno = EEXIST;
        return false;
    }
    return std::rename(file.beside, file.place) == 0;
}

}  // namespace

FileTarget::~FileTarget() {
    if (descriptor >= 0) close(descriptor);
    if (beside[0] != '\0') unlink(beside);
}

int32_t openFile(FileTarget& file, const char* name, uint32_t flags) {
    struct stat status = {};
    const bool exists = stat(name, &status) == 0;
    if (!exists && errno != ENOENT) return failed(file);
    if (exists && (flags & TIVAR_FILE_NEW) != 0) return failedWith(file, EEXIST);
    if (exists && S_ISDIR(status.st_mode)) return failedWith(file, EISDIR);
    // Before links are followed: what /dev/stdout leads to may have a name in no directory.
    if (exists && !S_ISREG(status.st_mode)) return openDirectly(file, name);
    const int32_t result = followLinks(file, name);
    if (result != TIVAR_RESULT_OK) return result;
    if (!exists) return openBeside(file);
    // A file that may not be written is not replaced either.
    if (access(file.place, W_OK) != 0) return failed(file);
    file.replaces = true;
    file.mode = status.st_mode & 07777;
    file.owner = status.st_uid;
    file.group = status.st_gid;
    return openBeside(file);
}

int32_t completeFile(FileTarget& file, uint32_t flags) {
    const bool sync = (flags & TIVAR_FILE_SYNC) != 0;
    if (file.direct) {
        // Not everything that can be written can be synced.
        if (sync && fsync(file.descriptor) != 0 && errno != EINVAL && errno != EROFS)
            return failed(file);
        return closeFile(file) ? int32_t{TIVAR_RESULT_OK} : failed(file);
    }
    if (!takeOverMode(file)) return failed(file);
    if (sync && fsync(file.descriptor) != 0) return failed(file);
    if (!closeFile(file) || !install(file, flags)) return failed(file);
    file.beside[0] = '\0';
    return !sync || syncDirectory(file.place) ? int32_t{TIVAR_RESULT_OK} : failed(file);
}

Target fileTarget(FileTarget& file) {
    if (file.direct) return {&file, writeAll, nullptr, nullptr};
    return {&file, writeAll, writeAllAt, reserveRoom};
}

}  // namespace tivar
