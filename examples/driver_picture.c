/* Draws a picture through the raster driver, band by band: driver_picture OUT.bmp [LIBRARY] */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>
#include <tivar/tivar.h>

enum { WIDTH = 256, HEIGHT = 192, BAND_ROWS = 32, BITS = 8, COLORS = 256 };
enum { BEGIN_IMAGE = -5, END_IMAGE = -6 };

static int32_t (*driver)(HostWord, int32_t, void*, HostWord);
static uint8_t plain[4]; /* the block of operations without parameters */

/* Sends one operation: 1 when it met no error. */
static int perform(const char* what, uint32_t opcode, uint8_t* block) {
    memcpy(block, &opcode, sizeof opcode);
    const int32_t code = driver(0, DRV_DISPATCH, block, 0);
    if (code != 0) fprintf(stderr, "driver_picture: cannot %s (code %d)\n", what, (int)code);
    return code == 0;
}

static void putNumber(uint8_t* block, size_t position, int32_t number) {
    memcpy(block + position, &number, sizeof number);
}

static void putDouble(uint8_t* block, size_t position, double number) {
    memcpy(block + position, &number, sizeof number);
}

/* A unit of the window for each cell, 64 units to the inch. */
static int setWindow(void) {
    uint8_t window[64] = {0}, scale[32] = {0};
    putDouble(window, 40, WIDTH - 1);
    putDouble(window, 48, HEIGHT - 1);
    memcpy(scale + 16, (const int16_t[]){1}, sizeof(int16_t));
    putDouble(scale, 24, 25.4 / 64);
    return perform("set the window", OP_SET_WINDOW, window) &&
           perform("set the scale", OP_SET_SCALE, scale);
}

static int setColors(void) {
    uint8_t block[20 + 3 * COLORS] = {0};
    putNumber(block, 4, 2 + 3 * COLORS);
    for (int i = 0; i < COLORS; ++i)
        memcpy(block + 20 + 3 * i, (const uint8_t[]){(uint8_t)i, (uint8_t)(255 - i), 128}, 3);
    return perform("set the colours", OP_SET_COLORS, block);
}

static int bracketImage(const char* what, int32_t identifier) {
    uint8_t block[56] = {0};
    putNumber(block, 16, identifier);
    putNumber(block, 24, 28);
    putNumber(block, 28, WIDTH);
    putNumber(block, 32, HEIGHT);
    putNumber(block, 36, BITS);
    return perform(what, OP_PRIMITIVE, block);
}

/* Rows from firstRow up; row 0 is the bottom of the picture, which the file has first. */
static int drawBand(int firstRow) {
    static uint8_t block[102 + WIDTH * BAND_ROWS];
    putDouble(block, 24, firstRow);
    putDouble(block, 48, firstRow + BAND_ROWS - 1);
    putNumber(block, 88, WIDTH);
    putNumber(block, 92, BAND_ROWS);
    putNumber(block, 96, BITS);
    for (int i = 0; i < WIDTH * BAND_ROWS; ++i)
        block[102 + i] = (uint8_t)(i % WIDTH ^ (firstRow + i / WIDTH));
    return perform("draw a band", OP_CELL_ARRAY, block);
}

static int drawPicture(void) {
    int done = perform("begin the picture", OP_BEGIN_PICTURE, plain) && setWindow() &&
               perform("begin the body", OP_BEGIN_BODY, plain) && setColors() &&
               bracketImage("begin the image", BEGIN_IMAGE);
    for (int row = 0; done && row < HEIGHT; row += BAND_ROWS) done = drawBand(row);
    return done && bracketImage("write the image", END_IMAGE) &&
           perform("end the picture", OP_END_PICTURE, plain);
}

static int writeFile(const char* name, MemHandle setup) {
    int32_t capabilities[60];
    HostWord init[DRIVER_INIT_WORDS] = {[DRIVER_INIT_NAME] = (HostWord)name,
                                        [DRIVER_INIT_REPLY_SIZE] = 64,
                                        [DRIVER_INIT_SETUP] = setup,
                                        [DRIVER_INIT_CAPABILITIES] = (HostWord)capabilities};
    if (setup == 0 || driver(0, DRV_INIT, init, 0) != 0)
        return fputs("driver_picture: no memory\n", stderr), 0;
    const int drawn = perform("open the file", OP_OPEN, plain) && drawPicture();
    const int closed = perform("close the file", OP_CLOSE, plain);
    driver(0, DRV_TERM, 0, 0);
    return drawn && closed;
}

static void find(const FilterHostRecord* filter, const char* name, void* function) {
    for (int i = 0; i < filter->count; ++i)
        if (strcmp(filter->entries[i].name, name) == 0)
            memcpy(function, &filter->entries[i].address, sizeof(void*));
}

int main(int argc, char** argv) {
    void (*load)(FilterHostRecord*) = 0;
    int32_t (*entry)(int16_t, void*, uint16_t) = 0;
    MemHandle (*create)(HostWord, const char*, const char*, const char*) = 0;
    int32_t (*destroy)(MemHandle) = 0;
    FilterHostRecord filter = {0};
    void* library = argc < 2 ? 0 : dlopen(argc > 2 ? argv[2] : "libtivar.so.2", RTLD_NOW);
    if (library != 0) *(void**)&load = dlsym(library, "fltLoadPointers");
    if (load != 0) load(&filter);
    find(&filter, "RASTER_dd_entry", &entry);
    find(&filter, "CreateSetup", &create);
    find(&filter, "DestroySetup", &destroy);
    if (entry != 0) entry(DRV_GETENTRY32, &driver, 0);
    if (driver == 0 || create == 0 || destroy == 0)
        return fputs("usage: driver_picture OUT.bmp [libtivar.so.2]\n", stderr), 2;
    const MemHandle setup = create(0, 0, 0, 0); /* 8 bits, as the picture has them */
    const int written = writeFile(argv[1], setup);
    destroy(setup);
    return written ? 0 : 1;
}
