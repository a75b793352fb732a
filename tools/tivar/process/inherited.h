// Outputs that name a stream which the caller has opened: /dev/stdout, /dev/fd/3 and links to them.
#pragma once

#include <string>

namespace tool {

// The descriptor that the name leads to; -1 = it names no descriptor of this process.
int descriptorNamed(const std::string& name);

// Whether the name is "-" or leads to standard output.
bool isStandardOutput(const std::string& name);

// Whether the caller of the program has opened the descriptor, not the program itself.
bool isInherited(int descriptor);

}  // namespace tool
