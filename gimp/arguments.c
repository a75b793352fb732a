#include "arguments.h"

#include <string.h>

#include "failure.h"

/* GIMP hands over the first five to every procedure that saves files. */
enum { kMode, kImage, kDrawable, kName, kRawName, kFirstChoice };
enum {
    kBits = kFirstChoice,
    kHeader,
    kEncoding,
    kMasks,
    kResolution,
    kColors,
    kMaxColors,
    kPalette,
    kDither,
    kCount
};

/* GIMP's record has texts that may be changed; nobody does. */
#define TEXT(words) ((gchar*)(words))

const GimpParamDef kArguments[] = {
    {GIMP_PDB_INT32, TEXT("run-mode"),
     TEXT("The run mode { RUN-INTERACTIVE (0), RUN-NONINTERACTIVE (1), RUN-WITH-LAST-VALS (2) }")},
    {GIMP_PDB_IMAGE, TEXT("image"), TEXT("Input image")},
    {GIMP_PDB_DRAWABLE, TEXT("drawable"), TEXT("Drawable to export, at its own size")},
    {GIMP_PDB_STRING, TEXT("filename"), TEXT("The name of the file to export the image in")},
    {GIMP_PDB_STRING, TEXT("raw-filename"), TEXT("The name entered")},
    {GIMP_PDB_INT32, TEXT("bits"),
     TEXT("Bits per pixel { 0 (the image's own), 1, 4, 8, 16, 24, 32 }")},
    {GIMP_PDB_INT32, TEXT("header"),
     TEXT("{ automatic (0), Windows (1), OS/2 (2), Windows with masks and colour space (3) }")},
    {GIMP_PDB_INT32, TEXT("encoding"),
     TEXT("{ raw (0), run lengths, at 4 and 8 bits (1), the smaller of the two (2) }")},
    {GIMP_PDB_INT32, TEXT("masks"), TEXT("At 16 bits { 5-6-5 (0), 5-5-5 (1) }")},
    {GIMP_PDB_INT32, TEXT("resolution"),
     TEXT("State the image's resolution, which an OS/2 header cannot { FALSE (0), TRUE (1) }")},
    {GIMP_PDB_INT32, TEXT("colors"),
     TEXT("At 1, 4 and 8 bits { automatic (0), best for the image (1), greys (2), palette (3), "
          "median cut (4) }")},
    {GIMP_PDB_INT32, TEXT("max-colors"),
     TEXT("Colours of a palette that is chosen { 0 (as many as the depth has), 2 to 2^bits }")},
    {GIMP_PDB_STRING, TEXT("palette"),
     TEXT("With colors 3: the name of a palette of GIMP's; else empty")},
    {GIMP_PDB_INT32, TEXT("dither"),
     TEXT("At 1, 4, 8 and 16 bits { automatic (0), none (1), error diffusion (2), ordered (3) }")},
};
const gint kArgumentCount = kCount;

G_STATIC_ASSERT(G_N_ELEMENTS(kArguments) == kCount);

static gboolean readChoices(const GimpParam* params, Choices* choices, GError** error) {
    choices->bits = params[kBits].data.d_int32;
    choices->header = params[kHeader].data.d_int32;
    choices->encoding = params[kEncoding].data.d_int32;
    choices->masks = params[kMasks].data.d_int32;
    choices->resolution = params[kResolution].data.d_int32;
    choices->colors = params[kColors].data.d_int32;
    choices->maxColors = params[kMaxColors].data.d_int32;
    choices->dither = params[kDither].data.d_int32;
    const gchar* palette = params[kPalette].data.d_string;
    if (palette == NULL) return TRUE;
    if (g_strlcpy(choices->palette, palette, sizeof choices->palette) < sizeof choices->palette)
        return TRUE;
    return fail(error, "the name of the palette is longer than %d bytes", kMostPaletteName - 1);
}

gboolean readArguments(const GimpParam* params, gint count, Arguments* arguments, GError** error) {
    memset(arguments, 0, sizeof *arguments);
    if (count < kFirstChoice) return fail(error, "%d arguments are too few", count);
    arguments->mode = (GimpRunMode)params[kMode].data.d_int32;
    arguments->image = params[kImage].data.d_image;
    arguments->drawable = params[kDrawable].data.d_drawable;
    arguments->name = params[kName].data.d_string;
    if (arguments->mode == GIMP_RUN_INTERACTIVE || arguments->mode == GIMP_RUN_WITH_LAST_VALS)
        return TRUE;
    if (arguments->mode != GIMP_RUN_NONINTERACTIVE)
        return fail(error, "there is no run mode %d", (int)arguments->mode);
    if (count != kCount) return fail(error, "there must be %d arguments, not %d", kCount, count);
    return readChoices(params, &arguments->choices, error);
}
