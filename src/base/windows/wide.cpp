#include "base/windows/wide.h"

#include <windows.h>

#include <cerrno>
#include <cwchar>
#include <iterator>

namespace tivar {
namespace {

constexpr size_t kPrefixRoom = 8;

bool beginsWith(const wchar_t* text, const wchar_t* prefix) {
    return std::wcsncmp(text, prefix, std::wcslen(prefix)) == 0;
}

// From a certain length on only whole paths are taken, behind a prefix that says so.
bool makeLongName(wchar_t* name, size_t capacity) {
    constexpr size_t kTakenAsItIs = MAX_PATH - 12;
    if (std::wcslen(name) < kTakenAsItIs || beginsWith(name, L"\\\\?\\")) return true;
    wchar_t whole[kPathBytes];
    const DWORD length = GetFullPathNameW(name, kPathBytes, whole, nullptr);
    if (length == 0) return failWithLastError();
    const bool onServer = beginsWith(whole, L"\\\\");
    const wchar_t* prefix = onServer ? L"\\\\?\\UNC" : L"\\\\?\\";
    if (length >= kPathBytes || length + kPrefixRoom > capacity) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::wcscpy(name, prefix);
    std::wcscat(name, onServer ? whole + 1 : whole);
    return true;
}

struct ErrorName {
    DWORD error;
    int name;
};

constexpr ErrorName kErrorNames[] = {
    {ERROR_FILE_NOT_FOUND, ENOENT},
    {ERROR_PATH_NOT_FOUND, ENOENT},
    {ERROR_INVALID_DRIVE, ENOENT},
    {ERROR_BAD_NETPATH, ENOENT},
    {ERROR_BAD_NET_NAME, ENOENT},
    {ERROR_INVALID_NAME, ENOENT},
    {ERROR_BAD_PATHNAME, ENOENT},
    {ERROR_DIRECTORY, ENOTDIR},
    {ERROR_ACCESS_DENIED, EACCES},
    {ERROR_SHARING_VIOLATION, EACCES},
    {ERROR_LOCK_VIOLATION, EACCES},
    {ERROR_WRITE_PROTECT, EROFS},
    {ERROR_FILE_EXISTS, EEXIST},
    {ERROR_ALREADY_EXISTS, EEXIST},
    {ERROR_DISK_FULL, ENOSPC},
    {ERROR_HANDLE_DISK_FULL, ENOSPC},
    {ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG},
    {ERROR_BUFFER_OVERFLOW, ENAMETOOLONG},
    {ERROR_TOO_MANY_OPEN_FILES, EMFILE},
    {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
    {ERROR_BROKEN_PIPE, EPIPE},
    {ERROR_NO_DATA, EPIPE},
    {ERROR_INVALID_HANDLE, EBADF},
    {ERROR_FILE_TOO_LARGE, EFBIG},
};

}  // namespace

bool failWithLastError() {
    const DWORD error = GetLastError();
    errno = EIO;
    for (const ErrorName& row : kErrorNames)
        if (row.error == error) errno = row.name;
    return false;
}

WideName::WideName(const char* name) {
    constexpr auto kRoom = static_cast<int>(sizeof buffer / sizeof buffer[0] - kPrefixRoom);
    if (MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, name, -1, buffer, kRoom) == 0) {
        errno = GetLastError() == ERROR_INSUFFICIENT_BUFFER ? ENAMETOOLONG : EILSEQ;
        return;
    }
    if (makeLongName(buffer, std::size(buffer))) text = buffer;
}

bool toUtf8(const wchar_t* wide, char* text, size_t capacity) {
    const auto room = static_cast<int>(capacity);
    if (WideCharToMultiByte(CP_UTF8, 0, wide, -1, text, room, nullptr, nullptr) != 0) return true;
    errno = ENAMETOOLONG;
    return false;
}

}  // namespace tivar
