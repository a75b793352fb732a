// Whether the other end of a pipe is still there; nothing else can be asked.
#pragma once

#define POLLOUT 4
#define POLLERR 8

struct pollfd {
    int fd;
    short events;
    short revents;
};

extern "C" int poll(struct pollfd* files, unsigned long count, int timeout);
