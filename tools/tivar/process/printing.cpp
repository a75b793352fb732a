#include "process/printing.h"

#include <cerrno>
#include <cstdio>
#include <iostream>

#include "process/failure.h"

namespace tool {

void finishPrinting() {
    std::cout.flush();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0 || !std::cout) {
        failErrno("standard output", errno);
    }
}

}  // namespace tool
