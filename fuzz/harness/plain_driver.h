// The raster device as a few plain fields: what each operation of the host changes, replies and
// writes. Bitmaps go through the plain model.
#pragma once

#include <functional>
#include <optional>

#include "harness/input.h"
#include "model/plain_model.h"

namespace fuzz {

struct PlainCells {
    std::uint32_t cells;
    std::uint32_t rows;
    std::int32_t precision;
    double firstY;
    double secondY;
};

class PlainDevice {
  public:
    PlainDevice(const model::Settings& settings, const model::DisplayState& display, int colorMode);

    // Each carries out an accepted operation; the results are the errors pushed, 0 for none.
    void open();
    void setWindow(const double (&values)[6]);
    void setViewport(double first, double second, double fourth, double fifth);
    void setScale(std::int16_t mode, double scale);
    // Transforms the colours as the host's block keeps them.
    void setColors(std::uint32_t countWord, std::uint32_t first, Bytes& colors);
    void beginImage(const PlainCells& header);
    int endImage();
    // data holds bytesRead bytes; without a value the address of the data is null. report gives the
    // host's answer to a percentage, true = cancel.
    int drawCells(const PlainCells& cells, const std::optional<Bytes>& data,
                  const std::function<bool(int)>& report);
    Bytes queryWindow() const;
    Bytes queryViewport() const;

    // Bytes of data that a cell array of the host's must have.
    std::uint64_t bytesRead(const PlainCells& cells) const;

    // Whether the output so far is described at all: large and odd pictures are not.
    bool isKnown() const { return known_; }
    const Bytes& output() const { return output_; }
    int colorDepth() const { return colorDepth_; }

    // The output cannot be told any longer.
    void forget() { known_ = false; }

  private:
    struct Placed {
        std::uint32_t width;
        std::uint32_t bits;
        std::uint32_t rowBytes;
        std::uint64_t sourceStride;
        bool bottomUp;
    };

    std::uint64_t extentOf(int from, int to) const;
    Placed place(const PlainCells& cells) const;
    void storeRows(const PlainCells& cells, const Placed& placed, const Bytes& data, Bytes& image,
                   std::int64_t height, std::int64_t& nextRow) const;
    void writeAlone(const Placed& placed, std::uint32_t rows, Bytes image,
                    const std::function<bool(int)>& report);
    void append(const Bytes& file, const model::Settings& settings, std::uint32_t width,
                std::uint32_t height, int bits, const Bytes& palette, bool ended);

    model::Settings settings_;
    model::DisplayState display_;
    int colorDepth_ = 0;
    double window_[6] = {};
    double viewport_[6] = {};
    std::int32_t resolution_ = 0;
    Bytes colors_ = Bytes(768);
    bool pending_ = false;
    bool hasImage_ = false;
    Bytes image_;
    std::uint32_t imageWidth_ = 0;
    std::uint32_t imageHeight_ = 0;
    std::uint32_t imageBits_ = 0;
    std::int64_t nextRow_ = 0;
    Bytes output_;
    std::size_t position_ = 0;
    bool known_ = true;
};

}  // namespace fuzz
