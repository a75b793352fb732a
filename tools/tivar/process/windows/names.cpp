#include "process/windows/names.h"

#include <windows.h>

#include <array>
#include <cerrno>

namespace tool {

std::wstring wideName(std::string_view text) {
    if (text.empty()) return L"";
    const auto bytes = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), length);
    return wide;
}

std::string utf8Name(std::wstring_view text) {
    if (text.empty()) return "";
    const auto units = static_cast<int>(text.size());
    const int length =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), units, bytes.data(), length, nullptr, nullptr);
    return bytes;
}

std::wstring wideFileName(const char* name) {
    constexpr size_t kTakenAsItIs = MAX_PATH - 12;
    const std::wstring wide = wideName(name);
    if (wide.size() < kTakenAsItIs || wide.starts_with(L"\\\\?\\")) return wide;
    std::wstring whole(GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr), L'\0');
    const auto room = static_cast<DWORD>(whole.size());
    whole.resize(GetFullPathNameW(wide.c_str(), room, whole.data(), nullptr));
    return whole.starts_with(L"\\\\") ? L"\\\\?\\UNC" + whole.substr(1) : L"\\\\?\\" + whole;
}

int failWithLastError() {
    struct Row {
        DWORD error;
        int name;
    };
    constexpr std::array kRows{
        Row{ERROR_FILE_NOT_FOUND, ENOENT},    Row{ERROR_PATH_NOT_FOUND, ENOENT},
        Row{ERROR_INVALID_NAME, ENOENT},      Row{ERROR_BAD_PATHNAME, ENOENT},
        Row{ERROR_INVALID_DRIVE, ENOENT},     Row{ERROR_BAD_NETPATH, ENOENT},
        Row{ERROR_DIRECTORY, ENOTDIR},        Row{ERROR_ACCESS_DENIED, EACCES},
        Row{ERROR_SHARING_VIOLATION, EACCES}, Row{ERROR_LOCK_VIOLATION, EWOULDBLOCK},
        Row{ERROR_WRITE_PROTECT, EROFS},      Row{ERROR_FILE_EXISTS, EEXIST},
        Row{ERROR_ALREADY_EXISTS, EEXIST},    Row{ERROR_DISK_FULL, ENOSPC},
        Row{ERROR_HANDLE_DISK_FULL, ENOSPC},  Row{ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG},
        Row{ERROR_BROKEN_PIPE, EPIPE},        Row{ERROR_NO_DATA, EPIPE},
        Row{ERROR_INVALID_HANDLE, EBADF},     Row{ERROR_TOO_MANY_OPEN_FILES, EMFILE},
    };
    const DWORD error = GetLastError();
    errno = EIO;
    for (const Row& row : kRows) {
        if (row.error == error) errno = row.name;
    }
    return -1;
}

}  // namespace tool
