// Locks of open files, which end with their process.
#pragma once

#define LOCK_EX 2
#define LOCK_NB 4

extern "C" int flock(int file, int operation);
