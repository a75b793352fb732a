// Lines of a profile: reading them one by one, cleaning them for comparison, telling entries apart.
#pragma once

#include <tivar/stream.h>

namespace tivar {

constexpr int32_t kProfileLine = 256;  // longer lines are read as several

enum CleanMask { kCleanHeader = 0, kKeepBrackets = 1, kKeepQuotes = 4, kCleanEntry = 5 };

// Removes line ends, quotes and brackets (those that mask does not keep), cuts the comment and
// strips blanks. A doubled quote always leaves one.
void cleanLine(char* line, int32_t mask);

// A name or a line's text in a buffer of its own, cleaned.
struct CleanText {
    CleanText(const char* source, int32_t mask);
    char text[kProfileLine + 1];
};

struct ProfileLine {
    char text[kProfileLine + 1];
    int32_t length;  // zero bytes in the line count
};

// False at the end of the file. A last line without a line ending is not a line.
bool readProfileLine(OxlStream stream, ProfileLine& line);

inline bool startsSection(const ProfileLine& line) {
    return line.text[0] == '[';
}

// Whether the line names the section, whose name is cleaned; case does not matter.
bool namesSection(const ProfileLine& line, const CleanText& section);

// Cuts the comment and strips blanks at both ends.
void trimText(char* text);

}  // namespace tivar
