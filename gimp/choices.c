#include "choices.h"

#include <tivar/write.h>

Choices defaultChoices(void) {
    Choices choices = {.resolution = TRUE};
    return choices;
}

gboolean hasPalette(gint32 bits) {
    return bits <= 8;
}

gboolean canDither(gint32 bits) {
    return bits <= 16;
}

gboolean canBeOs2(gint32 bits) {
    return bits != 16 && bits != 32;
}

gboolean canEncode(gint32 bits, gint32 header) {
    return (bits == 4 || bits == 8) && header != TIVAR_HEADER_OS2;
}

static void fitPalette(Choices* choices, gint32 bits) {
    if (!hasPalette(bits)) {
        choices->colors = TIVAR_COLORS_DEFAULT;
        choices->maxColors = 0;
    } else if (choices->colors == TIVAR_COLORS_GIVEN || choices->maxColors > 1 << bits) {
        choices->maxColors = 0;
    }
    if (choices->colors != TIVAR_COLORS_GIVEN) choices->palette[0] = '\0';
}

static void fitColors(Choices* choices, gint32 bits) {
    fitPalette(choices, bits);
    if (!canDither(bits)) choices->dither = TIVAR_DITHER_DEFAULT;
    if (bits != 16) choices->masks = TIVAR_MASKS_565;
}

Choices choicesThatFit(const Choices* choices, gint32 ownBits) {
    Choices fitting = *choices;
    const gint32 bits = choices->bits != 0 ? choices->bits : ownBits;
    fitColors(&fitting, bits);
    if (fitting.header == TIVAR_HEADER_OS2 && !canBeOs2(bits))
        fitting.header = TIVAR_HEADER_DEFAULT;
    if (!canEncode(bits, fitting.header)) fitting.encoding = TIVAR_ENCODING_RAW;
    if (fitting.header == TIVAR_HEADER_OS2) fitting.resolution = FALSE;
    return fitting;
}
