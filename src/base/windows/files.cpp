#include "base/files.h"

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/windows/wide.h"

namespace tivar {
namespace {

struct Handle {
    explicit Handle(HANDLE opened) : handle(opened) {}
    ~Handle() {
        if (*this) CloseHandle(handle);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    explicit operator bool() const { return handle != INVALID_HANDLE_VALUE; }

    HANDLE handle;
};

// Of what is there, a directory too, to ask for what it is.
HANDLE openToAsk(const wchar_t* name) {
    constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return CreateFileW(name, 0, kShared, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS,
                       nullptr);
}

// Devices and pipes by name, which would take an opening for more than a question.
bool namesDevice(const wchar_t* name) {
    constexpr size_t kPrefix = 4;
    return std::wcsncmp(name, L"\\\\.\\", kPrefix) == 0;
}

HANDLE handleOf(int descriptor) {
    return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
}

// A link or a mount point: what else has data of its own for the file system is a file.
bool leadsElsewhere(const wchar_t* name) {
    const DWORD attributes = GetFileAttributesW(name);
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
        return false;
    WIN32_FIND_DATAW found = {};
    const HANDLE search = FindFirstFileW(name, &found);
    if (search == INVALID_HANDLE_VALUE) return false;
    FindClose(search);
    return found.dwReserved0 == IO_REPARSE_TAG_SYMLINK ||
           found.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT;
}

bool finalPath(const wchar_t* name, char* path, size_t capacity) {
    const Handle file(openToAsk(name));
    if (!file) return failWithLastError();
    wchar_t place[kPathBytes];
    const DWORD length = GetFinalPathNameByHandleW(file.handle, place, kPathBytes, 0);
    if (length == 0) return failWithLastError();
    if (length >= kPathBytes) {
        errno = ENAMETOOLONG;
        return false;
    }
    return toUtf8(place, path, capacity);
}

bool move(const char* from, const char* to, DWORD flags) {
    const WideName wideFrom(from);
    const WideName wideTo(to);
    if (!wideFrom || !wideTo) return false;
    return MoveFileExW(wideFrom.text, wideTo.text, flags) != 0 || failWithLastError();
}

}  // namespace

// ---- Names ----

const char* lastName(const char* path) {
    const char* name = path;
    for (const char* at = path; *at != '\0'; ++at)
        if (*at == '/' || *at == '\\' || *at == ':') name = at + 1;
    return name;
}

bool readStatus(const char* name, FileStatus& status) {
    const WideName wide(name);
    if (!wide) return false;
    status = {FileKind::kOther, 0, 0, 0};
    if (namesDevice(wide.text)) return true;
    const Handle file(openToAsk(wide.text));
    if (!file) return failWithLastError();
    if (GetFileType(file.handle) != FILE_TYPE_DISK) return true;
    BY_HANDLE_FILE_INFORMATION found = {};
    if (GetFileInformationByHandle(file.handle, &found) == 0) return failWithLastError();
    const bool directory = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    status.kind = directory ? FileKind::kDirectory : FileKind::kFile;
    return true;
}

bool isThere(const char* name) {
    const WideName wide(name);
    return wide &&
           (GetFileAttributesW(wide.text) != INVALID_FILE_ATTRIBUTES || failWithLastError());
}

bool mayWrite(const char* name) {
    const WideName wide(name);
    if (!wide) return false;
    const DWORD attributes = GetFileAttributesW(wide.text);
    if (attributes == INVALID_FILE_ATTRIBUTES) return failWithLastError();
    if ((attributes & FILE_ATTRIBUTE_READONLY) == 0) return true;
    errno = EACCES;
    return false;
}

bool followLink(char* path, size_t capacity) {
    errno = EINVAL;
    const WideName wide(path);
    return wide && leadsElsewhere(wide.text) && finalPath(wide.text, path, capacity);
}

bool resolvePath(const char* path, char (&place)[kPathBytes]) {
    const WideName wide(path);
    return wide && finalPath(wide.text, place, kPathBytes);
}

bool removeFile(const char* name) {
    const WideName wide(name);
    return wide && (DeleteFileW(wide.text) != 0 || failWithLastError());
}

bool replaceFile(const char* from, const char* to) {
    return move(from, to, MOVEFILE_REPLACE_EXISTING);
}

bool installNewFile(const char* from, const char* to) {
    return move(from, to, 0);
}

// The file system's own journal keeps the entry.
bool syncDirectoryOf(const char*) {
    return true;
}

// ---- Open files ----

int createFile(const char* name, bool) {
    const WideName wide(name);
    if (!wide) return -1;
    return _wopen(wide.text, _O_RDWR | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT,
                  _S_IREAD | _S_IWRITE);
}

int openToWrite(const char* name) {
    const WideName wide(name);
    return wide ? _wopen(wide.text, _O_WRONLY | _O_BINARY | _O_NOINHERIT) : -1;
}

// The calls take 32 bits for a length.
constexpr size_t kMostAtOnce = size_t{1} << 30;

ptrdiff_t writeSome(int descriptor, const void* bytes, size_t length) {
    return _write(descriptor, bytes, static_cast<unsigned>(std::min(length, kMostAtOnce)));
}

ptrdiff_t writeSomeAt(int descriptor, uint64_t place, const void* bytes, size_t length) {
    const int64_t before = _lseeki64(descriptor, 0, SEEK_CUR);
    if (before < 0) return -1;
    OVERLAPPED at = {};
    at.Offset = static_cast<DWORD>(place);
    at.OffsetHigh = static_cast<DWORD>(place >> 32);
    const auto wanted = static_cast<DWORD>(std::min(length, kMostAtOnce));
    DWORD written = 0;
    if (WriteFile(handleOf(descriptor), bytes, wanted, &written, &at) == 0) {
        failWithLastError();
        return -1;
    }
    return _lseeki64(descriptor, before, SEEK_SET) < 0 ? -1 : static_cast<ptrdiff_t>(written);
}

// Who may do what with a file comes from its directory.
bool setMode(int, const FileStatus&) {
    return true;
}

bool setModeAndOwner(int, const FileStatus&) {
    return true;
}

bool syncFile(int descriptor) {
    return _commit(descriptor) == 0;
}

bool closeFile(int descriptor) {
    return _close(descriptor) == 0;
}

// ---- C's streams ----

FILE* streamOf(int descriptor) {
    return _fdopen(descriptor, "w+b");
}

int descriptorOf(FILE* file) {
    return _fileno(file);
}

long processNumber() {
    return static_cast<long>(GetCurrentProcessId());
}

}  // namespace tivar
