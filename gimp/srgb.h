/* Colours of images with a colour profile, which BMP files do not hold, become those of sRGB. */
#pragma once

#include <libgimp/gimp.h>

/* From pixels of the image in one format to sRGB in the other; NULL when the image has no profile
 * or one that needs nothing of the kind, and GEGL's own conversion will do. The caller frees it. */
GimpColorTransform* transformToSrgb(gint32 image, const Babl* from, const Babl* to);

/* Entries of red, green, blue in place. */
void paletteToSrgb(gint32 image, guint8* palette, guint32 count);
