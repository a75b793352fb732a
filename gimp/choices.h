/* What file is wanted, in the numbers of tivar/write.h: what the dialogue, a script or the time
 * before has chosen. */
#pragma once

#include <glib.h>

enum { kMostPaletteName = 256 };

typedef struct Choices {
    gint32 bits;       /* 0 = the image's own */
    gint32 header;     /* enum TivarHeader */
    gint32 encoding;   /* enum TivarEncoding */
    gint32 masks;      /* enum TivarMasks */
    gint32 resolution; /* whether the file states the image's */
    gint32 colors;     /* enum TivarColors */
    gint32 maxColors;  /* 0 = as many as the depth has */
    gint32 dither;     /* enum TivarDither */
    gchar
        palette[kMostPaletteName]; /* with TIVAR_COLORS_GIVEN: the name of one of GIMP's palettes */
} Choices;

/* What the dialogue shows the first time. */
Choices defaultChoices(void);

/* What a depth has a choice of. */
gboolean hasPalette(gint32 bits);
gboolean canDither(gint32 bits);
gboolean canBeOs2(gint32 bits);
gboolean canEncode(gint32 bits, gint32 header);

/* The choices without those that the depth or another choice leaves no room for: what was chosen
 * for one image is remembered for all. ownBits: the image's own depth. */
Choices choicesThatFit(const Choices* choices, gint32 ownBits);
