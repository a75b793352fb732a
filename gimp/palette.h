/* A palette of GIMP's, by its name. */
#pragma once

#include <glib.h>

/* Fills entries of red, green, blue, which the caller frees. bits: the depth that has to hold
 * them. FALSE and an error when there is no such palette, or it does not fit. */
gboolean readPalette(const gchar* name, gint32 bits, guint8** entries, guint32* count,
                     GError** error);
