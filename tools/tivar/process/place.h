// A finished file takes the place, the owner and the permissions of the one that it replaces.
#pragma once

#include <sys/stat.h>

#include <string>

namespace tool {

// Whether a file of that status may be replaced in its directory: 0 or an errno value.
int whyNotReplaceable(const std::string& target, const struct stat& status);

// Gives the open file the owner, the group and the permissions of the one that it replaces, as far
// as the user may.
bool inheritAccess(int file, const struct stat& replaced);

// Gives the finished file its name unless another file has it by now: EEXIST.
bool renameFresh(const std::string& part, const std::string& target);

// The same whatever has the name.
bool renameOver(const std::string& part, const std::string& target);

}  // namespace tool
