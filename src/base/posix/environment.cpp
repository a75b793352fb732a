#include "base/environment.h"

#include <cstdlib>

namespace tivar {

const char* environmentValue(const char* name, char (&)[kEnvironmentBytes]) {
    return std::getenv(name);
}

}  // namespace tivar
