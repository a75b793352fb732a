// Terminals, processors, pipes and libraries, as POSIX asks for them.
#include <dlfcn.h>
#include <poll.h>
#include <windows.h>

#include <bit>
#include <string>

#include "process/windows/names.h"

namespace {

HANDLE handleOf(int file) {
    return reinterpret_cast<HANDLE>(_get_osfhandle(file));
}

std::string g_loaderError;

void keepLoaderError() {
    wchar_t text[512] = {};
    const DWORD error = GetLastError();
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                        nullptr, error, 0, text, std::size(text), nullptr);
    g_loaderError = tool::utf8Name({text, length});
    while (!g_loaderError.empty() && static_cast<unsigned char>(g_loaderError.back()) <= ' ') {
        g_loaderError.pop_back();
    }
    if (g_loaderError.empty()) g_loaderError = "error " + std::to_string(error);
}

// Only beside the program and among the system's own, never in the current directory; what is given
// with its directory finds beside itself what it needs.
HMODULE load(const std::string& name) {
    if (name.find_first_of("/\\:") == std::string::npos) {
        constexpr DWORD kPlaces =
            LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;
        return LoadLibraryExW(tool::wideName(name).c_str(), nullptr, kPlaces);
    }
    const std::wstring wide = tool::wideName(name);
    std::wstring whole(GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr), L'\0');
    const auto room = static_cast<DWORD>(whole.size());
    whole.resize(GetFullPathNameW(wide.c_str(), room, whole.data(), nullptr));
    return LoadLibraryExW(whole.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

}  // namespace

extern "C" {

void* dlopen(const char* name, int) {
    const HMODULE module = load(name);
    if (module == nullptr) keepLoaderError();
    return reinterpret_cast<void*>(module);
}

void* dlsym(void* module, const char* name) {
    return std::bit_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(module), name));
}

const char* dlerror() {
    return g_loaderError.c_str();
}

int dladdr(const void* address, Dl_info* place) {
    static std::string path;
    HMODULE module = nullptr;
    constexpr DWORD kFlags =
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (GetModuleHandleExW(kFlags, static_cast<const wchar_t*>(address), &module) == 0) return 0;
    std::wstring wide(32768, L'\0');
    wide.resize(GetModuleFileNameW(module, wide.data(), static_cast<DWORD>(wide.size())));
    path = tool::utf8Name(wide);
    place->dli_fname = path.c_str();
    return 1;
}

// The C library takes every device for a terminal.
int isatty(int file) {
    DWORD mode = 0;
    return GetConsoleMode(handleOf(file), &mode) != 0 ? 1 : 0;
}

int ioctl(int file, int, struct winsize* size) {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    if (GetConsoleScreenBufferInfo(handleOf(file), &info) == 0) return -1;
    size->ws_col = static_cast<unsigned short>(info.srWindow.Right - info.srWindow.Left + 1);
    size->ws_row = static_cast<unsigned short>(info.srWindow.Bottom - info.srWindow.Top + 1);
    return 0;
}

int sched_getaffinity(int, size_t, cpu_set_t* set) {
    DWORD_PTR usable = 0;
    DWORD_PTR all = 0;
    if (GetProcessAffinityMask(GetCurrentProcess(), &usable, &all) == 0) return -1;
    set->count = static_cast<unsigned>(std::popcount(usable));
    return 0;
}

// Writing nothing tells whether the reader has gone.
int poll(struct pollfd* files, unsigned long count, int) {
    for (unsigned long i = 0; i < count; ++i) {
        DWORD written = 0;
        const bool gone = WriteFile(handleOf(files[i].fd), "", 0, &written, nullptr) == 0;
        files[i].revents = gone ? POLLERR : POLLOUT;
    }
    return static_cast<int>(count);
}

}  // extern "C"
