// libjpeg, loaded when it is needed.
#pragma once

#include <cstdio>
// jpeglib.h needs the declarations of cstdio.
#include <jerror.h>
#include <jpeglib.h>

#include "picture/lazy_library.h"

namespace tool {

inline LazyLibrary g_jpeg{TIVAR_JPEG_LIBRARY, "JPEG"};

TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_CreateCompress);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_CreateDecompress);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_calc_output_dimensions);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_destroy_compress);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_destroy_decompress);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_finish_compress);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_finish_decompress);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_read_header);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_read_icc_profile);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_read_scanlines);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_save_markers);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_set_defaults);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_set_quality);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_start_compress);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_start_decompress);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_std_error);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_stdio_dest);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_stdio_src);
TIVAR_LAZY_FUNCTION(g_jpeg, jpeg_write_scanlines);

}  // namespace tool
