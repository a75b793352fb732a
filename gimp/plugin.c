/* The plug-in as GIMP sees it: what it registers, and what happens when it is called. */
#include <libgimp/gimp.h>
#include <libgimp/gimpui.h>

#include "arguments.h"
#include "dialogue.h"
#include "export.h"
#include "failure.h"
#include "remembered.h"

/* Layers become one where there are several; everything else the library takes as it is. */
static const GimpExportCapabilities kCapabilities =
    GIMP_EXPORT_CAN_HANDLE_RGB | GIMP_EXPORT_CAN_HANDLE_GRAY | GIMP_EXPORT_CAN_HANDLE_INDEXED |
    GIMP_EXPORT_CAN_HANDLE_ALPHA;

static void query(void) {
    gimp_install_procedure(
        TIVAR_SAVE_PROCEDURE, "Exports an image as a BMP file through the library tivar",
        "Writes BMP files of 1, 4, 8, 16, 24 or 32 bits per pixel with a Windows or an OS/2 "
        "header, raw or run-length encoded. Indexed images keep their palette and its order; "
        "alpha is kept at 32 bits and else laid over the background colour; colours of images "
        "with a colour profile become those of sRGB. A file appears complete or not at all.",
        "Tivar developers", "Tivar developers", "2026", "Tivar BMP image", "RGB*, GRAY*, INDEXED*",
        GIMP_PLUGIN, kArgumentCount, 0, kArguments, NULL);
    gimp_register_file_handler_mime(TIVAR_SAVE_PROCEDURE, "image/bmp");
    gimp_register_save_handler(TIVAR_SAVE_PROCEDURE, "bmp,dib", "");
    /* GIMP's own handler has 0, and the lowest number of those that know a suffix wins. */
    gimp_register_file_handler_priority(TIVAR_SAVE_PROCEDURE, 10);
}

/* ---- A call ---------------------------------------------------------------------------------- */

/* The choices of a script are what it says; others are fitted to the drawable. FALSE when the
 * user cancels. */
static gboolean settleChoices(const Arguments* arguments, const Subject* subject,
                              Choices* choices) {
    *choices = arguments->choices;
    if (arguments->mode == GIMP_RUN_NONINTERACTIVE) return TRUE;
    Choices chosen = rememberedChoices();
    if (arguments->mode == GIMP_RUN_INTERACTIVE && !askForChoices(subject, &chosen)) return FALSE;
    rememberChoices(&chosen);
    *choices = choicesThatFit(&chosen, ownBits(subject));
    return TRUE;
}

static GimpPDBStatusType exportDrawable(const Arguments* arguments, gint32 image, gint32 drawable,
                                        GError** error) {
    const Subject subject = subjectOf(image, drawable);
    Choices choices;
    if (!settleChoices(arguments, &subject, &choices)) return GIMP_PDB_CANCEL;
    return exportSubject(&subject, &choices, arguments->name, error) ? GIMP_PDB_SUCCESS
                                                                     : GIMP_PDB_EXECUTION_ERROR;
}

/* The whole image, its layers put together in a copy. */
static GimpPDBStatusType exportImage(const Arguments* arguments, GError** error) {
    gint32 image = arguments->image;
    gint32 drawable = arguments->drawable;
    /* Without a dialogue there need be no display; the variable has GIMP's own shown before. */
    if (arguments->mode == GIMP_RUN_INTERACTIVE || g_getenv("GIMP_INTERACTIVE_EXPORT") != NULL)
        gimp_ui_init("file-tivar", FALSE);
    const GimpExportReturn answer =
        gimp_export_image(&image, &drawable, "Tivar BMP", kCapabilities);
    if (answer == GIMP_EXPORT_CANCEL) return GIMP_PDB_CANCEL;
    const GimpPDBStatusType status = exportDrawable(arguments, image, drawable, error);
    if (answer == GIMP_EXPORT_EXPORT) gimp_image_delete(image);
    return status;
}

static GimpPDBStatusType answerCall(const GimpParam* params, gint count, GError** error) {
    Arguments arguments;
    if (!readArguments(params, count, &arguments, error)) return GIMP_PDB_CALLING_ERROR;
    /* Scripts say themselves which drawable they mean, as for every exporter of GIMP. */
    if (arguments.mode == GIMP_RUN_NONINTERACTIVE)
        return exportDrawable(&arguments, arguments.image, arguments.drawable, error);
    return exportImage(&arguments, error);
}

static void run(const gchar* name, gint count, const GimpParam* params, gint* resultCount,
                GimpParam** results) {
    static GimpParam values[2]; /* GIMP reads them after the call */
    (void)name;
    gegl_init(NULL, NULL);
    GError* error = NULL;
    values[0].type = GIMP_PDB_STATUS;
    values[0].data.d_status = answerCall(params, count, &error);
    *results = values;
    *resultCount = 1;
    if (error == NULL) return;
    values[1].type = GIMP_PDB_STRING;
    values[1].data.d_string = error->message;
    *resultCount = 2;
}

const GimpPlugInInfo PLUG_IN_INFO = {NULL, NULL, query, run};

MAIN()
