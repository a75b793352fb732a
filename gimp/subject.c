#include "subject.h"

#include <libgimp/gimp.h>
#include <string.h>

#include "srgb.h"

static void takeBackground(Subject* subject) {
    GimpRGB color;
    gimp_context_get_background(&color);
    gimp_rgb_get_uchar(&color, &subject->background[0], &subject->background[1],
                       &subject->background[2]);
}

static gint32 entryOf(const Subject* subject, const guint8* rgb) {
    for (guint32 i = 0; i < subject->paletteCount; ++i)
        if (memcmp(subject->palette + i * 3, rgb, 3) == 0) return (gint32)i;
    return -1;
}

/* The entry that the background has, or gets behind the others. */
static gint32 backgroundEntry(Subject* subject) {
    const gint32 entry = entryOf(subject, subject->background);
    if (entry >= 0 || subject->paletteCount == 256) return entry;
    memcpy(subject->palette + subject->paletteCount * 3, subject->background, 3);
    return (gint32)subject->paletteCount++;
}

static void takePalette(Subject* subject) {
    gint count = 0;
    guchar* colors = gimp_image_get_colormap(subject->image, &count);
    /* An image without colours is black, which is what the palette holds already. */
    subject->paletteCount = (guint32)CLAMP(count, 1, 256);
    if (count > 0 && colors != NULL) memcpy(subject->palette, colors, subject->paletteCount * 3);
    g_free(colors);
    paletteToSrgb(subject->image, subject->palette, subject->paletteCount);
    if (subject->alpha) subject->transparent = backgroundEntry(subject);
}

Subject subjectOf(gint32 image, gint32 drawable) {
    Subject subject = {.image = image, .drawable = drawable, .transparent = -1};
    subject.width = gimp_drawable_width(drawable);
    subject.height = gimp_drawable_height(drawable);
    subject.indexed = gimp_drawable_is_indexed(drawable);
    subject.grey = gimp_drawable_is_gray(drawable);
    subject.alpha = gimp_drawable_has_alpha(drawable);
    takeBackground(&subject);
    if (subject.indexed) takePalette(&subject);
    return subject;
}

gint32 ownBits(const Subject* subject) {
    if (subject->indexed)
        return subject->paletteCount <= 2 ? 1 : subject->paletteCount <= 16 ? 4 : 8;
    if (subject->alpha) return 32;
    return subject->grey ? 8 : 24;
}
