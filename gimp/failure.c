#include "failure.h"

#include <libgimp/gimp.h>

gboolean fail(GError** error, const gchar* format, ...) {
    va_list values;
    va_start(values, format);
    g_propagate_error(error, g_error_new_valist(GIMP_PLUG_IN_ERROR, 0, format, values));
    va_end(values);
    return FALSE;
}
