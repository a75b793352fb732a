// libpng, loaded when it is needed.
#pragma once

#include <png.h>

#include "picture/lazy_library.h"

namespace tool {

inline LazyLibrary g_png{TIVAR_PNG16_LIBRARY, "PNG"};

TIVAR_LAZY_FUNCTION(g_png, png_create_info_struct);
TIVAR_LAZY_FUNCTION(g_png, png_create_read_struct);
TIVAR_LAZY_FUNCTION(g_png, png_create_write_struct);
TIVAR_LAZY_FUNCTION(g_png, png_destroy_read_struct);
TIVAR_LAZY_FUNCTION(g_png, png_destroy_write_struct);
TIVAR_LAZY_FUNCTION(g_png, png_get_IHDR);
TIVAR_LAZY_FUNCTION(g_png, png_get_PLTE);
TIVAR_LAZY_FUNCTION(g_png, png_get_eXIf_1);
TIVAR_LAZY_FUNCTION(g_png, png_get_error_ptr);
TIVAR_LAZY_FUNCTION(g_png, png_get_iCCP);
TIVAR_LAZY_FUNCTION(g_png, png_get_tRNS);
TIVAR_LAZY_FUNCTION(g_png, png_get_valid);
TIVAR_LAZY_FUNCTION(g_png, png_init_io);
TIVAR_LAZY_FUNCTION(g_png, png_read_end);
TIVAR_LAZY_FUNCTION(g_png, png_read_info);
TIVAR_LAZY_FUNCTION(g_png, png_read_row);
TIVAR_LAZY_FUNCTION(g_png, png_read_update_info);
TIVAR_LAZY_FUNCTION(g_png, png_set_IHDR);
TIVAR_LAZY_FUNCTION(g_png, png_set_PLTE);
TIVAR_LAZY_FUNCTION(g_png, png_set_interlace_handling);
TIVAR_LAZY_FUNCTION(g_png, png_set_scale_16);
TIVAR_LAZY_FUNCTION(g_png, png_set_tRNS_to_alpha);
TIVAR_LAZY_FUNCTION(g_png, png_set_user_limits);
TIVAR_LAZY_FUNCTION(g_png, png_write_end);
TIVAR_LAZY_FUNCTION(g_png, png_write_info);
TIVAR_LAZY_FUNCTION(g_png, png_write_row);

}  // namespace tool
