// Thousands of well-formed operations in random order. The device must stay in one of its states,
// reply within its buffer and, which the sanitizers judge, leave no memory behind.
#include <cmath>
#include <deque>
#include <iterator>
#include <limits>
#include <random>

#include "support/driver_host.h"
#include "support/environment.h"
#include "support/opcode_rows.h"

namespace {

using support::Bytes;
using support::DriverHost;
using support::OpcodeBlock;
using support::OpcodeRow;

class Random {
  public:
    explicit Random(uint32_t seed) : engine_(seed) {}
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(engine_()) % limit; }
    int32_t between(int32_t from, int32_t to) {
        return from + static_cast<int32_t>(below(static_cast<uint32_t>(to - from + 1)));
    }
    template <class T, size_t n>
    T oneOf(const T (&values)[n]) {
        return values[below(static_cast<uint32_t>(n))];
    }
    Bytes bytes(size_t count) {
        Bytes made(count);
        for (uint8_t& byte : made) byte = static_cast<uint8_t>(below(256));
        return made;
    }

  private:
    std::mt19937 engine_;
};

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int32_t kBits[] = {1, 4, 8, 24, 24, 32, 2, 16, 0};

model::Settings drawSettings(Random& random) {
    constexpr int kFormats[] = {215, 219, 221, 221, 222, 222, 216, 217, 218, 220};
    model::Settings settings;
    settings.colorFormat = random.oneOf(kFormats);
    settings.compressionMode = random.between(0, 1) != 0 ? 228 : 310;
    settings.fileType = random.between(331, 333);
    settings.sizeMode = random.between(600, 603);
    settings.resolutionMode = random.between(307, 310);
    settings.pictureWidth = 0.4;
    settings.pictureHeight = 0.3;
    return settings;
}

// Makes one block after the other; data at an address lives as long as the maker.
class BlockMaker {
  public:
    // Without limits the window may be anything, and the viewport then has no resolution: a page of
    // any size would only take long.
    BlockMaker(Random& random, bool boundless) : random_(random), boundless_(boundless) {}

    OpcodeBlock make(uint32_t opcode) {
        switch (opcode) {
            case OP_SET_WINDOW:
                return window();
            case OP_SET_BACKGROUND:
                return OpcodeBlock(opcode).put(16, random_.bytes(3));
            case OP_SET_VIEWPORT:
                return support::viewportBlock({1, 2, 3, 4, 5, 6});
            case OP_SET_SCALE:
                return scale();
            case OP_SET_COLORS:
                return support::colorsBlock(random_.below(300), random_.bytes(random_.below(900)));
            case OP_CELL_ARRAY:
                return cellArray();
            case OP_PRIMITIVE:
                return primitive();
            case OP_POP_ERRORS:
                return support::popBlock(random_.between(-3, 20));
            default:
                return OpcodeBlock(opcode);
        }
    }

  private:
    double corner() {
        const double wild[] = {kInfinity, -kInfinity, std::nan(""), 1e300, -1e300, 1e10, -1e10};
        if (boundless_ && random_.below(2) == 0) return random_.oneOf(wild);
        return random_.between(-30, 30) + 0.25 * random_.below(4);
    }
    OpcodeBlock window() {
        return support::windowBlock({corner(), corner(), corner(), corner(), corner(), corner()});
    }
    OpcodeBlock scale() {
        const double scales[] = {0.254, 0.5, 0.06, 1.0, -0.254, 1e-9, 0.0};
        const auto mode = static_cast<int16_t>(random_.between(-1, 3));
        return support::scaleBlock(mode, boundless_ ? 0.0 : random_.oneOf(scales));
    }
    OpcodeBlock cellArray() {
        int32_t precision = random_.oneOf(kBits);
        const support::CellArrayShape shape = {random_.below(40), random_.below(20), precision,
                                               random_.between(0, 2) * 1.0,
                                               random_.between(0, 2) * 1.0};
        const size_t bytes =
            shape.rows * support::rowBytesOf(shape.cells, static_cast<uint32_t>(precision));
        if (random_.below(3) != 0 || precision == 0)
            return support::cellArrayBlock(shape, random_.bytes(bytes + 1));
        elsewhere_.push_back(random_.bytes(bytes + 1));
        support::CellArrayShape lent = shape;
        lent.precision = precision == 1 && random_.below(2) == 0 ? -32768 : -precision;
        return support::cellArrayBlockAt(lent, elsewhere_.back().data());
    }
    OpcodeBlock primitive() {
        const uint32_t points = random_.below(4);
        if (random_.below(2) == 0) {
            const int32_t sign = random_.below(4) == 0 ? -1 : 1;
            return support::beginImageBlock(
                {random_.between(0, 40), random_.between(0, 20), sign * random_.oneOf(kBits),
                 static_cast<int16_t>(random_.between(-9, 9))},
                points);
        }
        constexpr int32_t kOthers[] = {-6, -6, -6, -6, -8, -7, -4, -3, -1, 0, 1};
        return support::primitiveBlock(random_.oneOf(kOthers), points);
    }

    Random& random_;
    bool boundless_;
    std::deque<Bytes> elsewhere_;
};

// An operation that fits the state more often than not, so that pictures come about.
uint32_t drawOpcode(Random& random) {
    const auto& row = support::kOpcodeRows[random.below(std::size(support::kOpcodeRows))];
    if (random.below(3) == 0) return random.below(20) == 0 ? random.below(5000) : row.opcode;
    constexpr uint32_t kDrawing[] = {1033, 1033, 1034, 1034, 1034, 1314, 767};
    switch (lpEMData->deviceState) {
        case DEV_CLOSED:
            return OP_OPEN;
        case DEV_OPEN:
        case DEV_ENDED:
            return OP_BEGIN_PICTURE;
        case DEV_PICTURE:
            return random.below(3) == 0 ? uint32_t{OP_BEGIN_BODY} : 518 + random.below(4);
        default:
            return random.oneOf(kDrawing);
    }
}

void expectSoundDevice() {
    const int32_t state = lpEMData->deviceState;
    EXPECT_TRUE(state == 1 || state == 2 || state == 4 || state == 8 || state == 16) << state;
    EXPECT_LE(lpEMData->replyPosition, lpEMData->replySize);
    EXPECT_EQ(lpEMData->errors.count, 0);
    EXPECT_EQ(lpEMData->errors.capacity, 0);
}

// Closing and opening again are kept rare; the block of a closed device is the host's to free.
void runOperations(uint32_t seed, int operations) {
    Random random(seed);
    DriverHost host(drawSettings(random));
    host.settings->colorMode = random.between(101, 108);
    host.block[DRIVER_INIT_REPLY_SIZE] = random.below(3) * 500;
    ASSERT_EQ(host.initialise(), 0);
    BlockMaker maker(random, seed % 4 == 0);
    for (int i = 0; i < operations; ++i) {
        const uint32_t opcode = drawOpcode(random);
        if (opcode == OP_CLOSE && random.below(4) != 0) continue;
        host.hook.cancelFrom = random.below(10) == 0 ? 0 : SIZE_MAX;
        const int32_t result = host.send(maker.make(opcode));
        EXPECT_TRUE(result == 0 || result == 300 || result == 303 || result == 901) << result;
        expectSoundDevice();
        if (lpEMData->deviceState == DEV_CLOSED) host.takeMemoryFile();
    }
    host.hook.cancelFrom = SIZE_MAX;
    host.send(OP_CLOSE);
    host.takeMemoryFile();
    EXPECT_EQ(host.terminate(), 0);
    EXPECT_EQ(lpEMData, nullptr);
}

TEST(RandomOperations, AreSurvivedInAnyOrder) {
    const support::EnvironmentVariable display("DISPLAYINFO", "64x48x96x96");
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        runOperations(seed, 120);
    }
}

TEST(RandomOperations, TerminationMayComeAtAnyTime) {
    const support::EnvironmentVariable display("DISPLAYINFO", "64x48x96x96");
    for (uint32_t seed = 1001; seed <= 1100; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Random random(seed);
        DriverHost host(drawSettings(random));
        host.initialise();
        BlockMaker maker(random, false);
        for (uint32_t i = random.below(25); i > 0; --i) {
            host.send(maker.make(drawOpcode(random)));
            if (lpEMData->deviceState == DEV_CLOSED) host.takeMemoryFile();
        }
        EXPECT_EQ(host.terminate(), 0);
    }
}

}  // namespace
