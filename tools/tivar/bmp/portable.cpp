#include "bmp/portable.h"

#include "bmp/bmp_file.h"
#include "bmp/little_endian.h"
#include "bmp/rle_encoder.h"
#include "picture/pixel_rows.h"

namespace tool {

std::vector<uint8_t> encodePortable(std::vector<uint8_t> raw) {
    const BmpFile file = parseBmp(std::move(raw));
    std::vector<uint8_t> coded(file.bytes.begin(),
                               file.bytes.begin() + static_cast<ptrdiff_t>(file.pixelsAt));
    RleEncoder encoder(file.bits);
    std::vector<uint8_t> indices(static_cast<size_t>(file.width));
    const uint8_t* row = pixelBytes(file).data();
    for (uint64_t y = 0; y < file.rows; ++y, row += file.rowBytes) {
        for (size_t x = 0; x < indices.size(); ++x) indices[x] = indexAt(row, x, file.bits);
        encoder.encodeRow(indices, coded);
    }
    appendEndOfBitmap(coded);
    putLittle32(&coded[kBmpFileSize], static_cast<uint32_t>(coded.size()));
    putLittle32(&coded[kBmpCompressionField], file.bits == 8 ? kBmpRle8 : kBmpRle4);
    putLittle32(&coded[kBmpImageSize], static_cast<uint32_t>(coded.size() - file.pixelsAt));
    return coded;
}

}  // namespace tool
