#include "picture/readers.h"

#include <array>

namespace tool {
namespace {

using namespace std::string_view_literals;

constexpr std::array kReaders{
    ImageReader{"PNG", [](std::string_view start) { return start.starts_with("\x89P"sv); },
                readPng},
    ImageReader{"JPEG", [](std::string_view start) { return start.starts_with("\xFF\xD8"sv); },
                readJpeg},
    ImageReader{"PNM",
                [](std::string_view start) {
                    return start.size() >= 2 && start[0] == 'P' && start[1] >= '1' &&
                           start[1] <= '6';
                },
                readPnm},
};

}  // namespace

std::span<const ImageReader> imageReaders() {
    return kReaders;
}

}  // namespace tool
