// Libraries that are loaded at run time.
#pragma once

#define RTLD_LAZY 1
#define RTLD_NOW 0
#define RTLD_LOCAL 0

typedef struct {
    const char* dli_fname;
} Dl_info;

extern "C" {
void* dlopen(const char* name, int flags);
void* dlsym(void* module, const char* name);
const char* dlerror(void);
int dladdr(const void* address, Dl_info* place);
}
