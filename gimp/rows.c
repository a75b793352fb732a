#include "rows.h"

#include <string.h>
#include <tivar/write.h>

#include "failure.h"
#include "srgb.h"

/* ---- What is asked for -------------------------------------------------------------------- */

/* Transparent indices become the background's where the file has a palette and that has room for
 * it; deeper files hold the colours themselves. */
static gboolean staysIndexed(const Subject* subject, gint32 bits) {
    if (!subject->indexed) return FALSE;
    return !subject->alpha || (subject->transparent >= 0 && bits <= 8);
}

static void chooseFormat(Rows* rows, const Subject* subject, gint32 bits) {
    rows->transparent = -1;
    if (staysIndexed(subject, bits)) {
        rows->format = TIVAR_INDEX8;
        rows->read = gimp_drawable_get_format(subject->drawable);
        rows->transparent = subject->transparent;
    } else if (subject->alpha) {
        rows->format = TIVAR_RGBA;
        rows->given = babl_format("R'G'B'A u8");
    } else if (subject->grey) {
        rows->format = TIVAR_GREY;
        rows->given = babl_format("Y' u8");
    } else {
        rows->format = TIVAR_RGB;
        rows->given = babl_format("R'G'B' u8");
    }
}

/* Profiles describe pixels as GIMP stores them; those of indices are their colours. */
static void chooseTransform(Rows* rows, const Subject* subject) {
    if (rows->given == NULL) return;
    const Babl* stored =
        subject->indexed ? rows->given : gimp_drawable_get_format(subject->drawable);
    rows->transform = transformToSrgb(subject->image, stored, rows->given);
    rows->read = rows->transform != NULL ? stored : rows->given;
}

static gsize bandBytes(const Rows* rows, const Babl* format) {
    return (gsize)rows->width * (gsize)babl_format_get_bytes_per_pixel(format) * gimp_tile_height();
}

static gboolean convertsBand(const Rows* rows) {
    return rows->transform != NULL || rows->transparent >= 0;
}

static gboolean obtainBands(Rows* rows) {
    rows->readBand = g_try_malloc(bandBytes(rows, rows->read));
    if (!convertsBand(rows)) {
        rows->givenBand = rows->readBand;
    } else if (rows->given != NULL) {
        rows->givenBand = g_try_malloc(bandBytes(rows, rows->given));
    } else {
        rows->givenBand = g_try_malloc((gsize)rows->width * gimp_tile_height());
    }
    return rows->readBand != NULL && rows->givenBand != NULL;
}

/* Each tile is read once: GEGL need not keep more of them than the row of tiles at hand. */
static void limitTileCache(const Rows* rows, gint32 drawable) {
    const guint64 band = bandBytes(rows, gimp_drawable_get_format(drawable));
    g_object_set(gegl_config(), "tile-cache-size", band * 2, NULL);
}

gboolean openRows(Rows* rows, const Subject* subject, gint32 bits, GError** error) {
    memset(rows, 0, sizeof *rows);
    rows->width = subject->width;
    rows->height = subject->height;
    chooseFormat(rows, subject, bits);
    chooseTransform(rows, subject);
    if (!obtainBands(rows)) return fail(error, "there is not enough memory");
    limitTileCache(rows, subject->drawable);
    rows->buffer = gimp_drawable_get_buffer(subject->drawable);
    return TRUE;
}

void closeRows(Rows* rows) {
    g_clear_object(&rows->buffer);
    g_clear_object(&rows->transform);
    if (rows->givenBand != rows->readBand) g_free(rows->givenBand);
    g_free(rows->readBand);
}

/* ---- Rows --------------------------------------------------------------------------------- */

/* Pairs of index and alpha become indices. GIMP takes a pixel for opaque from the middle on. */
static void layIndices(const Rows* rows, gsize pixels) {
    const guint8* pair = rows->readBand;
    for (gsize i = 0; i < pixels; ++i, pair += 2)
        rows->givenBand[i] = pair[1] >= 128 ? pair[0] : (guint8)rows->transparent;
}

static void convertBand(const Rows* rows) {
    const gsize pixels = (gsize)rows->width * (gsize)rows->count;
    if (rows->transform != NULL)
        gimp_color_transform_process_pixels(rows->transform, rows->read, rows->readBand,
                                            rows->given, rows->givenBand, pixels);
    if (rows->transparent >= 0) layIndices(rows, pixels);
}

static void readBand(Rows* rows, gint32 y) {
    const gint32 tall = (gint32)gimp_tile_height();
    rows->first = y - y % tall;
    rows->count = MIN(tall, rows->height - rows->first);
    const GeglRectangle band = {0, rows->first, rows->width, rows->count};
    gegl_buffer_get(rows->buffer, &band, 1.0, rows->read, rows->readBand, GEGL_AUTO_ROWSTRIDE,
                    GEGL_ABYSS_NONE);
    if (convertsBand(rows)) convertBand(rows);
}

gint32 readRow(void* context, guint32 y, void* row) {
    Rows* rows = context;
    const gint32 wanted = (gint32)y;
    if (wanted < rows->first || wanted >= rows->first + rows->count) readBand(rows, wanted);
    const gsize pixel =
        rows->given != NULL ? (gsize)babl_format_get_bytes_per_pixel(rows->given) : 1;
    const gsize bytes = (gsize)rows->width * pixel;
    memcpy(row, rows->givenBand + bytes * (gsize)(wanted - rows->first), bytes);
    return 0;
}
