#include "shape/zimg_library.h"

#include <string>

#include "picture/lazy_library.h"

namespace tool {

ZimgLibrary loadZimg() {
    constexpr char kName[] = TIVAR_ZIMG_LIBRARY;
    void* module = loadLazily(kName, std::string("is to be scaled smoothly, which needs ") + kName,
                              "install it or choose --scale pixel");
    ZimgLibrary zimg;
    const auto bind = [&](const char* name, auto& function) {
        bindLazily(module, kName, name, function);
    };
    bind("zimg_image_format_default", zimg.defaultFormat);
    bind("zimg_graph_builder_params_default", zimg.defaultParameters);
    bind("zimg_filter_graph_build", zimg.build);
    bind("zimg_filter_graph_free", zimg.free);
    bind("zimg_filter_graph_get_tmp_size", zimg.roomBytes);
    bind("zimg_filter_graph_get_input_buffering", zimg.inputRows);
    bind("zimg_filter_graph_get_output_buffering", zimg.outputRows);
    bind("zimg_filter_graph_process", zimg.process);
    bind("zimg_select_buffer_mask", zimg.rowMask);
    bind("zimg_get_last_error", zimg.lastError);
    return zimg;
}

}  // namespace tool
