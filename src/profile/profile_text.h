// Lines of a profile: reading them one by one, cleaning them for comparison, telling entries apart.
#pragma once

#include <tivar/stream.h>

#include "base/memory.h"

namespace tivar {

constexpr int32_t kProfileLine = 256;  // longer lines are read as several

enum CleanMask { kCleanHeader = 0, kKeepBrackets = 1, kKeepQuotes = 4, kCleanEntry = 5 };

// Removes line ends, quotes and brackets (those that mask does not keep), cuts the comment and
// strips blanks. A doubled quote always leaves one.
void cleanLine(char* line, int32_t mask);

struct ProfileLine {
    char text[kProfileLine + 1];
    int32_t length;  // zero bytes in the line count
};

// A line's text in a buffer of its own, cleaned.
struct CleanLine {
    CleanLine(const ProfileLine& line, int32_t mask);
    bool isEmpty() const { return text[0] == '\0'; }
    char text[kProfileLine + 1];
};

// A section's name, of any length, cleaned; false without memory for it.
struct SectionName {
    explicit SectionName(const char* name);
    explicit operator bool() const { return static_cast<bool>(block); }
    const char* text() const { return reinterpret_cast<const char*>(block.data); }
    OwnedBlock block;
};

// False at the end of the file. A last line without a line ending is not a line.
bool readProfileLine(OxlStream stream, ProfileLine& line);

inline bool startsSection(const ProfileLine& line) {
    return line.text[0] == '[';
}

// Whether the line names the section; case does not matter. A line that is empty when it is cleaned
// names none.
bool namesSection(const ProfileLine& line, const SectionName& section);

// Cuts the comment and strips blanks at both ends.
void trimText(char* text);

}  // namespace tivar
