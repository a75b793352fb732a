/* A host that was compiled with the headers of a later release, whose records have one more field
 * each: tests/abi/check adds it, as an address called later. */
#include <stdio.h>
#include <string.h>
#include <tivar/write.h>

#define EXPECT(condition) expect(condition, #condition)

static int failures;

static void expect(int holds, const char* condition) {
    if (holds) return;
    fprintf(stderr, "newer host: not so: %s\n", condition);
    ++failures;
}

static size_t take(void* context, const void* bytes, size_t length) {
    *(size_t*)context += length;
    return bytes == NULL ? 0 : length;
}

int main(void) {
    static const uint8_t pixel[3] = {1, 2, 3};
    static const uint8_t row[4] = {3, 2, 1, 0}; /* as the file has it */
    size_t taken = 0;
    TivarPicture picture = {.size = sizeof picture, .width = 1, .height = 1, .pixels = pixel};
    TivarOptions options = {.size = sizeof options};
    TivarSink sink = {.size = sizeof sink, .write = take, .context = &taken};
    TivarReport report = {.size = sizeof report};
    void* bytes = NULL;
    size_t length = 0;

    report.later = &report;
    EXPECT(tivar_write_bmp_memory(&picture, &options, &bytes, &length, &report) == TIVAR_RESULT_OK);
    EXPECT(length == 58 && memcmp((char*)bytes + 54, row, sizeof row) == 0);
    EXPECT(report.size == sizeof report && report.bytes == length && report.later == NULL);
    tivar_free(bytes);
    EXPECT(tivar_write_bmp(&picture, &options, &sink, &report) == TIVAR_RESULT_OK && taken == 58);

    picture.later = &report;
    EXPECT(tivar_write_bmp(&picture, &options, &sink, &report) == TIVAR_RESULT_BAD_CALL);
    EXPECT(strcmp(report.field, "picture.size") == 0);
    picture.later = NULL;
    options.later = &report;
    EXPECT(tivar_write_bmp(&picture, &options, &sink, &report) == TIVAR_RESULT_BAD_CALL);
    EXPECT(strcmp(report.field, "options.size") == 0);
    options.later = NULL;
    sink.later = &report;
    EXPECT(tivar_write_bmp(&picture, &options, &sink, &report) == TIVAR_RESULT_BAD_CALL);
    EXPECT(strcmp(report.field, "sink.size") == 0);
    EXPECT(taken == 58);
    return failures != 0;
}
