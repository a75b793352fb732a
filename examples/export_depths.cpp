// Exports one picture in every depth and both flavours, from C++17: export_depths DIRECTORY
#include <tivar/tivar.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace {

// A handle that ends with its owner: GlobalFree for blocks, DestroySetup for settings.
template <auto End>
class Owned {
  public:
    explicit Owned(MemHandle taken) : handle(taken) {}
    Owned(Owned&& other) noexcept : handle(std::exchange(other.handle, 0)) {}
    Owned& operator=(Owned&&) = delete;
    ~Owned() { End(handle); }

    MemHandle get() const { return handle; }

  private:
    MemHandle handle;
};

using Block = Owned<GlobalFree>;
using Settings = Owned<DestroySetup>;

struct Image {
    uint16_t width;
    uint16_t height;
    std::vector<uint8_t> rows;  // red, green, blue; bottom row first
};

// A gradient; 192 x 3 bytes are a multiple of 4, so rows need no padding.
Image draw() {
    Image image{192, 128, {}};
    for (int y = image.height - 1; y >= 0; --y) {
        for (int x = 0; x < image.width; ++x) {
            for (const int channel : {x, y, 255})
                image.rows.push_back(static_cast<uint8_t>(channel));
        }
    }
    return image;
}

Settings settingsOf(int32_t colorFormat, int32_t fileType) {
    Settings settings(CreateSetup(0, nullptr, nullptr, nullptr));
    if (auto* record = static_cast<SetupRecord*>(GlobalLock(settings.get()))) {
        record->colorFormat = colorFormat;
        record->fileType = fileType;
    }
    return settings;
}

// The image is a copy: at 24 bits the library exchanges red and blue of its rows.
bool exportImage(Image image, const Settings& settings, const std::string& name) {
    const Block rows(
        GlobalPointerToHandle(image.rows.data(), static_cast<uint32_t>(image.rows.size())));
    CellPicture picture{};
    picture.bits = 24;
    picture.width = image.width;
    picture.height = image.height;
    picture.pixels = rows.get();
    PictureDescription target{};
    target.resolution = 64;
    target.width = image.width;
    target.height = image.height;
    HostWord status[13] = {};
    HostWord parameters[7] = {};
    parameters[EXPORT_SETUP] = settings.get();
    parameters[EXPORT_STATUS] = reinterpret_cast<HostWord>(status);
    const int32_t result = ExportCellData(name.c_str(), &picture, &target, parameters);
    if (result != TIVAR_OK)
        std::fprintf(stderr, "export_depths: %s: code %d\n", name.c_str(), result);
    return result == TIVAR_OK;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: export_depths DIRECTORY\n", stderr);
        return 2;
    }
    constexpr std::pair<int32_t, const char*> kDepths[] = {{COLOR_FORMAT_1BIT, "1"},
                                                           {COLOR_FORMAT_4BIT, "4"},
                                                           {COLOR_FORMAT_8BIT, "8"},
                                                           {COLOR_FORMAT_24BIT, "24"}};
    constexpr std::pair<int32_t, const char*> kFlavours[] = {{FILE_TYPE_WINDOWS, "windows"},
                                                             {FILE_TYPE_OS2, "os2"}};
    const Image image = draw();
    bool done = true;
    for (const auto& [colorFormat, bits] : kDepths) {
        for (const auto& [fileType, flavour] : kFlavours) {
            const std::string name = std::string(argv[1]) + "/" + bits + "-" + flavour + ".bmp";
            done = exportImage(image, settingsOf(colorFormat, fileType), name) && done;
        }
    }
    return done ? 0 : 1;
}
