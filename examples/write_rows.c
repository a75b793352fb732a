/* A picture that is nowhere in memory, to a sink: write_rows > OUT.bmp */
#include <stdio.h>
#include <tivar/write.h>

enum { SIDE = 2000 };

/* Rings around the middle, in greys. */
static int32_t draw_row(void* context, uint32_t y, void* row) {
    uint8_t* greys = row;
    (void)context;
    for (uint32_t x = 0; x < SIDE; ++x) {
        const int32_t dx = (int32_t)x - SIDE / 2;
        const int32_t dy = (int32_t)y - SIDE / 2;
        greys[x] = (uint8_t)((dx * dx + dy * dy) >> 10);
    }
    return 0;
}

static size_t write_out(void* context, const void* bytes, size_t length) {
    return fwrite(bytes, 1, length, context);
}

int main(void) {
    TivarPicture picture = {.size = sizeof picture,
                            .format = TIVAR_GREY,
                            .width = SIDE,
                            .height = SIDE,
                            .read_row = draw_row};
    TivarOptions options = {.size = sizeof options, .bits = 1};
    TivarSink sink = {.size = sizeof sink, .write = write_out, .context = stdout};
    TivarReport report = {.size = sizeof report};
    const int32_t result = tivar_write_bmp(&picture, &options, &sink, &report);
    if (result != TIVAR_RESULT_OK) fprintf(stderr, "write_rows: %s\n", report.text);
    return result == TIVAR_RESULT_OK && fflush(stdout) == 0 ? 0 : 1;
}
