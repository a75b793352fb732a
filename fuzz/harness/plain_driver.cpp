#include "harness/plain_driver.h"

#include <tivar/types.h>

#include <algorithm>

#include "harness/check.h"
#include "harness/heap.h"

namespace fuzz {
namespace {

constexpr std::uint64_t kMostCells = 6000;

std::uint32_t bitsOf(std::int32_t precision) {
    if (precision == -32768) return 1;
    const std::int64_t wide = precision;
    return static_cast<std::uint32_t>(wide < 0 ? -wide : wide);
}

std::uint64_t paddedBytes(std::uint64_t cells, std::uint32_t bits) {
    const std::uint64_t rowBits = cells * bits;
    return rowBits > 0xFFFFFFFF ? 0 : (rowBits + 31) / 32 * 4;
}

// Depths whose pixels the model and the library tell alike.
bool isTellable(std::uint32_t bits) {
    return (bits >= 1 && bits <= 12) || bits == 24 || bits == 32;
}

bool isWrittenFormat(int colorFormat) {
    return colorFormat == 215 || colorFormat == 219 || colorFormat == 221 || colorFormat == 222;
}

bool isModest(std::uint64_t width, std::uint64_t height) {
    return width <= kMostCells && height <= kMostCells && width * height <= kMostCells;
}

Bytes numbers(const double (&values)[6]) {
    Bytes bytes(sizeof values);
    std::memcpy(bytes.data(), values, sizeof values);
    return bytes;
}

}  // namespace

PlainDevice::PlainDevice(const model::Settings& settings, const model::DisplayState& display,
                         int colorMode)
    : settings_(settings), display_(display) {
    if (colorMode >= 103 && colorMode <= 107) colorDepth_ = colorMode - 103;
}

void PlainDevice::open() {
    output_.clear();
    position_ = 0;
    known_ = true;
}

void PlainDevice::setWindow(const double (&values)[6]) {
    std::copy(values, values + 6, window_);
}

void PlainDevice::setViewport(double first, double second, double fourth, double fifth) {
    viewport_[0] = first;
    viewport_[1] = second;
    viewport_[3] = fourth;
    viewport_[4] = fifth;
}

void PlainDevice::setScale(std::int16_t mode, double scale) {
    if (mode < 0 || mode > 2) return;
    const bool isMetric = mode == 1 && scale != 0.0;
    resolution_ = isMetric ? model::toSigned(25.4 / scale + 0.5) : 0;
}

void PlainDevice::setColors(std::uint32_t countWord, std::uint32_t first, Bytes& colors) {
    if (countWord < 2 || first > 256) return;
    const std::uint32_t count = (countWord - 2) / 3;
    model::revRgb(colors, static_cast<int>(count), colorDepth_);
    const std::uint32_t copied = std::min(count, 256 - first) * 3;
    std::copy_n(colors.begin(), copied, colors_.begin() + static_cast<std::ptrdiff_t>(first * 3));
}

std::uint64_t PlainDevice::extentOf(int from, int to) const {
    const std::int64_t a = model::toSigned(window_[from]);
    const std::int64_t b = model::toSigned(window_[to]);
    return static_cast<std::uint64_t>(a < b ? b - a : a - b) + 1;
}

void PlainDevice::beginImage(const PlainCells& header) {
    pending_ = true;
    imageBits_ = bitsOf(header.precision);
    imageHeight_ = header.rows;
    nextRow_ = 0;
    const auto cells = static_cast<std::int32_t>(header.cells);
    // A number of cells below 0 is less than any window shows, and nothing to have memory for.
    const std::uint64_t visible = std::min<std::uint64_t>(extentOf(0, 3), header.cells);
    imageWidth_ = cells < 0 ? header.cells : static_cast<std::uint32_t>(visible);
    const std::uint64_t bytes = paddedBytes(imageWidth_, imageBits_) * imageHeight_;
    const bool isRow = std::uint64_t{imageWidth_} * imageBits_ <= 0xFFFFFFFF;
    hasImage_ = cells >= 0 && isRow && bytes + 64 <= kLargestBlock;
    image_.assign(hasImage_ ? static_cast<std::size_t>(bytes) : 0, 0);
}

PlainDevice::Placed PlainDevice::place(const PlainCells& cells) const {
    Placed placed = {};
    placed.bits = bitsOf(cells.precision);
    placed.width = static_cast<std::uint32_t>(std::min<std::uint64_t>(extentOf(0, 3), cells.cells));
    placed.rowBytes = static_cast<std::uint32_t>(paddedBytes(placed.width, placed.bits));
    const bool isNarrowed = placed.bits == 24 && placed.width < cells.cells;
    placed.sourceStride = isNarrowed ? paddedBytes(cells.cells, placed.bits) : placed.rowBytes;
    placed.bottomUp = (cells.secondY < cells.firstY && window_[4] > window_[1]) ||
                      (cells.secondY > cells.firstY && window_[4] < window_[1]);
    return placed;
}

std::uint64_t PlainDevice::bytesRead(const PlainCells& cells) const {
    const Placed placed = place(cells);
    const std::uint64_t height = pending_ ? imageHeight_ : cells.rows;
    const std::uint64_t rows = std::min<std::uint64_t>(cells.rows, height);
    return rows == 0 ? 0 : (rows - 1) * placed.sourceStride + placed.rowBytes;
}

void PlainDevice::storeRows(const PlainCells& cells, const Placed& placed, const Bytes& data,
                            Bytes& image, std::int64_t height, std::int64_t& nextRow) const {
    if (placed.bottomUp && nextRow == 0) nextRow = height - 1;
    const std::int64_t room = placed.bottomUp ? nextRow : height - nextRow;
    const std::int64_t count = std::min<std::int64_t>(cells.rows, room);
    if (placed.rowBytes == 0) {
        // Billions of rows without a byte would only take time.
        nextRow += std::max<std::int64_t>(count, 0) * (placed.bottomUp ? -1 : 1);
        return;
    }
    for (std::int64_t i = 0; i < count; ++i) {
        // From the bottom up, the first row lands one above the last row's place.
        if (placed.bottomUp) --nextRow;
        const std::int64_t start = nextRow * placed.rowBytes;
        Bytes row;
        for (std::int64_t k = 0; k < placed.rowBytes; ++k)
            row.push_back(
                model::byteAt(data, i * static_cast<std::int64_t>(placed.sourceStride) + k));
        // What the image has no room for reads as zero.
        for (std::int64_t k = 0; k < placed.rowBytes; ++k)
            if (start + k >= static_cast<std::int64_t>(image.size()))
                row[static_cast<std::size_t>(k)] = 0;
        if (placed.bits == 24) model::revRgb(row, static_cast<int>(placed.width), colorDepth_);
        for (std::int64_t k = 0; k < placed.rowBytes; ++k)
            model::putByte(image, start + k, row[static_cast<std::size_t>(k)]);
        if (!placed.bottomUp) ++nextRow;
    }
}

int PlainDevice::drawCells(const PlainCells& cells, const std::optional<Bytes>& data,
                           const std::function<bool(int)>& report) {
    const Placed placed = place(cells);
    if (!data) return TIVAR_OK;
    const std::uint64_t bytes = std::uint64_t{placed.rowBytes} * cells.rows;
    const bool isRow = std::uint64_t{placed.width} * placed.bits <= 0xFFFFFFFF;
    const bool isObtainable = isRow && bytes + 64 <= kLargestBlock;
    if (pending_ ? !hasImage_ : !isObtainable) {
        if (!pending_) known_ = known_ && !isRow;
        return TIVAR_ERR_NO_MEMORY;
    }
    if (pending_) {
        storeRows(cells, placed, *data, image_, imageHeight_, nextRow_);
        return TIVAR_OK;
    }
    std::int64_t nextRow = 0;
    Bytes image(static_cast<std::size_t>(bytes));
    storeRows(cells, placed, *data, image, cells.rows, nextRow);
    writeAlone(placed, cells.rows, image, report);
    return TIVAR_OK;
}

void PlainDevice::writeAlone(const Placed& placed, std::uint32_t rows, Bytes image,
                             const std::function<bool(int)>& report) {
    const auto resolution = static_cast<std::uint32_t>(resolution_);
    const auto bits = static_cast<int>(static_cast<std::int16_t>(placed.bits));
    model::CellFormat format = {static_cast<double>(placed.width), static_cast<double>(rows),
                                resolution, 0};
    if (resolution != 0) {
        format.width = static_cast<double>(extentOf(0, 3)) / resolution;
        format.height = static_cast<double>(extentOf(1, 4)) / resolution;
    }
    const int outputBits = model::negotiate(settings_, format, bits, display_);
    const std::uint32_t width = resolution == 0 ? placed.width : model::toUnsigned(format.width);
    // Scaling is decided before the height is truncated; one that is no number is not scaled.
    const double exactHeight = resolution == 0 ? rows : format.height;
    const std::uint32_t height = model::toUnsigned(exactHeight);
    if (!isWrittenFormat(settings_.colorFormat) || !isTellable(placed.bits) ||
        !isModest(width, height) || !isModest(placed.width, rows))
        known_ = false;
    // The host is asked even where nobody tells what comes of it.
    if (!known_) {
        report(-1);
        return;
    }
    int progress = 0;
    const auto isCancelled = [&] { return report(progress += 20); };
    model::Bitmap current = {placed.width, rows, bits, std::move(image)};
    if (exactHeight < rows) {
        current = model::scale(current, width, height);
        if (isCancelled()) return;
    }
    Bytes palette = colors_;
    bool swaps = bits == 24;
    if (outputBits != bits) {
        const model::Bitmap source = {width, height, bits, current.data};
        const model::Resolved resolved =
            model::changeColorResolution(source, outputBits, bits < 24 ? &colors_ : nullptr);
        current = resolved.bitmap;
        if (resolved.hasTable) palette = resolved.table;
        swaps = outputBits == 24;
        if (isCancelled()) return;
    }
    if (exactHeight > rows) {
        current = model::scale({placed.width, rows, outputBits, current.data}, width, height);
        if (isCancelled()) return;
    }
    if (progress < 50) {
        progress = 30;
        if (isCancelled()) return;
    }
    append(model::writeBmp(settings_, width, height, outputBits, palette, current.data, swaps),
           settings_, width, height, outputBits, palette, true);
}

int PlainDevice::endImage() {
    pending_ = false;
    const bool isWritten = hasImage_;
    hasImage_ = false;
    const auto bits = static_cast<std::uint16_t>(imageBits_);
    model::Description description;
    description.resolution = static_cast<std::int16_t>(resolution_);
    description.width = static_cast<int>(imageWidth_);
    description.height = static_cast<int>(imageHeight_);
    description.displayResolution = display_.xResolution;
    description.displayWidth = static_cast<int>(display_.widthPixels);
    description.displayHeight = static_cast<int>(display_.heightPixels);
    const model::Settings before = settings_;
    const auto divisor =
        static_cast<std::uint32_t>(static_cast<std::int16_t>(description.resolution));
    model::CellFormat format = {static_cast<double>(imageWidth_), static_cast<double>(imageHeight_),
                                divisor, 1};
    if (divisor != 0) {
        format.width /= divisor;
        format.height /= divisor;
    }
    const int outputBits = model::negotiate(settings_, format, 0, display_);
    const std::uint32_t width = model::toUnsigned(format.width);
    const std::uint32_t height = model::toUnsigned(format.height);
    if (!isWritten || !isWrittenFormat(settings_.colorFormat) || !isTellable(imageBits_) ||
        !isModest(width, height) || !isModest(imageWidth_, imageHeight_) ||
        imageWidth_ > 0x7FFFFFFF || imageHeight_ > 0x7FFFFFFF)
        known_ = false;
    if (!known_) return TIVAR_OK;
    model::Picture picture;
    picture.bitmap = {imageWidth_, imageHeight_, bits, image_};
    picture.hasTable = bits < 24;
    picture.table = colors_;
    picture.table.resize(picture.hasTable ? std::size_t{3} << bits : 0);
    const Bytes file = model::exportPicture(picture, description, before);
    const Bytes palette = model::prepareTables(picture, outputBits).palette;
    append(file, before, width, height + (height & 1), outputBits, palette, !file.empty());
    return TIVAR_OK;
}

// Appends a file whose encoded size, the end of its writing, went to a place in the whole output.
void PlainDevice::append(const Bytes& file, const model::Settings& settings, std::uint32_t width,
                         std::uint32_t height, int bits, const Bytes& palette, bool ended) {
    Bytes body = file;
    const bool isEncoded = settings.compressionMode == 228 &&
                           (settings.colorFormat == 219 || settings.colorFormat == 221);
    const auto put = [&](const Bytes& bytes) {
        if (output_.size() < position_ + bytes.size()) output_.resize(position_ + bytes.size());
        std::copy(bytes.begin(), bytes.end(),
                  output_.begin() + static_cast<std::ptrdiff_t>(position_));
        position_ += bytes.size();
    };
    if (!isEncoded || !ended) {
        put(body);
        return;
    }
    const auto field = body.begin() + 34;
    const Bytes size(field, field + 4);
    model::Settings raw = settings;
    raw.compressionMode = 310;
    // The bytes that the size replaces are those of a header without it.
    const Bytes header = model::writeBmp(raw, width, height, bits, palette, {}, false);
    std::copy_n(header.begin() + 34, 4, field);
    put(body);
    position_ = 34;
    put(size);
}

Bytes PlainDevice::queryWindow() const {
    return numbers(window_);
}

Bytes PlainDevice::queryViewport() const {
    const double reply[6] = {viewport_[0], viewport_[4], 0, viewport_[1], viewport_[3], 0};
    return numbers(reply);
}

}  // namespace fuzz
