#include "palette.h"

#include <libgimp/gimp.h>

#include "failure.h"

static guint8* packedColors(const GimpRGB* colors, gint count) {
    guint8* entries = g_new(guint8, (gsize)count * 3);
    for (gint i = 0; i < count; ++i) {
        guint8* entry = entries + i * 3;
        gimp_rgb_get_uchar(&colors[i], &entry[0], &entry[1], &entry[2]);
    }
    return entries;
}

/* Of depths without a palette, or that there are not, the library has something to say. */
static gint roomOf(gint32 bits) {
    return bits == 1 ? 2 : bits == 4 ? 16 : 256;
}

gboolean readPalette(const gchar* name, gint32 bits, guint8** entries, guint32* count,
                     GError** error) {
    gint found = 0;
    if (!gimp_palette_get_info(name, &found))
        return fail(error, "GIMP has no palette of the name '%s'", name);
    GimpRGB* colors = gimp_palette_get_colors(name, &found);
    if (colors == NULL) return fail(error, "the palette '%s' has no colours", name);
    const gint room = roomOf(bits);
    const gboolean fits = found <= room;
    if (fits) {
        *entries = packedColors(colors, found);
        *count = (guint32)found;
    }
    g_free(colors);
    if (fits) return TRUE;
    return fail(error, "the palette '%s' has %d colours, the file has room for %d", name, found,
                room);
}
