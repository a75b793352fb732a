#include "harness/pictures.h"

#include <algorithm>

#include "harness/check.h"
#include "harness/heap.h"
#include "support/random_numbers.h"
#include "support/taken_settings.h"

namespace fuzz {
namespace {

using support::Random;

enum Style { kFromInput, kNoise, kRuns, kFewValues, kGreyTriples, kNearGreyTriples, kStyles };

// A picture that need not be sound lacks the rows behind them.
constexpr std::size_t kMostBytes = std::size_t{1} << 13;

std::size_t bytesOf(const Picture& picture, std::size_t most) {
    const std::uint64_t stride = (std::uint64_t{picture.width} * picture.bits + 31) / 32 * 4;
    return static_cast<std::size_t>(std::min<std::uint64_t>(stride * picture.height, most));
}

std::size_t tableBytesOf(const Picture& picture) {
    return picture.bits <= 8 ? std::size_t{3} << picture.bits : 0;
}

std::uint16_t makeSide(Input& input) {
    return input.oneIn(32) ? input.u16() : static_cast<std::uint16_t>(input.mostlySmall(72));
}

// Mostly whole, else shorter or longer.
void cut(Input& input, Bytes& block) {
    if (!input.oneIn(8)) return;
    block.resize(std::min<std::size_t>(input.u16(), block.size() + 8));
}

}  // namespace

MemHandle newBlock(const Bytes& bytes) {
    const OwnAllocation own;
    return support::newBlock(bytes);
}

Bytes drawBytes(Input& input, std::size_t count) {
    const std::uint32_t style = input.below(kStyles);
    const Bytes seed = input.bytes(style == kFromInput ? 1 + input.below(64) : 2);
    const auto seedAt = [&](std::size_t i) {
        return seed.empty() ? std::uint8_t{0} : seed[i % seed.size()];
    };
    Random random(seedAt(0) * 256u + seedAt(1));
    Bytes drawn(count);
    std::uint8_t current = seedAt(0);
    for (std::size_t i = 0; i < count; ++i) {
        if (style == kFromInput) {
            current = seedAt(i);
        } else if (style == kNoise) {
            current = random.byte();
        } else if (style == kRuns) {
            if (random() % 37 == 0) current = random.byte();
        } else if (style == kFewValues) {
            current = static_cast<std::uint8_t>(seedAt(0) + random() % 5 * seedAt(1));
        } else if (i % 3 == 0) {
            current = random.byte();
        } else if (style == kNearGreyTriples) {
            current = static_cast<std::uint8_t>(current + random() % 7);
        }
        drawn[i] = current;
    }
    return drawn;
}

Picture makePicture(Input& input) {
    constexpr std::uint16_t depths[] = {24, 8, 4, 1, 32, 24, 8, 2, 16, 0, 7, 12, 31, 24, 8, 4};
    Picture picture = {};
    picture.bits = input.oneIn(64) ? input.u16() : input.pick(depths);
    picture.width = makeSide(input);
    picture.height = static_cast<std::uint16_t>(affordableRows(picture.width, makeSide(input)));
    picture.hasPixels = !input.oneIn(64);
    picture.hasTable = !input.oneIn(picture.bits > 8 ? 2 : 16);
    picture.pixels = drawBytes(input, bytesOf(picture, kMostBytes));
    cut(input, picture.pixels);
    picture.table = drawBytes(input, picture.bits > 8 ? 768 : tableBytesOf(picture));
    cut(input, picture.table);
    return picture;
}

Picture makeSoundPicture(Input& input) {
    constexpr std::uint16_t depths[] = {24, 8, 4, 1};
    Picture picture = {};
    picture.bits = input.pick(depths);
    picture.width = static_cast<std::uint16_t>(1 + input.mostlySmall(80));
    picture.height =
        static_cast<std::uint16_t>(affordableRows(picture.width, 1 + input.mostlySmall(48)));
    picture.hasPixels = true;
    picture.hasTable = picture.bits <= 8;
    picture.pixels = drawBytes(input, bytesOf(picture, SIZE_MAX));
    picture.table = drawBytes(input, tableBytesOf(picture));
    return picture;
}

model::Picture toModel(const Picture& picture) {
    return {{picture.width, picture.height, picture.bits, picture.pixels},
            picture.table,
            picture.hasTable};
}

model::Settings makeSettings(Input& input, bool sane) {
    constexpr int formats[] = {221, 222, 219, 215, 221, 222, 219, 215,
                               221, 222, 219, 216, 217, 218, 220, 0};
    constexpr int modes[] = {602, 602, 602, 600, 601, 603, 0, 602};
    constexpr int resolutions[] = {309, 309, 309, 307, 308, 310, 0, 309};
    model::Settings settings;
    settings.colorFormat = formats[input.below(sane ? 4 : 16)];
    settings.compressionMode = input.oneIn(2) ? 228 : 310;
    settings.fileType = input.oneIn(3) ? 332 : 331;
    if (sane) return settings;
    settings.sizeMode = input.pick(modes);
    settings.resolutionMode = input.pick(resolutions);
    if (input.oneIn(2)) return settings;
    settings.pictureWidth = input.number();
    settings.pictureHeight = input.number();
    settings.xResolution = input.oneIn(4) ? input.i16() : input.u8();
    settings.yResolution = input.oneIn(4) ? input.i16() : input.u8();
    return settings;
}

model::Description makeDescription(Input& input, const Picture& picture, bool sane) {
    model::Description description;
    description.resolution = 96;
    description.width = picture.width;
    description.height = picture.height;
    if (input.oneIn(2)) return description;
    if (sane || input.oneIn(2)) {
        description.width = static_cast<int>(1 + input.mostlySmall(100));
        description.height = static_cast<int>(affordableRows(
            static_cast<std::uint32_t>(description.width), 1 + input.mostlySmall(60)));
        return description;
    }
    description.resolution = input.oneIn(4) ? input.i16() : input.u8();
    description.width = input.wildSigned();
    description.height = input.wildSigned();
    if (input.oneIn(2)) return description;
    description.displayResolution = input.oneIn(4) ? input.i16() : input.u8();
    description.displayWidth = input.wildSigned();
    description.displayHeight = input.wildSigned();
    return description;
}

SettingsBlock::SettingsBlock(const model::Settings& settings)
    : handle(newBlock(Bytes(sizeof(SetupRecord)))),
      record(static_cast<SetupRecord*>(GlobalLock(handle))) {
    UseDefaultSettings(record);
    support::takeSettings(*record, settings);
}

PictureBlocks::PictureBlocks(const Picture& source, const model::Description& wanted)
    : pixels(source.hasPixels ? newBlock(source.pixels) : 0),
      table(source.hasTable ? newBlock(source.table) : 0),
      picture(),
      description() {
    picture.bits = source.bits;
    picture.width = source.width;
    picture.height = source.height;
    picture.pixels = pixels.handle;
    picture.colorTable = table.handle;
    description.displayResolution = static_cast<std::int16_t>(wanted.displayResolution);
    description.resolution = static_cast<std::int16_t>(wanted.resolution);
    description.width = wanted.width;
    description.height = wanted.height;
    description.displayWidth = wanted.displayWidth;
    description.displayHeight = wanted.displayHeight;
}

Extent negotiatedExtent(model::Settings settings, const model::Description& description) {
    const auto divisor =
        static_cast<std::uint32_t>(static_cast<std::int16_t>(description.resolution));
    model::CellFormat format = {static_cast<double>(description.width),
                                static_cast<double>(description.height), divisor, 1};
    if (divisor != 0) {
        format.width /= divisor;
        format.height /= divisor;
    }
    const auto display = static_cast<std::int16_t>(description.displayResolution);
    const int bits =
        model::negotiate(settings, format, 0,
                         {static_cast<double>(description.displayWidth),
                          static_cast<double>(description.displayHeight), display, display});
    return {model::toUnsigned(format.width), model::toUnsigned(format.height), bits};
}

bool isAffordable(const Picture& picture, const Extent& extent) {
    constexpr std::uint64_t most = 1u << 12;
    return std::uint64_t{picture.width} * picture.height <= most &&
           std::uint64_t{extent.width} * extent.height <= most && extent.width <= most &&
           extent.height <= most && picture.isModelled();
}

Bytes fileInBlock(MemHandle block) {
    Bytes bytes = support::blockContents(block);
    while (!bytes.empty() && bytes.back() == 0) bytes.pop_back();
    if (!bytes.empty() && bytes.back() == 0xFF) bytes.pop_back();
    return bytes;
}

intptr_t Document::serve(intptr_t first, std::int32_t operation, intptr_t a, intptr_t b) {
    if (first == 0) return 0;
    auto& self = *reinterpret_cast<Document*>(first);
    const auto* source = reinterpret_cast<const std::uint8_t*>(a);
    if (operation == 1) {
        ++self.opens;
        return self.served ? first : 0;
    }
    if (operation == 3) {
        const auto wanted = static_cast<std::size_t>(std::max<intptr_t>(b, 0));
        const std::size_t taken = std::min(wanted, self.room - std::min(self.room, self.position));
        self.cut = self.cut || taken < wanted;
        if (self.bytes.size() < self.position + taken) self.bytes.resize(self.position + taken);
        std::copy(source, source + taken,
                  self.bytes.begin() + static_cast<std::ptrdiff_t>(self.position));
        self.position += taken;
        return static_cast<intptr_t>(taken);
    }
    if (operation == 4) {
        std::int32_t offset;
        std::memcpy(&offset, source, sizeof offset);
        require(b == 0 && offset >= 0, "a document is sought from its start");
        self.position = static_cast<std::size_t>(offset);
        return offset;
    }
    if (operation == 5) ++self.closes;
    return 0;
}

std::int32_t Status::answer(intptr_t context, std::int32_t operation, std::int32_t value,
                            std::int32_t a3, std::int32_t percent, std::int32_t a5,
                            intptr_t block) {
    auto& self = *reinterpret_cast<Status*>(context);
    if (operation == 2) {
        require(value == 61 && a3 == 0 && percent == 0 && a5 == 0 && block != 0,
                "the cancel question is well formed");
        self.cancelled = self.cancelled || self.confirmation != 0;
        return self.confirmation;
    }
    require(operation == 0 && a5 == 0 && block == 0, "status calls are well formed");
    require(percent >= 0 && percent <= 100, "progress is a percentage");
    return self.calls++ >= self.cancelFrom ? 1 : 0;
}

}  // namespace fuzz
