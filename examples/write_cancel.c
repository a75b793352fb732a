/* Progress, and an end at some percentage: write_cancel OUT.bmp PERCENT */
#include <stdio.h>
#include <stdlib.h>
#include <tivar/write.h>

enum { SIDE = 512 };
static uint8_t pixels[SIDE][SIDE][3];

static int32_t show(void* context, int32_t percent) {
    const int last = *(const int*)context;
    printf("%d %%\n", (int)percent);
    return percent >= last; /* not 0 = cancel */
}

int main(int count, char** arguments) {
    if (count < 3) return 2;
    int last = atoi(arguments[2]);
    for (int y = 0; y < SIDE; ++y)
        for (int x = 0; x < SIDE; ++x) pixels[y][x][y / 171] = (uint8_t)(x / 2);
    TivarPicture picture = {
        .size = sizeof picture, .width = SIDE, .height = SIDE, .pixels = pixels};
    TivarOptions options = {.size = sizeof options, .bits = 8, .progress = show, .context = &last};
    const int32_t result = tivar_write_bmp_file(&picture, &options, arguments[1], 0, NULL);
    if (result == TIVAR_RESULT_OK) return 0;
    /* No file, or the one that was there before. */
    fprintf(stderr, "write_cancel: %s\n", tivar_result_text(result));
    return 1;
}
