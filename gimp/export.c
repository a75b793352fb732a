#include "export.h"

#include <libgimp/gimp.h>
#include <math.h>
#include <string.h>
#include <tivar/write.h>

#include "failure.h"
#include "palette.h"
#include "rows.h"
#include "writer.h"

/* ---- What is asked of the library ------------------------------------------------------------ */

static gint32 perMeter(gdouble perInch) {
    const gdouble pixels = round(perInch / 0.0254);
    return pixels < G_MAXINT32 ? (gint32)pixels : G_MAXINT32;
}

/* GIMP keeps it in pixels per inch, whatever unit it shows. */
static void takeResolution(TivarOptions* options, gint32 image) {
    gdouble x = 0;
    gdouble y = 0;
    gimp_image_get_resolution(image, &x, &y);
    options->x_per_meter = perMeter(x);
    options->y_per_meter = perMeter(y);
}

/* As many as GIMP's preferences allow. */
static gint threadsOfGimp(void) {
    gint threads = 1;
    g_object_get(gegl_config(), "threads", &threads, NULL);
    return MAX(threads, 1);
}

static TivarOptions optionsOf(const Subject* subject, const Choices* choices) {
    TivarOptions options = {.size = sizeof options};
    options.bits = choices->bits != 0 ? choices->bits : ownBits(subject);
    options.header = choices->header;
    options.encoding = choices->encoding;
    options.masks = choices->masks;
    options.colors = choices->colors;
    options.max_colors = (guint32)choices->maxColors;
    options.dither = choices->dither;
    options.threads = threadsOfGimp();
    if (choices->resolution) takeResolution(&options, subject->image);
    return options;
}

/* Only 32 bits keep alpha, and only in the header that says so. */
static void layOverBackground(TivarOptions* options, const Subject* subject) {
    if (options->bits == 32 && options->header != TIVAR_HEADER_WINDOWS) return;
    options->alpha = TIVAR_ALPHA_OVER;
    memcpy(options->background, subject->background, 3);
}

static TivarPicture pictureOf(const Subject* subject, Rows* rows) {
    TivarPicture picture = {.size = sizeof picture, .format = rows->format};
    picture.width = (guint32)subject->width;
    picture.height = (guint32)subject->height;
    picture.read_row = readRow;
    picture.context = rows;
    if (rows->format == TIVAR_INDEX8) {
        picture.palette = subject->palette;
        picture.palette_count = subject->paletteCount;
    }
    return picture;
}

/* ---- The call -------------------------------------------------------------------------------- */

static gint32 showProgress(void* context, gint32 percent) {
    (void)context;
    gimp_progress_update(percent / 100.0);
    return 0;
}

static gboolean failToWrite(const TivarReport* report, const gchar* name, GError** error) {
    gchar* shown = g_filename_display_name(name);
    const gchar* why = report->system_error != 0 ? g_strerror(report->system_error) : report->text;
    fail(error, "'%s' was not written: %s", shown, why);
    g_free(shown);
    return FALSE;
}

static gboolean writeRows(const Subject* subject, Rows* rows, TivarOptions* options,
                          const gchar* name, GError** error) {
    const TivarPicture picture = pictureOf(subject, rows);
    TivarReport report = {.size = sizeof report};
    options->progress = showProgress;
    const gint32 result = writeApart(&picture, options, name, &report);
    return result == TIVAR_RESULT_OK || failToWrite(&report, name, error);
}

static void startProgress(const gchar* name) {
    gchar* shown = g_filename_display_name(name);
    gimp_progress_init_printf("Exporting '%s'", shown);
    g_free(shown);
}

gboolean exportSubject(const Subject* subject, const Choices* choices, const gchar* name,
                       GError** error) {
    TivarOptions options = optionsOf(subject, choices);
    layOverBackground(&options, subject);
    guint8* entries = NULL;
    if (choices->palette[0] != '\0' &&
        !readPalette(choices->palette, options.bits, &entries, &options.palette_count, error))
        return FALSE;
    options.palette = entries;
    Rows rows;
    startProgress(name);
    const gboolean written = openRows(&rows, subject, options.bits, error) &&
                             writeRows(subject, &rows, &options, name, error);
    closeRows(&rows);
    g_free(entries);
    return written;
}
