// What the files of a gallery are compared with.
#pragma once

#include "export/picture.h"
#include "process/library.h"

namespace tool {

// The source without alpha: as it is, which is how the direct route writes it, and with an even
// height, to which the others stretch it.
class References {
  public:
    References(const Library& library, const Image& source, Color background);
    References(const References&) = delete;
    References& operator=(const References&) = delete;
    ~References() = default;

    [[nodiscard]] const PixelRows& own() const { return own_; }
    [[nodiscard]] const PixelRows& even() const { return even_; }
    [[nodiscard]] const PixelRows& ofHeight(uint32_t height) const {
        return height == own_.height ? own_ : even_;
    }

  private:
    Picture stretched_;
    PixelRows own_;
    PixelRows even_;
};

}  // namespace tool
