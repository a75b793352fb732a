#include "remembered.h"

#include <libgimp/gimp.h>

#include "arguments.h"

/* GIMP's data base of such data goes by the procedure's name. */
static const gchar kKey[] = TIVAR_SAVE_PROCEDURE;

Choices rememberedChoices(void) {
    Choices choices = defaultChoices();
    /* Another release of the plug-in may have left another record. */
    if (gimp_get_data_size(kKey) == sizeof choices) gimp_get_data(kKey, &choices);
    choices.palette[kMostPaletteName - 1] = '\0';
    return choices;
}

void rememberChoices(const Choices* choices) {
    gimp_set_data(kKey, choices, sizeof *choices);
}
