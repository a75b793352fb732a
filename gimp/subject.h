/* What is exported: a drawable, its kind, size and colours. */
#pragma once

#include <glib.h>

typedef struct Subject {
    gint32 image;
    gint32 drawable;
    gint32 width;
    gint32 height;
    gboolean indexed;
    gboolean grey;
    gboolean alpha;
    guint8 background[3]; /* what transparent pixels are laid over: GIMP's background colour */

    /* Of indexed ones, in sRGB. */
    guint8 palette[256 * 3];
    guint32 paletteCount; /* with alpha the background is one of them, if there is room */
    gint32 transparent;   /* index of the background, for transparent pixels; -1 = no room */
} Subject;

Subject subjectOf(gint32 image, gint32 drawable);

/* The depth of a file that holds it without loss, but for the transparency of indices. */
gint32 ownBits(const Subject* subject);
