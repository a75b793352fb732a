/* The library with a raster driver and setup escapes that tell what they are sent. Linked with the
 * real library, which does the work.
 *
 * WITNESS_LOG names the file that gets a line for each call. WITNESS_FAIL=opcode:code answers that
 * operation with the code, after it has been carried out; opcode 0 is the initialisation.
 * WITNESS_SIGNAL=opcode:n interrupts the process right before the n-th operation of that kind. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tivar/tivar.h>
#include <unistd.h>

static int32_t (*realEntry32)(HostWord, int32_t, void*, HostWord);
static int32_t (*realEscape)(MemHandle, int32_t, int32_t, void*, void*, int32_t);
static char fileName[4096];

static int32_t wordAt(const uint8_t* block, size_t position) {
    int32_t value;
    memcpy(&value, block + position, sizeof value);
    return value;
}

static double doubleAt(const uint8_t* block, size_t position) {
    double value;
    memcpy(&value, block + position, sizeof value);
    return value;
}

static void describe(FILE* log, const uint8_t* block, int32_t opcode) {
    if (opcode == OP_SET_WINDOW)
        fprintf(log, " %g %g %g %g", doubleAt(block, 16), doubleAt(block, 24), doubleAt(block, 40),
                doubleAt(block, 48));
    if (opcode == OP_SET_SCALE) fprintf(log, " %d %.6g", block[16], doubleAt(block, 24));
    if (opcode == OP_SET_COLORS) fprintf(log, " %d %d", wordAt(block, 4), wordAt(block, 16));
    if (opcode == OP_PRIMITIVE) fprintf(log, " %d", wordAt(block, 16));
    if (opcode == OP_CELL_ARRAY)
        fprintf(log, " %d %d %d", wordAt(block, 88), wordAt(block, 92), wordAt(block, 96));
}

/* The number behind "opcode:" in the environment, 0 when it is about another operation. */
static int32_t asked(const char* variable, int32_t opcode) {
    const char* text = getenv(variable);
    const char* colon = text == NULL ? NULL : strchr(text, ':');
    return colon != NULL && atoi(text) == opcode ? atoi(colon + 1) : 0;
}

static FILE* openLog(void) {
    FILE* log = fopen(getenv("WITNESS_LOG"), "a");
    if (log == NULL) abort();
    return log;
}

static int32_t witnessEscape(MemHandle setup, int32_t escape, int32_t inSize, void* inData,
                             void* outData, int32_t saveToProfile) {
    const int32_t result = realEscape(setup, escape, inSize, inData, outData, saveToProfile);
    FILE* log = openLog();
    fprintf(log, "escape %d %d %d = %d\n", escape, inSize, saveToProfile, result);
    fclose(log);
    return result;
}

static int32_t witnessEntry32(HostWord reserved1, int32_t code, void* block, HostWord reserved2) {
    static int32_t count[4096];
    FILE* log = openLog();
    const int32_t opcode = code == DRV_DISPATCH ? wordAt(block, 0) : 0;
    if (code == DRV_INIT) {
        const HostWord* words = block;
        const HostWord* hook = (const HostWord*)words[DRIVER_INIT_HOOK];
        snprintf(fileName, sizeof fileName, "%s", (const char*)words[DRIVER_INIT_NAME]);
        fprintf(log, "init%s%s\n",
                hook[STATUS_CONTEXT] != 0 && hook[STATUS_PROC] != 0 ? " hook" : "",
                hook[STATUS_DOCUMENT] != 0 ? " document" : "");
    }
    if (code == DRV_TERM) fprintf(log, "term\n");
    if (code == DRV_DISPATCH) {
        fprintf(log, "%d", opcode);
        describe(log, block, opcode);
    }
    if (++count[opcode] == asked("WITNESS_SIGNAL", opcode)) raise(SIGINT);
    int32_t result = realEntry32(reserved1, code, block, reserved2);
    if (code == DRV_DISPATCH) {
        if (result != 0) fprintf(log, " = %d", result);
        if (opcode == OP_CLOSE) fprintf(log, access(fileName, F_OK) == 0 ? " kept" : " gone");
        fprintf(log, "\n");
        if (asked("WITNESS_FAIL", opcode) != 0) result = asked("WITNESS_FAIL", opcode);
    } else if (code == DRV_INIT && asked("WITNESS_FAIL", 0) != 0) {
        realEntry32(0, DRV_TERM, NULL, 0);
        result = asked("WITNESS_FAIL", 0);
    }
    fclose(log);
    return result;
}

static int32_t witnessEntry(int16_t code, void* out, uint16_t reserved) {
    (void)reserved;
    if (code == DRV_GETENTRY32) {
        int32_t (*entry)(HostWord, int32_t, void*, HostWord) = witnessEntry32;
        memcpy(out, &entry, sizeof entry);
    }
    return 0;
}

__attribute__((visibility("default"))) void fltLoadPointers(FilterHostRecord* record) {
    static FilterEntry entries[16];
    ((void (*)(FilterHostRecord*))dlsym(RTLD_NEXT, "fltLoadPointers"))(record);
    memcpy(entries, record->entries, record->count * sizeof entries[0]);
    record->entries = entries;
    for (int i = 0; i < record->count; ++i) {
        if (strcmp(entries[i].name, "EscapeSetup") == 0) {
            memcpy(&realEscape, &entries[i].address, sizeof realEscape);
            entries[i].address = (void*)witnessEscape;
        }
        if (strcmp(entries[i].name, "RASTER_dd_entry") == 0) {
            ((int32_t(*)(int16_t, void*, uint16_t))entries[i].address)(DRV_GETENTRY32, &realEntry32,
                                                                       0);
            entries[i].address = (void*)witnessEntry;
        }
    }
}
