/* The rows of a drawable as the library takes them, read from GIMP by rows of tiles. */
#pragma once

#include <libgimp/gimp.h>

#include "subject.h"

typedef struct Rows {
    GeglBuffer* buffer;
    gint32 width;
    gint32 height;
    gint32 format;                 /* enum TivarFormat */
    const Babl* read;              /* as they come from GIMP */
    const Babl* given;             /* as they go to the library; NULL = indices */
    GimpColorTransform* transform; /* between the two, or NULL */
    gint32 transparent;            /* index for transparent pixels, or -1 */

    /* The rows of tiles that were read last: rows first to first + count - 1. */
    gint32 first;
    gint32 count;
    guint8* readBand;
    guint8* givenBand; /* the same block when nothing has to be converted */
} Rows;

/* As a file of that depth wants them: indices, greys, colours, or colours with alpha. FALSE and
 * an error without memory. */
gboolean openRows(Rows* rows, const Subject* subject, gint32 bits, GError** error);

/* The library's call-back for rows (TivarReadRow): context is the rows. It asks for them bottom
 * row first or top row first, so that every row of tiles is read once. */
gint32 readRow(void* context, guint32 y, void* row);

void closeRows(Rows* rows);
