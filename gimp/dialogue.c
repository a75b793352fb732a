#include "dialogue.h"

#include <libgimp/gimp.h>
#include <libgimp/gimpui.h>
#include <tivar/write.h>

#include "arguments.h"

typedef struct Dialogue {
    Choices* choices;
    gint32 ownBits;
    GtkWidget* table;
    gint rows;

    /* What is not always to be chosen. */
    GtkWidget* colors;
    GtkWidget* palette;
    GtkWidget* maxColors;
    GtkWidget* dither;
    GtkWidget* masks;
    GtkWidget* header;
    GtkWidget* encoding;
    GtkWidget* resolution;
} Dialogue;

/* ---- What excludes what ------------------------------------------------------------------- */

static gint32 chosenBits(const Dialogue* dialogue) {
    return dialogue->choices->bits != 0 ? dialogue->choices->bits : dialogue->ownBits;
}

static gboolean headerIsSensitive(gint value, gpointer data) {
    return value != TIVAR_HEADER_OS2 || canBeOs2(chosenBits(data));
}

/* The number never passes what the depth has, and follows it up as long as it was all of them. */
static void refreshMaxColors(Dialogue* dialogue, gint32 bits) {
    const gint most = hasPalette(bits) ? 1 << bits : 256;
    const gint chosen = dialogue->choices->maxColors;
    const gint shown = chosen == 0 ? most : MIN(chosen, most);
    gtk_spin_button_set_range(GTK_SPIN_BUTTON(dialogue->maxColors), 2, most);
    gtk_spin_button_set_value(GTK_SPIN_BUTTON(dialogue->maxColors), shown);
}

static void refresh(Dialogue* dialogue) {
    const gint32 bits = chosenBits(dialogue);
    const Choices fitting = choicesThatFit(dialogue->choices, dialogue->ownBits);
    const gboolean given = dialogue->choices->colors == TIVAR_COLORS_GIVEN;
    /* This changes the choice, as the user would, and comes back here. */
    if (dialogue->choices->header != fitting.header)
        gimp_int_combo_box_set_active(GIMP_INT_COMBO_BOX(dialogue->header), fitting.header);
    refreshMaxColors(dialogue, bits);
    gtk_widget_set_sensitive(dialogue->colors, hasPalette(bits));
    gtk_widget_set_sensitive(dialogue->palette, hasPalette(bits) && given);
    gtk_widget_set_sensitive(dialogue->maxColors, hasPalette(bits) && !given);
    gtk_widget_set_sensitive(dialogue->dither, canDither(bits));
    gtk_widget_set_sensitive(dialogue->masks, bits == 16);
    gtk_widget_set_sensitive(dialogue->encoding, canEncode(bits, fitting.header));
    gtk_widget_set_sensitive(dialogue->resolution, fitting.header != TIVAR_HEADER_OS2);
    gtk_widget_queue_draw(dialogue->header);
}

/* ---- The widgets -------------------------------------------------------------------------- */

static void addRow(Dialogue* dialogue, const gchar* label, GtkWidget* widget) {
    gimp_table_attach_aligned(GTK_TABLE(dialogue->table), 0, dialogue->rows++, label, 0.0, 0.5,
                              widget, 1, FALSE);
}

/* A list whose value goes to place. */
static GtkWidget* addList(Dialogue* dialogue, const gchar* label, GtkWidget* list, gint* place) {
    addRow(dialogue, label, list);
    gimp_int_combo_box_connect(GIMP_INT_COMBO_BOX(list), *place,
                               G_CALLBACK(gimp_int_combo_box_get_active), place);
    g_signal_connect_swapped(list, "changed", G_CALLBACK(refresh), dialogue);
    return list;
}

static void addDepth(Dialogue* dialogue) {
    gchar* own = g_strdup_printf("As the image: %d", dialogue->ownBits);
    GtkWidget* list = gimp_int_combo_box_new(
        own, 0, "1: two colours", 1, "4: up to 16 colours", 4, "8: up to 256 colours", 8,
        "16: high colour", 16, "24: true colour", 24, "32: true colour and alpha", 32, NULL);
    addList(dialogue, "_Bits per pixel:", list, &dialogue->choices->bits);
    g_free(own);
}

static void onPalette(GimpPaletteSelectButton* button, const gchar* name, gboolean closing,
                      gpointer data) {
    Choices* choices = data;
    (void)button;
    (void)closing;
    g_strlcpy(choices->palette, name, sizeof choices->palette);
}

static void addPalette(Dialogue* dialogue) {
    Choices* choices = dialogue->choices;
    if (choices->palette[0] == '\0') {
        gchar* current = gimp_context_get_palette();
        if (current != NULL) g_strlcpy(choices->palette, current, sizeof choices->palette);
        g_free(current);
    }
    dialogue->palette = gimp_palette_select_button_new("Palette of the file", choices->palette);
    addRow(dialogue, "_Palette:", dialogue->palette);
    g_signal_connect(dialogue->palette, "palette-set", G_CALLBACK(onPalette), choices);
}

static void onMaxColors(Dialogue* dialogue) {
    const gint value = gtk_spin_button_get_value_as_int(GTK_SPIN_BUTTON(dialogue->maxColors));
    const gint32 bits = chosenBits(dialogue);
    if (hasPalette(bits)) dialogue->choices->maxColors = value == 1 << bits ? 0 : value;
}

static void addColors(Dialogue* dialogue) {
    GtkWidget* list =
        gimp_int_combo_box_new("Automatic", TIVAR_COLORS_DEFAULT, "Best for the image",
                               TIVAR_COLORS_BEST, "Greys", TIVAR_COLORS_GREYS, "Palette of GIMP",
                               TIVAR_COLORS_GIVEN, "Median cut", TIVAR_COLORS_FILTER, NULL);
    dialogue->colors = addList(dialogue, "Co_lours:", list, &dialogue->choices->colors);
    addPalette(dialogue);
    dialogue->maxColors = gtk_spin_button_new_with_range(2, 256, 1);
    addRow(dialogue, "_Number of colours:", dialogue->maxColors);
    g_signal_connect_swapped(dialogue->maxColors, "value-changed", G_CALLBACK(onMaxColors),
                             dialogue);
    list = gimp_int_combo_box_new("Automatic", TIVAR_DITHER_DEFAULT, "None", TIVAR_DITHER_NONE,
                                  "Error diffusion", TIVAR_DITHER_DIFFUSE, "Ordered pattern",
                                  TIVAR_DITHER_ORDERED, NULL);
    dialogue->dither = addList(dialogue, "_Dithering:", list, &dialogue->choices->dither);
    list = gimp_int_combo_box_new("5-6-5", TIVAR_MASKS_565, "5-5-5", TIVAR_MASKS_555, NULL);
    dialogue->masks = addList(dialogue, "16 bits a_s:", list, &dialogue->choices->masks);
}

static void addForm(Dialogue* dialogue) {
    GtkWidget* list = gimp_int_combo_box_new("Automatic", TIVAR_HEADER_DEFAULT, "Windows",
                                             TIVAR_HEADER_WINDOWS, "OS/2", TIVAR_HEADER_OS2,
                                             "Windows, version 4", TIVAR_HEADER_V4, NULL);
    gimp_int_combo_box_set_sensitivity(GIMP_INT_COMBO_BOX(list), headerIsSensitive, dialogue, NULL);
    dialogue->header = addList(dialogue, "He_ader:", list, &dialogue->choices->header);
    list =
        gimp_int_combo_box_new("Raw", TIVAR_ENCODING_RAW, "Run lengths (RLE)", TIVAR_ENCODING_RLE,
                               "The smaller of the two", TIVAR_ENCODING_SMALLEST, NULL);
    dialogue->encoding = addList(dialogue, "Enc_oding:", list, &dialogue->choices->encoding);
}

/* Shown in the image's unit; the file counts in metres. */
static gchar* resolutionLabel(gint32 image) {
    gdouble x = 0;
    gdouble y = 0;
    gimp_image_get_resolution(image, &x, &y);
    GimpUnit unit = gimp_image_get_unit(image);
    if (unit == GIMP_UNIT_PIXEL || unit == GIMP_UNIT_PERCENT) unit = GIMP_UNIT_INCH;
    const gdouble factor = gimp_unit_get_factor(unit);
    return g_strdup_printf("State the _resolution: %.5g × %.5g pixels/%s", x / factor, y / factor,
                           gimp_unit_get_abbreviation(unit));
}

static void addResolution(Dialogue* dialogue, gint32 image, GtkWidget* box) {
    gchar* label = resolutionLabel(image);
    dialogue->resolution = gtk_check_button_new_with_mnemonic(label);
    g_free(label);
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(dialogue->resolution),
                                 dialogue->choices->resolution);
    g_signal_connect(dialogue->resolution, "toggled", G_CALLBACK(gimp_toggle_button_update),
                     &dialogue->choices->resolution);
    gtk_box_pack_start(GTK_BOX(box), dialogue->resolution, FALSE, FALSE, 0);
}

static GtkWidget* addBox(GtkWidget* window) {
    GtkWidget* box = gtk_vbox_new(FALSE, 12);
    gtk_container_set_border_width(GTK_CONTAINER(box), 12);
    gtk_box_pack_start(GTK_BOX(gimp_export_dialog_get_content_area(window)), box, TRUE, TRUE, 0);
    return box;
}

static GtkWidget* addTable(GtkWidget* box) {
    GtkWidget* table = gtk_table_new(8, 2, FALSE);
    gtk_table_set_row_spacings(GTK_TABLE(table), 6);
    gtk_table_set_col_spacings(GTK_TABLE(table), 12);
    gtk_box_pack_start(GTK_BOX(box), table, FALSE, FALSE, 0);
    return table;
}

gboolean askForChoices(const Subject* subject, Choices* choices) {
    Dialogue dialogue = {.choices = choices, .ownBits = ownBits(subject)};
    GtkWidget* window = gimp_export_dialog_new("BMP (Tivar)", "file-tivar", TIVAR_SAVE_PROCEDURE);
    GtkWidget* box = addBox(window);
    dialogue.table = addTable(box);
    addDepth(&dialogue);
    addColors(&dialogue);
    addForm(&dialogue);
    addResolution(&dialogue, subject->image, box);
    refresh(&dialogue);
    gtk_widget_show_all(window);
    const gboolean agreed = gimp_dialog_run(GIMP_DIALOG(window)) == GTK_RESPONSE_OK;
    gtk_widget_destroy(window);
    return agreed;
}
