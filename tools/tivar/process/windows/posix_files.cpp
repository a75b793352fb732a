// Files by names of UTF-8. These take the place of the C library's routines of the same names in
// the whole program, the C++ library's streams included.
#include <sys/file.h>
#include <sys/mman.h>
#include <windows.h>

#include <cstdarg>
#include <cwchar>
#include <map>
#include <string>

#include "process/utf8.h"
#include "process/windows/names.h"

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE handleOf(int file) {
    return reinterpret_cast<HANDLE>(_get_osfhandle(file));
}

bool isDevice(const std::wstring& name) {
    return name.starts_with(L"\\\\.\\");
}

DWORD accessOf(int flags) {
    const int way = flags & (_O_RDONLY | _O_WRONLY | _O_RDWR);
    if (way == _O_RDONLY) return GENERIC_READ;
    return way == _O_WRONLY ? GENERIC_WRITE : GENERIC_READ | GENERIC_WRITE;
}

DWORD creationOf(int flags) {
    if ((flags & _O_CREAT) == 0) return (flags & _O_TRUNC) != 0 ? TRUNCATE_EXISTING : OPEN_EXISTING;
    if ((flags & _O_EXCL) != 0) return CREATE_NEW;
    return (flags & _O_TRUNC) != 0 ? CREATE_ALWAYS : OPEN_ALWAYS;
}

int descriptorOf(HANDLE handle, int flags) {
    if (handle == INVALID_HANDLE_VALUE) return tool::failWithLastError();
    const int file =
        _open_osfhandle(reinterpret_cast<intptr_t>(handle), flags | _O_BINARY | _O_NOINHERIT);
    if (file < 0) CloseHandle(handle);
    return file;
}

tivar_time timeOf(const FILETIME& time) {
    constexpr int64_t kTicks = 10000000;
    constexpr int64_t kFrom1601 = 11644473600;
    const auto ticks =
        static_cast<int64_t>(uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
    return {ticks / kTicks - kFrom1601, static_cast<long>(ticks % kTicks * 100)};
}

int describe(HANDLE handle, struct tivar_stat* status) {
    *status = {};
    const DWORD type = GetFileType(handle);
    status->st_mode = type == FILE_TYPE_CHAR ? S_IFCHR : S_IFIFO;
    if (type != FILE_TYPE_DISK) return 0;
    BY_HANDLE_FILE_INFORMATION found = {};
    if (GetFileInformationByHandle(handle, &found) == 0) {
        // A file that the caller has opened may be out of reach for this, and is no other's then.
        LARGE_INTEGER size = {};
        if (GetFileSizeEx(handle, &size) == 0) return tool::failWithLastError();
        status->st_mode = S_IFREG;
        status->st_size = size.QuadPart;
        return 0;
    }
    const bool directory = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    status->st_mode = directory ? S_IFDIR : S_IFREG;
    status->st_dev = found.dwVolumeSerialNumber;
    status->st_ino = uint64_t{found.nFileIndexHigh} << 32 | found.nFileIndexLow;
    status->st_size =
        static_cast<int64_t>(uint64_t{found.nFileSizeHigh} << 32 | found.nFileSizeLow);
    status->st_mtim = timeOf(found.ftLastWriteTime);
    return 0;
}

int describeNamed(const char* name, struct tivar_stat* status, DWORD flags) {
    const std::wstring wide = tool::wideFileName(name);
    if (isDevice(wide)) {
        *status = {};
        status->st_mode = S_IFIFO;
        return 0;
    }
    const HANDLE handle = CreateFileW(wide.c_str(), 0, kShareAll, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return tool::failWithLastError();
    const int result = describe(handle, status);
    CloseHandle(handle);
    return result;
}

bool isLink(const std::wstring& name) {
    WIN32_FIND_DATAW found = {};
    const HANDLE search = FindFirstFileW(name.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return false;
    FindClose(search);
    return (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           (found.dwReserved0 == IO_REPARSE_TAG_SYMLINK ||
            found.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT);
}

}  // namespace

extern "C" {

int open(const char* name, int flags, ...) {
    // Shared with everybody: an open file can be renamed and removed, as elsewhere.
    const HANDLE handle = CreateFileW(tool::wideFileName(name).c_str(), accessOf(flags), kShareAll,
                                      nullptr, creationOf(flags), FILE_ATTRIBUTE_NORMAL, nullptr);
    return descriptorOf(handle, flags & (_O_RDONLY | _O_WRONLY | _O_RDWR | _O_APPEND));
}

FILE* fopen(const char* name, const char* mode) {
    std::wstring wideMode = tool::wideName(mode);
    if (wideMode.find(L'b') == std::wstring::npos) wideMode += L'b';
    return _wfopen(tool::wideFileName(name).c_str(), wideMode.c_str());
}

int unlink(const char* name) {
    return DeleteFileW(tool::wideFileName(name).c_str()) != 0 ? 0 : tool::failWithLastError();
}

int access(const char* name, int mode) {
    const DWORD attributes = GetFileAttributesW(tool::wideFileName(name).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return tool::failWithLastError();
    const bool directory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if ((mode & W_OK) == 0 || directory || (attributes & FILE_ATTRIBUTE_READONLY) == 0) return 0;
    errno = EACCES;
    return -1;
}

int tivar_rename(const char* from, const char* to, int mayReplace) {
    const DWORD flags = mayReplace != 0 ? MOVEFILE_REPLACE_EXISTING : 0;
    const bool done =
        MoveFileExW(tool::wideFileName(from).c_str(), tool::wideFileName(to).c_str(), flags) != 0;
    return done ? 0 : tool::failWithLastError();
}

int tivar_stat(const char* name, struct tivar_stat* status) {
    return describeNamed(name, status, 0);
}

int tivar_lstat(const char* name, struct tivar_stat* status) {
    if (!isLink(tool::wideFileName(name))) return describeNamed(name, status, 0);
    const int result = describeNamed(name, status, FILE_FLAG_OPEN_REPARSE_POINT);
    if (result == 0) status->st_mode = S_IFLNK;
    return result;
}

int tivar_fstat(int file, struct tivar_stat* status) {
    const HANDLE handle = handleOf(file);
    if (handle == INVALID_HANDLE_VALUE) return -1;
    return describe(handle, status);
}

ssize_t pread(int file, void* bytes, size_t count, int64_t place) {
    const int64_t before = _lseeki64(file, 0, SEEK_CUR);
    if (before < 0 || _lseeki64(file, place, SEEK_SET) < 0) return -1;
    const int got = _read(file, bytes, static_cast<unsigned>(count));
    return _lseeki64(file, before, SEEK_SET) < 0 ? -1 : got;
}

int fcntl(int file, int command, ...) {
    if (handleOf(file) == INVALID_HANDLE_VALUE) {
        errno = EBADF;
        return -1;
    }
    if (command == F_DUPFD_CLOEXEC) return _dup(file);
    return command == F_GETFL ? _O_RDWR : 0;
}

// Far behind whatever is written, since what is locked here cannot be read or written.
int flock(int file, int) {
    OVERLAPPED place = {};
    place.OffsetHigh = 0x7FFFFFFF;
    constexpr DWORD kFlags = LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY;
    if (LockFileEx(handleOf(file), kFlags, 0, 1, 0, &place) != 0) return 0;
    tool::failWithLastError();
    if (errno != EWOULDBLOCK) errno = ENOSYS;
    return -1;
}

int memfd_create(const char*, unsigned) {
    wchar_t directory[MAX_PATH + 1] = {};
    wchar_t name[MAX_PATH + 1] = {};
    if (GetTempPathW(MAX_PATH, directory) == 0 ||
        GetTempFileNameW(directory, L"tiv", 0, name) == 0) {
        return tool::failWithLastError();
    }
    const HANDLE handle =
        CreateFileW(name, GENERIC_READ | GENERIC_WRITE | DELETE, kShareAll, nullptr, CREATE_ALWAYS,
                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    return descriptorOf(handle, _O_RDWR);
}

// The C++ library makes paths of text by this: characters of UTF-8. One beyond 16 bits becomes two
// units, the second of which state keeps until the last of its bytes is asked for.
size_t mbrtowc(wchar_t* to, const char* from, size_t count, mbstate_t* state) {
    static mbstate_t own = 0;
    if (state == nullptr) state = &own;
    if (from == nullptr) return static_cast<size_t>(*state = 0);
    if (count == 0) return static_cast<size_t>(-2);
    if (*state != 0) {
        if (to != nullptr) *to = static_cast<wchar_t>(*state);
        *state = 0;
        return 1;
    }
    const tool::Character next = tool::firstCharacter({from, count});
    if (!next.valid) {
        errno = EILSEQ;
        return static_cast<size_t>(-1);
    }
    const bool two = next.code > 0xFFFF;
    const uint32_t above = next.code - 0x10000;
    if (to != nullptr) *to = static_cast<wchar_t>(two ? 0xD800 + (above >> 10) : next.code);
    if (two) *state = static_cast<mbstate_t>(0xDC00 + (above & 0x3FF));
    if (next.code == 0) return 0;
    return two ? next.bytes - 1 : next.bytes;
}

// Only to be read.
FILE* fmemopen(void* bytes, size_t count, const char*) {
    const int file = memfd_create("", 0);
    FILE* stream = file < 0 ? nullptr : _fdopen(file, "w+b");
    if (stream == nullptr) return nullptr;
    if (std::fwrite(bytes, 1, count, stream) != count || std::fflush(stream) != 0) {
        std::fclose(stream);
        return nullptr;
    }
    std::rewind(stream);
    return stream;
}

// The texts stay, as the C library's do.
char* getenv(const char* name) {
    static std::map<std::string, std::string> known;
    const wchar_t* value = _wgetenv(tool::wideName(name).c_str());
    if (value == nullptr) return nullptr;
    std::string& text = known[name];
    text = tool::utf8Name(value);
    return text.data();
}

}  // extern "C"
