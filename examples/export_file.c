/* Exports a picture into a file: export_file OUT.bmp [PROFILE [MODE]] */
#include <stdio.h>
#include <tivar/tivar.h>

enum { WIDTH = 320, HEIGHT = 200, ROW_BYTES = WIDTH * 3 };

/* Rows are padded to a multiple of 4 bytes, which 960 is; the bottom row comes first. */
static uint8_t pixels[HEIGHT][ROW_BYTES];

static void draw(void) {
    for (int y = 0; y < HEIGHT; ++y)
        for (int x = 0; x < WIDTH; ++x) {
            uint8_t* pixel = &pixels[HEIGHT - 1 - y][x * 3];
            pixel[0] = (uint8_t)(x * 200 / (WIDTH - 1));
            pixel[1] = (uint8_t)(y * 255 / (HEIGHT - 1));
            pixel[2] = 255;
        }
}

/* The export answers 0 even when the disk was full. What its header says, a raw file must have. */
static int isComplete(const char* name) {
    FILE* file = fopen(name, "rb");
    uint8_t start[6] = {0};
    long length = -1, wanted = 0;
    if (file == 0) return 0;
    if (fread(start, 1, sizeof start, file) == sizeof start && fseek(file, 0, SEEK_END) == 0)
        length = ftell(file);
    fclose(file);
    for (int i = 5; i > 1; --i) wanted = wanted << 8 | start[i];
    return start[0] == 'B' && start[1] == 'M' && length == wanted;
}

/* The built-in settings when profile is null, with the display's 640 x 480 for those that follow
 * it. */
static int exportTo(const char* name, const char* profile, const char* mode) {
    CellPicture picture = {.bits = 24, .width = WIDTH, .height = HEIGHT};
    const PictureDescription target = {.displayResolution = 96,
                                       .resolution = 64, /* a power of two keeps sizes exact */
                                       .width = WIDTH,
                                       .height = HEIGHT,
                                       .displayWidth = 640,
                                       .displayHeight = 480};
    HostWord status[13] = {0}, parameters[7] = {0};
    const MemHandle setup = CreateSetup(0, profile, mode, 0);
    int result = TIVAR_ERR_NO_MEMORY;
    picture.pixels = GlobalPointerToHandle(pixels, sizeof pixels);
    parameters[EXPORT_SETUP] = setup;
    parameters[EXPORT_STATUS] = (HostWord)status;
    if (setup != 0 && picture.pixels != 0)
        result = (int)ExportCellData(name, &picture, &target, parameters);
    DestroySetup(setup);
    GlobalFree(picture.pixels); /* the handle; the rows stay */
    return result;
}

int main(int argc, char** argv) {
    if (argc < 2) return fputs("usage: export_file OUT.bmp [PROFILE [MODE]]\n", stderr), 2;
    draw();
    const int result = exportTo(argv[1], argc > 2 ? argv[2] : 0, argc > 3 ? argv[3] : 0);
    if (result == TIVAR_OK && isComplete(argv[1])) return 0;
    fprintf(stderr, "export_file: cannot write %s (code %d)\n", argv[1], result);
    return 1;
}
