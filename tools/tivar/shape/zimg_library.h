// zimg, which scales planes of pixels, loaded when it is needed.
#pragma once

#include <zimg.h>

namespace tool {

struct ZimgLibrary {
    decltype(&::zimg_image_format_default) defaultFormat{};
    decltype(&::zimg_graph_builder_params_default) defaultParameters{};
    decltype(&::zimg_filter_graph_build) build{};
    decltype(&::zimg_filter_graph_free) free{};
    decltype(&::zimg_filter_graph_get_tmp_size) roomBytes{};
    decltype(&::zimg_filter_graph_get_input_buffering) inputRows{};
    decltype(&::zimg_filter_graph_get_output_buffering) outputRows{};
    decltype(&::zimg_filter_graph_process) process{};
    decltype(&::zimg_select_buffer_mask) rowMask{};
    decltype(&::zimg_get_last_error) lastError{};
};

// A library that cannot be loaded is a Failure.
ZimgLibrary loadZimg();

}  // namespace tool
