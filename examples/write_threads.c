/* Four files at the same time: write_threads DIRECTORY */
#include <pthread.h>
#include <stdio.h>
#include <tivar/write.h>

enum { SIDE = 256, FILES = 4 };
static uint8_t pixels[SIDE][SIDE][3];
static const char* directory;

static void* write_one(void* argument) {
    const int32_t bits = *(const int32_t*)argument;
    char name[4096];
    snprintf(name, sizeof name, "%s/%d.bmp", directory, (int)bits);
    TivarPicture picture = {
        .size = sizeof picture, .width = SIDE, .height = SIDE, .pixels = pixels};
    TivarOptions options = {.size = sizeof options, .bits = bits};
    const int32_t result = tivar_write_bmp_file(&picture, &options, name, 0, NULL);
    return result == TIVAR_RESULT_OK ? NULL : argument;
}

int main(int count, char** arguments) {
    if (count < 2) return 2;
    directory = arguments[1];
    for (int y = 0; y < SIDE; ++y)
        for (int x = 0; x < SIDE; ++x)
            pixels[y][x][0] = (uint8_t)(pixels[y][x][1] = (uint8_t)x ^ (uint8_t)y);
    int32_t bits[FILES] = {1, 4, 8, 24};
    pthread_t threads[FILES];
    int failed = 0;
    for (int i = 0; i < FILES; ++i)
        if (pthread_create(&threads[i], NULL, write_one, &bits[i]) != 0) return 1;
    for (int i = 0; i < FILES; ++i) {
        void* answer;
        pthread_join(threads[i], &answer);
        failed += answer != NULL;
    }
    return failed != 0;
}
