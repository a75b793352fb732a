/* A BMP file in memory, run-length encoded where that is smaller: write_memory OUT.bmp */
#include <stdio.h>
#include <tivar/write.h>

static const uint8_t kPalette[4][3] = {{255, 255, 255}, {0, 0, 0}, {200, 0, 0}, {255, 220, 0}};
static uint8_t indices[64 * 64]; /* a byte each, top row first */

int main(int count, char** arguments) {
    if (count < 2) return 2;
    for (int i = 0; i < 64 * 64; ++i) indices[i] = (uint8_t)(i / 64 / 16);
    TivarPicture picture = {.size = sizeof picture,
                            .format = TIVAR_INDEX8,
                            .width = 64,
                            .height = 64,
                            .pixels = indices,
                            .palette = kPalette[0],
                            .palette_count = 4};
    TivarOptions options = {.size = sizeof options, .bits = 4, .encoding = TIVAR_ENCODING_SMALLEST};
    TivarReport report = {.size = sizeof report};
    void* bytes;
    size_t length;
    if (tivar_write_bmp_memory(&picture, &options, &bytes, &length, &report) != TIVAR_RESULT_OK) {
        fprintf(stderr, "write_memory: %s\n", report.text);
        return 1;
    }
    FILE* file = fopen(arguments[1], "wb");
    const int written = file != NULL && fwrite(bytes, 1, length, file) == length;
    const int closed = file != NULL && fclose(file) == 0;
    tivar_free(bytes);
    return written && closed ? 0 : 1;
}
