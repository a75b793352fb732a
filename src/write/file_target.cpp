#include "write/file_target.h"

#include <tivar/write.h>

#include <cerrno>
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
    file.descriptor = openToWrite(name);
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
        const ptrdiff_t written = writeSome(file.descriptor, at, length);
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
        const ptrdiff_t written = writeSomeAt(file.descriptor, place, at, length);
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

bool closeTarget(FileTarget& file) {
    const int descriptor = file.descriptor;
    file.descriptor = -1;
    return closeFile(descriptor);
}

bool install(const FileTarget& file, uint32_t flags) {
    return (flags & TIVAR_FILE_NEW) == 0 ? replaceFile(file.beside, file.place)
                                         : installNewFile(file.beside, file.place);
}

}  // namespace

FileTarget::~FileTarget() {
    if (descriptor >= 0) closeFile(descriptor);
    if (beside[0] != '\0') removeFile(beside);
}

int32_t openFile(FileTarget& file, const char* name, uint32_t flags) {
    FileStatus status = {};
    const bool exists = readStatus(name, status);
    if (!exists && errno != ENOENT) return failed(file);
    if (exists && (flags & TIVAR_FILE_NEW) != 0) return failedWith(file, EEXIST);
    if (exists && status.kind == FileKind::kDirectory) return failedWith(file, EISDIR);
    // Before links are followed: what /dev/stdout leads to may have a name in no directory.
    if (exists && status.kind != FileKind::kFile) return openDirectly(file, name);
    const int32_t result = followLinks(file, name);
    if (result != TIVAR_RESULT_OK) return result;
    if (!exists) return openBeside(file);
    // A file that may not be written is not replaced either.
    if (!mayWrite(file.place)) return failed(file);
    file.replaces = true;
    file.replaced = status;
    return openBeside(file);
}

int32_t completeFile(FileTarget& file, uint32_t flags) {
    const bool sync = (flags & TIVAR_FILE_SYNC) != 0;
    if (file.direct) {
        // Not everything that can be written can be synced.
        if (sync && !syncFile(file.descriptor) && errno != EINVAL && errno != EROFS)
            return failed(file);
        return closeTarget(file) ? int32_t{TIVAR_RESULT_OK} : failed(file);
    }
    if (file.replaces && !setModeAndOwner(file.descriptor, file.replaced)) return failed(file);
    if (sync && !syncFile(file.descriptor)) return failed(file);
    if (!closeTarget(file) || !install(file, flags)) return failed(file);
    file.beside[0] = '\0';
    return !sync || syncDirectoryOf(file.place) ? int32_t{TIVAR_RESULT_OK} : failed(file);
}

Target fileTarget(FileTarget& file) {
    if (file.direct) return {&file, writeAll, nullptr, nullptr};
    return {&file, writeAll, writeAllAt, reserveRoom};
}

}  // namespace tivar
