// The profile's file, where the library's own writing needs help.
#pragma once

#include <string>
#include <vector>

namespace tool {

// Fails for what the library would read without an end, or not at all: a profile is a regular file
// of a sensible length. One that is missing is left to the library.
void requireReadable(const std::string& profile);

// The names in brackets, as far as a section can have them, in the file's order.
std::vector<std::string> sectionsOf(const std::string& path);

// Fails when the profile cannot be replaced, of which the library would say nothing.
void requireWritable(const std::string& path);

// Ends the last line, which the library neither reads nor keeps without an ending. A carriage
// return at the very end of a file is none either.
void endLastLine(const std::string& path);

}  // namespace tool
