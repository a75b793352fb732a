// Without a library for colour profiles; inks do not come out of the system's codecs.
#include "picture/color_profile.h"

#include <string_view>
#include <utility>

namespace tool {
namespace {

// Profiles of sRGB have its name in their description, in single bytes or in pairs.
bool namesSrgb(const std::vector<uint8_t>& profile) {
    using namespace std::string_view_literals;
    const std::string_view text(reinterpret_cast<const char*>(profile.data()), profile.size());
    return text.find("sRGB"sv) != std::string_view::npos ||
           text.find("s\0R\0G\0B"sv) != std::string_view::npos;
}

}  // namespace

void convertToSrgb(Image& image, const ReadRequest&) {
    const std::vector<uint8_t> profile = std::exchange(image.profile, {});
    if (profile.empty() || namesSrgb(profile)) return;
    image.notices.push_back({"its colour profile cannot be used, the colours are taken for sRGB",
                             "convert it to sRGB first if they look wrong"});
}

}  // namespace tool
