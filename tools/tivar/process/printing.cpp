#include "process/printing.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "process/failure.h"

namespace tool {

namespace {

// Whether the reader of standard output has gone, as head does when it has seen enough.
bool isUnread() {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return ::poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0;
}

}  // namespace

void finishPrinting() {
    std::cout.flush();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0 || !std::cout) {
        const int error = errno;
        if (isUnread()) std::_Exit(kSignalBase + SIGPIPE);
        failErrno("standard output", error);
    }
}

}  // namespace tool
