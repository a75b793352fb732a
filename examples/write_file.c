/* A picture in memory as a BMP file: write_file OUT.bmp [BITS] */
#include <stdio.h>
#include <stdlib.h>
#include <tivar/write.h>

enum { WIDTH = 333, HEIGHT = 221 };
static uint8_t pixels[HEIGHT][WIDTH][3]; /* top row first; red, green, blue */

int main(int count, char** arguments) {
    if (count < 2) return 2;
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) {
            pixels[y][x][0] = (uint8_t)(x * 255 / (WIDTH - 1));
            pixels[y][x][1] = (uint8_t)(y * 255 / (HEIGHT - 1));
            pixels[y][x][2] = 128;
        }
    }
    TivarPicture picture = {
        .size = sizeof picture, .width = WIDTH, .height = HEIGHT, .pixels = pixels};
    TivarOptions options = {.size = sizeof options, .bits = count > 2 ? atoi(arguments[2]) : 24};
    TivarReport report = {.size = sizeof report};
    if (tivar_write_bmp_file(&picture, &options, arguments[1], 0, &report) != TIVAR_RESULT_OK) {
        fprintf(stderr, "write_file: %s\n", report.text);
        return 1;
    }
    printf("%d bits, %u colours, %llu bytes\n", (int)report.bits, (unsigned)report.colors,
           (unsigned long long)report.bytes);
    return 0;
}
