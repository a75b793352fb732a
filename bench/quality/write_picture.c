/* Writes a PNM file as a BMP file through the direct interface, with its defaults for the depth:
 * write_picture BITS IN.ppm OUT.bmp */
#include <stdio.h>
#include <stdlib.h>
#include <tivar/write.h>

static uint8_t* readPixels(const char* name, unsigned* width, unsigned* height) {
    FILE* file = fopen(name, "rb");
    if (file == NULL) return NULL;
    uint8_t* pixels = NULL;
    if (fscanf(file, "P6 %u %u 255", width, height) == 2 && fgetc(file) != EOF) {
        const size_t bytes = (size_t)*width * *height * 3;
        pixels = malloc(bytes);
        if (pixels != NULL && fread(pixels, 1, bytes, file) != bytes) {
            free(pixels);
            pixels = NULL;
        }
    }
    fclose(file);
    return pixels;
}

int main(int count, char** arguments) {
    unsigned width = 0, height = 0;
    if (count != 4) return fprintf(stderr, "usage: write_picture BITS IN.ppm OUT.bmp\n"), 2;
    uint8_t* pixels = readPixels(arguments[2], &width, &height);
    if (pixels == NULL) return fprintf(stderr, "%s cannot be read\n", arguments[2]), 1;
    const TivarPicture picture = {sizeof picture, TIVAR_RGB, width, height, pixels, 0,
                                  NULL,           NULL,      NULL,  0,      0};
    const TivarOptions options = {.size = sizeof options, .bits = atoi(arguments[1])};
    TivarReport report = {.size = sizeof report};
    const int32_t result = tivar_write_bmp_file(&picture, &options, arguments[3], 0, &report);
    if (result != TIVAR_RESULT_OK) fprintf(stderr, "%s: %s\n", arguments[3], report.text);
    free(pixels);
    return result == TIVAR_RESULT_OK ? 0 : 1;
}
