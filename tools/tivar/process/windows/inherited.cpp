// Open files have no names here: only "-" leads to one.
#include "process/inherited.h"

namespace tool {

int descriptorNamed(const std::string&) {
    return -1;
}

bool isStandardOutput(const std::string& name) {
    return name == "-";
}

bool isInherited(int descriptor) {
    return descriptor >= 0 && descriptor <= 2;
}

}  // namespace tool
