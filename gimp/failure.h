/* What went wrong, in one line. */
#pragma once

#include <glib.h>

/* Sets error to the text and is FALSE, so that a failing routine ends with it. */
gboolean fail(GError** error, const gchar* format, ...) G_GNUC_PRINTF(2, 3);
