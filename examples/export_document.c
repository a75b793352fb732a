/* Exports into a document that the program serves, shows the progress and may cancel:
 * export_document OUT.bmp [PERCENT] */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tivar/tivar.h>

enum { WIDTH = 256, HEIGHT = 192, FILE_BYTES = 14 + 40 + 256 * 4 + WIDTH * HEIGHT };
enum { OPEN = 1, READ = 2, WRITE = 3, SEEK = 4, CLOSE = 5 }; /* operations of a document */

static uint8_t pixels[HEIGHT][WIDTH]; /* indices, bottom row first */
static uint8_t colors[256][3];

typedef struct Document {
    FILE* file;
    long written;
    int cancelAt; /* per cent; above 100: never */
    int failed;
} Document;

static int percentOf(const Document* document) {
    return (int)(document->written * 100 / FILE_BYTES);
}

static int isCancelled(const Document* document) {
    return percentOf(document) >= document->cancelAt;
}

/* A document that takes nothing any more costs a cancelled export little. */
static intptr_t writeDocument(Document* document, const void* bytes, size_t count) {
    const int before = percentOf(document);
    if (isCancelled(document) || document->failed) return 0;
    document->failed = fwrite(bytes, 1, count, document->file) != count;
    document->written += (long)count;
    if (percentOf(document) / 10 != before / 10) printf("%d %%\n", percentOf(document));
    return document->failed ? 0 : (intptr_t)count;
}

static intptr_t serve(intptr_t first, int32_t operation, intptr_t a, intptr_t b) {
    Document* document = (Document*)first; /* the document value, which is also the handle */
    int32_t offset;
    switch (operation) {
        case OPEN:
            return first;
        case READ:
            return (intptr_t)fread((void*)a, 1, (size_t)b, document->file);
        case WRITE:
            return writeDocument(document, (const void*)a, (size_t)b);
        case SEEK:
            memcpy(&offset, (const void*)a, sizeof offset);
            return fseek(document->file, offset, (int)b) == 0 ? ftell(document->file) : -1;
        default:
            return 0; /* 5, the close: the program closes the file itself */
    }
}

/* Asked after a band, and a picture in memory is one. */
static int32_t onStatus(intptr_t context, int32_t operation, int32_t value, int32_t a3,
                        int32_t percent, int32_t a5, intptr_t block) {
    (void)value, (void)a3, (void)a5, (void)block;
    if (operation == 0) printf("the library says %d %%\n", (int)percent);
    return isCancelled((const Document*)context);
}

static void draw(void) {
    for (int i = 0; i < WIDTH * HEIGHT; ++i)
        pixels[i / WIDTH][i % WIDTH] = (uint8_t)(i % WIDTH ^ i / WIDTH);
    for (int i = 0; i < 256; ++i)
        memcpy(colors[i], (const uint8_t[]){(uint8_t)i, (uint8_t)(255 - i), 128}, 3);
}

static int32_t exportTo(Document* document) {
    CellPicture picture = {.bits = 8, .width = WIDTH, .height = HEIGHT};
    const PictureDescription target = {.resolution = 64, .width = WIDTH, .height = HEIGHT};
    HostWord status[13] = {0}, parameters[7] = {0};
    const OxlDocProc procedure = serve;
    const StatusProc report = onStatus;
    const MemHandle setup = CreateSetup(0, 0, 0, 0);
    picture.pixels = GlobalPointerToHandle(pixels, sizeof pixels);
    picture.colorTable = GlobalPointerToHandle(colors, sizeof colors);
    xEscapeSetup(setup, 81, 4, (void*)(HostWord)procedure, 0, 0);
    status[STATUS_CONTEXT] = (HostWord)document;
    status[STATUS_PROC] = (HostWord)report;
    status[STATUS_DOCUMENT] = (HostWord)document;
    parameters[EXPORT_SETUP] = setup;
    parameters[EXPORT_STATUS] = (HostWord)status;
    /* No name: a document that refuses to open would fall back to a file of that name. */
    const int32_t result = ExportCellData("", &picture, &target, parameters);
    DestroySetup(setup);
    GlobalFree(picture.colorTable);
    GlobalFree(picture.pixels);
    return result;
}

int main(int argc, char** argv) {
    if (argc < 2) return fputs("usage: export_document OUT.bmp [PERCENT]\n", stderr), 2;
    Document document = {fopen(argv[1], "w+b"), 0, argc > 2 ? atoi(argv[2]) : 101, 0};
    int32_t result = TIVAR_ERR_STREAM;
    draw();
    if (document.file != 0) {
        result = exportTo(&document);
        document.failed = fclose(document.file) != 0 || document.failed;
    }
    /* The result is 0 for a cancelled export, too. */
    if (result == TIVAR_OK && document.written == FILE_BYTES && !document.failed) return 0;
    if (document.file != 0) remove(argv[1]);
    fprintf(stderr,
            isCancelled(&document) ? "export_document: cancelled\n" : "export_document: failed\n");
    return 1;
}
