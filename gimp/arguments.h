/* The arguments of the procedure in GIMP's procedure data base. */
#pragma once

#include <libgimp/gimp.h>

#include "choices.h"

#define TIVAR_SAVE_PROCEDURE "file-tivar-save"

/* All of them, and how many. */
extern const GimpParamDef kArguments[];
extern const gint kArgumentCount;

typedef struct Arguments {
    GimpRunMode mode;
    gint32 image;
    gint32 drawable;
    const gchar* name; /* of the file */
    Choices choices;   /* only of a script, with GIMP_RUN_NONINTERACTIVE */
} Arguments;

/* Reads them; FALSE and an error when they are not what the procedure takes. What the library
 * takes is its own to judge. */
gboolean readArguments(const GimpParam* params, gint count, Arguments* arguments, GError** error);
