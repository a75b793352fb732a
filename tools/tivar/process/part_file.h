// The unfinished file beside the one that it will replace. It is locked as long as somebody works
// on it, which is how the leftovers of killed processes are told apart.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "process/system.h"

namespace tool {

struct PartFile {
    std::string path;
    Descriptor file;
};

// Removes the leftovers beside all of these targets with one look into each directory. createPart()
// looks no more, in this process and those that it starts.
void removeLeftovers(const std::vector<std::string>& targets);

// A fresh file beside the target, which goes when a signal ends the process. Leftovers beside the
// target are removed. No file, with errno, when there can be none.
PartFile createPart(const std::string& target, mode_t mode);

}  // namespace tool
