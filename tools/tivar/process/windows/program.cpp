#include "process/program.h"

#include <shellapi.h>
#include <windows.h>

#include <filesystem>
#include <string>
#include <vector>

#include "process/windows/names.h"

namespace tool {
namespace {

UINT g_consoleWas = 0;

void restoreConsole() {
    SetConsoleOutputCP(g_consoleWas);
}

// Lines are UTF-8, and a line can be cleared.
void prepareConsole() {
    g_consoleWas = GetConsoleOutputCP();
    if (g_consoleWas != 0 && SetConsoleOutputCP(CP_UTF8) != 0) std::atexit(restoreConsole);
    const HANDLE errors = GetStdHandle(STD_ERROR_HANDLE);
    DWORD mode = 0;
    if (GetConsoleMode(errors, &mode) != 0) {
        SetConsoleMode(errors, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
}

}  // namespace

void prepareProgram(int& argc, char**& argv) {
    static std::vector<std::string> texts;
    static std::vector<char*> addresses;
    for (const int stream : {0, 1, 2}) {
        if (_get_osfhandle(stream) < 0) (void)::open("NUL", stream == 0 ? O_WRONLY : O_RDONLY);
        _setmode(stream, _O_BINARY);
    }
    prepareConsole();
    int count = 0;
    wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (wide == nullptr) return;
    for (int i = 0; i < count; ++i) texts.push_back(utf8Name(wide[i]));
    LocalFree(wide);
    for (std::string& text : texts) addresses.push_back(text.data());
    addresses.push_back(nullptr);
    argc = count;
    argv = addresses.data();
}

std::string programDirectory() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    const size_t slash = path.find_last_of(L"\\/");
    return slash == std::wstring::npos ? "" : utf8Name(path.substr(0, slash));
}

}  // namespace tool
