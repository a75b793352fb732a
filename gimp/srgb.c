#include "srgb.h"

static GimpColorTransform* transformFrom(GimpColorProfile* own, const Babl* from, const Babl* to) {
    GimpColorProfile* srgb = gimp_color_profile_is_gray(own)
                                 ? gimp_color_profile_new_d65_gray_srgb_trc()
                                 : gimp_color_profile_new_rgb_srgb();
    GimpColorTransform* transform = NULL;
    if (!gimp_color_profile_is_equal(own, srgb))
        transform = gimp_color_transform_new(own, from, srgb, to,
                                             GIMP_COLOR_RENDERING_INTENT_RELATIVE_COLORIMETRIC,
                                             GIMP_COLOR_TRANSFORM_FLAGS_BLACK_POINT_COMPENSATION);
    g_object_unref(srgb);
    return transform;
}

GimpColorTransform* transformToSrgb(gint32 image, const Babl* from, const Babl* to) {
    GimpColorProfile* own = gimp_image_get_color_profile(image);
    if (own == NULL) return NULL;
    GimpColorTransform* transform = transformFrom(own, from, to);
    g_object_unref(own);
    return transform;
}

void paletteToSrgb(gint32 image, guint8* palette, guint32 count) {
    const Babl* format = babl_format("R'G'B' u8");
    GimpColorTransform* transform = transformToSrgb(image, format, format);
    if (transform == NULL) return;
    gimp_color_transform_process_pixels(transform, format, palette, format, palette, count);
    g_object_unref(transform);
}
