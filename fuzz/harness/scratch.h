// Files of a target's own, in a directory that the process takes with it when it ends.
#pragma once

#include <string>

#include "harness/input.h"

namespace fuzz {

// The path of a file in the directory; nothing is created.
std::string scratchPath(const char* name);

// A name for a device of which no harm can come: what deletes it deletes a link.
std::string deviceLink(const char* device);

void writeFile(const std::string& path, const Bytes& bytes);

// Empty when there is no such file.
Bytes readFile(const std::string& path);
bool fileExists(const std::string& path);
void removeFile(const std::string& path);

// All files of the directory; links stay.
void removeFiles();

}  // namespace fuzz
