/* Exports a picture into memory, twice, and writes both files: export_memory ONE.bmp TWO.bmp */
#include <stdio.h>
#include <tivar/tivar.h>

enum { WIDTH = 255, HEIGHT = 100, ROW_BYTES = (WIDTH * 3 + 3) / 4 * 4 };

static uint8_t pixels[HEIGHT][ROW_BYTES]; /* bottom row first */

static void draw(void) {
    for (int y = 0; y < HEIGHT; ++y)
        for (int x = 0; x < WIDTH; ++x) {
            pixels[y][x * 3] = (uint8_t)x;
            pixels[y][x * 3 + 1] = (uint8_t)y;
            pixels[y][x * 3 + 2] = 0;
        }
}

/* Rows of 24 bits that go into the file as they are have red and blue exchanged afterwards. */
static void restoreRows(void) {
    for (int y = 0; y < HEIGHT; ++y)
        for (int x = 0; x < WIDTH; ++x) {
            uint8_t* pixel = &pixels[y][x * 3];
            const uint8_t red = pixel[2];
            pixel[2] = pixel[0];
            pixel[0] = red;
        }
}

/* 24 bits to the pixel, whatever a profile says. */
static MemHandle createSettings(void) {
    const MemHandle setup = CreateSetup(0, 0, 0, 0);
    SetupRecord* record = GlobalLock(setup);
    if (record != 0) record->colorFormat = COLOR_FORMAT_24BIT;
    GlobalUnlock(setup);
    return setup;
}

/* The block with the file, which the caller frees; 0 = failed. */
static MemHandle exportPicture(MemHandle setup, MemHandle rows) {
    CellPicture picture = {.bits = 24, .width = WIDTH, .height = HEIGHT, .pixels = rows};
    const PictureDescription target = {.resolution = 64, .width = WIDTH, .height = HEIGHT};
    HostWord status[13] = {0}, parameters[7] = {0};
    parameters[EXPORT_SETUP] = setup;
    parameters[EXPORT_STATUS] = (HostWord)status;
    const int32_t result = ExportCellData("", &picture, &target, parameters);
    if (result != TIVAR_OK) fprintf(stderr, "export_memory: code %d\n", (int)result);
    return status[STATUS_MEMORY];
}

/* The file ends before the block's last byte that is not 0, an end mark of 255. */
static uint32_t lengthOf(MemHandle block) {
    const uint8_t* bytes = GlobalLock(block);
    uint32_t length = GlobalSize(block);
    while (length > 0 && bytes[length - 1] == 0) --length;
    GlobalUnlock(block);
    return length > 0 ? length - 1 : 0;
}

static int save(MemHandle block, const char* name) {
    const uint32_t length = lengthOf(block);
    FILE* file = length == 0 ? 0 : fopen(name, "wb");
    int done = file != 0;
    if (done) done = fwrite(GlobalLock(block), 1, length, file) == length;
    GlobalUnlock(block);
    if (file != 0) done = fclose(file) == 0 && done;
    if (!done) fprintf(stderr, "export_memory: cannot write %s\n", name);
    return done;
}

static int exportTo(const char* name, MemHandle setup, MemHandle rows) {
    const MemHandle block = exportPicture(setup, rows);
    const int done = block != 0 && save(block, name);
    GlobalFree(block);
    return done;
}

int main(int argc, char** argv) {
    if (argc != 3) return fputs("usage: export_memory ONE.bmp TWO.bmp\n", stderr), 2;
    const MemHandle setup = createSettings();
    const MemHandle rows = GlobalPointerToHandle(pixels, sizeof pixels);
    int done = setup != 0 && rows != 0;
    draw();
    /* One settings handle and one picture serve both. */
    done = done && exportTo(argv[1], setup, rows);
    restoreRows();
    done = done && exportTo(argv[2], setup, rows);
    DestroySetup(setup);
    GlobalFree(rows);
    return done ? 0 : 1;
}
