// Reading profiles: finding the file, its sections and their entries.
#include <tivar/filter.h>
#include <tivar/stream.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "base/environment.h"
#include "base/memory.h"
#include "base/text.h"
#include "profile/path.h"
#include "profile/profile_path.h"
#include "profile/profile_text.h"

namespace tivar {
namespace {

constexpr char kDefaultProfile[] = "OXL.INI";
constexpr size_t kPathSize = 144;
constexpr size_t kLongestPath = 4096;

bool canOpen(const char* name) {
    return oxlOpen(name, nullptr, OXL_EXISTS) != static_cast<OxlStream>(-1);
}

// Cut to its field, a path would name another file: it must fit.
bool fits(const char* path, size_t capacity) {
    return ::strnlen(path, capacity) < capacity;
}

// The profile's own name, or one made of the module's; false when it does not fit.
bool chooseProfile(char (&wanted)[kPathSize], const char* name, const char* path) {
    constexpr char kExtension[] = ".ini";
    if (!fits(name, kPathSize)) return false;
    copyBounded(wanted, kPathSize, name);
    if (wanted[0] != '\0' || path == nullptr) return true;
    s_getname(wanted, kPathSize, path);
    const bool hasRoom = fits(wanted, kPathSize - std::strlen(kExtension));
    if (hasRoom) std::strcat(wanted, kExtension);
    return hasRoom;
}

// The answer of a profile query as it forms in the caller's buffer.
struct Answer {
    char* buffer;
    int32_t size;
    int32_t result;

    int32_t place(int32_t at, const char* text, size_t length) const {
        const auto room = static_cast<size_t>(size - at);
        const size_t copied = std::min(length, room);
        std::memcpy(buffer + at, text, copied);
        return static_cast<int32_t>(copied);
    }
};

void stripQuotes(char* value) {
    size_t length = std::strlen(value);
    if (length > 0 && value[0] == '"') std::memmove(value, value + 1, length--);
    if (length > 0 && value[length - 1] == '"') value[length - 1] = '\0';
}

// Reads up to the line that names the section.
bool findSection(OxlStream stream, const SectionName& section) {
    ProfileLine line;
    while (readProfileLine(stream, line)) {
        if (namesSection(line, section)) return true;
    }
    return false;
}

// An entry line cut at its first "=".
struct Entry {
    char key[kProfileLine + 1];
    char* value;
};

// The next entry of the section; false at the section's end.
bool nextEntry(OxlStream stream, Entry& entry) {
    ProfileLine line;
    while (readProfileLine(stream, line) && !startsSection(line)) {
        if (line.text[0] == ';') continue;
        cleanLine(line.text, kCleanEntry);
        char* equals = std::strchr(line.text, '=');
        if (equals == nullptr) continue;
        *equals = '\0';
        std::memcpy(entry.key, line.text, sizeof entry.key);
        entry.value = entry.key + (equals + 1 - line.text);
        return true;
    }
    return false;
}

bool findValue(OxlStream stream, const char* key, Answer& answer) {
    for (Entry entry; nextEntry(stream, entry);) {
        if (stricmp(entry.key, key) != 0) continue;
        stripQuotes(entry.value);
        std::memset(answer.buffer, 0, static_cast<size_t>(answer.size));
        answer.result = answer.place(0, entry.value, std::strlen(entry.value));
        return true;
    }
    return false;
}

// Kept: the result counts the default's characters and the keys', not the zeros between them.
void listKeys(OxlStream stream, Answer& answer) {
    std::memset(answer.buffer, 0, static_cast<size_t>(answer.size));
    int32_t position = 0;
    for (Entry entry; nextEntry(stream, entry);) {
        const size_t length = std::strlen(entry.key);
        const auto room = static_cast<size_t>(answer.size - position);
        position += answer.place(position, entry.key, length) + 1;
        if (length + 2 > room) {
            std::memset(answer.buffer + std::max(answer.size - 2, 0), 0,
                        static_cast<size_t>(std::min(answer.size, 2)));
            answer.result = answer.size - 1;
            return;
        }
        answer.result += static_cast<int32_t>(length);
    }
}

int32_t parseHexadecimal(const char* digits) {
    uint32_t value = 0;
    for (; std::isxdigit(static_cast<unsigned char>(*digits)) != 0; ++digits) {
        const int c = std::toupper(static_cast<unsigned char>(*digits));
        value = value * 16 + static_cast<uint32_t>(c <= '9' ? c - '0' : c - 'A' + 10);
    }
    return static_cast<int32_t>(value);
}

}  // namespace
}  // namespace tivar

using namespace tivar;

OxlStream INIopen(char* name, int32_t capacity, int32_t mode) {
    if (isEmpty(name)) return 0;
    if (const OxlStream stream = oxlOpen(name, nullptr, mode)) return stream;
    char path[kLongestPath];
    if (!pathInIniDir(path, sizeof path, name)) return 0;
    const OxlStream stream = oxlOpen(path, nullptr, mode);
    if (stream != 0 && capacity > 0) copyBounded(name, static_cast<size_t>(capacity), path);
    return stream;
}

void INIclose(OxlStream stream) {
    if (stream != 0) oxlClose(stream);
}

int32_t GetProfileDirectory(char* name, const char* path) {
    char wanted[kPathSize];
    if (name == nullptr || !chooseProfile(wanted, name, path)) return 1;
    char candidate[kPathSize];
    char buffer[kEnvironmentBytes];
    const char* directory = environmentValue("INIDIR", buffer);
    const bool usable = !isEmpty(directory) && std::strlen(directory) < kPathSize;
    if (usable && pathInIniDir(candidate, sizeof candidate, wanted) && canOpen(candidate)) {
        std::memcpy(name, candidate, std::strlen(candidate) + 1);
        return 0;
    }
    if (!canOpen(wanted)) return 1;
    std::memcpy(name, wanted, std::strlen(wanted) + 1);
    return 0;
}

int32_t GetPrivateProfileString(const char* section, const char* key, const char* defaultText,
                                char* buffer, int32_t size, const char* file) {
    if (isEmpty(section) || defaultText == nullptr || buffer == nullptr || size < 1) return 0;
    std::memset(buffer, 0, static_cast<size_t>(size));
    copyBounded(buffer, static_cast<size_t>(size), defaultText);
    Answer answer{buffer, size, static_cast<int32_t>(std::strlen(buffer))};
    char name[kLongestPath];
    if (isEmpty(file) || !fits(file, sizeof name)) return answer.result;
    copyBounded(name, sizeof name, file);
    const OxlStream stream = INIopen(name, 0, OXL_READ);
    const SectionName wanted(section);
    bool found = stream == 0 || !wanted;
    while (!found && findSection(stream, wanted)) {
        if (key == nullptr) listKeys(stream, answer);
        found = key == nullptr || findValue(stream, key, answer);
    }
    INIclose(stream);
    return answer.result;
}

int32_t GetProfileString(const char* section, const char* key, const char* defaultText,
                         char* buffer, int32_t size) {
    return GetPrivateProfileString(section, key, defaultText, buffer, size, kDefaultProfile);
}

int32_t GetPrivateProfileInt(const char* section, const char* key, int32_t defaultValue,
                             const char* file) {
    char text[33] = {};
    if (GetPrivateProfileString(section, key, "", text, 32, file) == 0) return defaultValue;
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) return parseHexadecimal(text + 2);
    const bool decimal = text[0] >= '0' && text[0] <= '9';
    return decimal ? parseInt(text) : 0;
}

int32_t GetProfileInt(const char* section, const char* key, int32_t defaultValue) {
    return GetPrivateProfileInt(section, key, defaultValue, kDefaultProfile);
}
