// Calls of the direct interface: any options on any picture, from memory and from call-backs, to
// sinks and call-backs that fail. What comes out is a sound file that shows what was asked for, or
// an honest refusal.
#include <tivar/write.h>

#include <algorithm>
#include <cstring>

#include "harness/check.h"
#include "harness/heap.h"
#include "harness/pictures.h"
#include "harness/target.h"
#include "model/plain_bmp.h"

namespace {

using fuzz::Bytes;
using fuzz::Input;
using fuzz::require;
using fuzz::requireEqual;
using fuzz::requireSame;
using model::Drawn;

// Room for the histogram of a palette that is chosen.
constexpr std::size_t kRoom = std::size_t{16} << 20;

// ---- What is asked for -------------------------------------------------------------------------

Drawn drawPicture(Input& input) {
    Drawn drawn = {static_cast<std::int32_t>(input.below(8)),
                   1u + input.mostlySmall(90),
                   1u + input.mostlySmall(40),
                   {},
                   {}};
    drawn.height = fuzz::affordableRows(drawn.width, drawn.height);
    drawn.rows = fuzz::drawBytes(input, model::rowBytes(drawn.format, drawn.width) * drawn.height);
    if (!model::isIndexed(drawn.format)) return drawn;
    const std::uint32_t room = 1u << model::bitsOfFormat(drawn.format);
    drawn.palette = fuzz::drawBytes(input, std::size_t{3} * (1 + input.below(room)));
    return drawn;
}

// Mostly what there is, at times what there is not.
std::int32_t choose(Input& input, std::uint32_t count) {
    if (input.oneIn(40)) return input.wildSigned();
    return input.oneIn(2) ? static_cast<std::int32_t>(input.below(count)) : 0;
}

TivarOptions drawOptions(Input& input, const Bytes& palette) {
    constexpr std::int32_t depths[] = {0, 1, 4, 8, 16, 24, 32, 8};
    TivarOptions options = {};
    options.size = sizeof options;
    options.bits = input.oneIn(40) ? input.wildSigned() : input.pick(depths);
    options.header = choose(input, 4);
    options.encoding = choose(input, 3);
    options.row_order = choose(input, 2);
    options.palette_length = choose(input, 2);
    options.masks = choose(input, 2);
    options.x_per_meter = choose(input, 200);
    options.y_per_meter = choose(input, 200);
    options.colors = choose(input, 5);
    if (options.colors == TIVAR_COLORS_GIVEN) {
        options.palette = palette.data();
        options.palette_count = static_cast<std::uint32_t>(palette.size() / 3);
    } else if (input.oneIn(4)) {
        options.max_colors = 2u + input.below(15);
    }
    options.dither = choose(input, 4);
    options.alpha = choose(input, 3);
    if (options.alpha == TIVAR_ALPHA_OVER)
        for (int i = 0; i < 3; ++i) options.background[i] = input.u8();
    return options;
}

// ---- Sources and sinks -------------------------------------------------------------------------

struct Rows {
    static std::int32_t read(void* context, std::uint32_t y, void* row) {
        auto& self = *static_cast<Rows*>(context);
        require(y < self.drawn->height, "the row is one of the picture's");
        require(!self.isInOrder || y == self.given, "rows are asked for from the top");
        require(++self.given <= self.drawn->height, "each row is asked for once");
        if (self.given == self.failsAt) return 1;
        const std::size_t bytes = model::rowBytes(self.drawn->format, self.drawn->width);
        std::memcpy(row, &self.drawn->rows[y * bytes], bytes);
        return 0;
    }

    const Drawn* drawn;
    bool isInOrder;
    std::uint32_t failsAt;
    std::uint32_t given;
};

struct Sink {
    static std::size_t take(void* context, const void* data, std::size_t length) {
        const fuzz::OwnAllocation own;
        auto& self = *static_cast<Sink*>(context);
        require(!self.failed, "nothing follows a failure");
        const auto* from = static_cast<const std::uint8_t*>(data);
        const std::size_t taken = std::min(length, self.room - self.bytes.size());
        self.bytes.insert(self.bytes.end(), from, from + taken);
        self.failed = taken < length;
        return taken;
    }

    std::size_t room;
    Bytes bytes;
    bool failed;
};

// Progress and cancel, of which one at a time says stop.
struct Questions {
    static std::int32_t hear(void* context, std::int32_t percent) {
        auto& self = *static_cast<Questions*>(context);
        require(percent > self.told && percent <= 100, "progress goes on, up to 100");
        self.told = percent;
        return self.answer();
    }
    static std::int32_t ask(void* context) { return static_cast<Questions*>(context)->answer(); }

    std::int32_t answer() {
        require(!hasStopped, "nothing follows a stop");
        hasStopped = ++asked == stopsAt;
        return hasStopped ? 1 : 0;
    }

    std::uint32_t stopsAt;
    std::uint32_t asked;
    std::int32_t told;
    bool hasStopped;
};

TivarPicture recordOf(const Drawn& drawn) {
    TivarPicture picture = {};
    picture.size = sizeof picture;
    picture.format = drawn.format;
    picture.width = drawn.width;
    picture.height = drawn.height;
    picture.pixels = drawn.rows.data();
    picture.palette = drawn.palette.empty() ? nullptr : drawn.palette.data();
    picture.palette_count = static_cast<std::uint32_t>(drawn.palette.size() / 3);
    return picture;
}

// ---- What comes of it --------------------------------------------------------------------------

// Alpha has no place in the Windows header.
TivarOptions asWritten(TivarOptions options) {
    if (options.alpha != TIVAR_ALPHA_DEFAULT || options.header != TIVAR_HEADER_WINDOWS)
        return options;
    options.alpha = TIVAR_ALPHA_OVER;
    std::memset(options.background, 255, 3);
    return options;
}

// The entries that pixels may have: where there are fewer than three, black ones fill the palette.
Bytes choicesOf(const model::BmpFile& file, const TivarOptions& options) {
    Bytes choices = file.palette;
    const std::uint32_t most =
        options.colors == TIVAR_COLORS_GIVEN ? options.palette_count : options.max_colors;
    if (most != 0 && choices.size() > std::size_t{most} * 3) choices.resize(std::size_t{most} * 3);
    return choices;
}

// Undithered files show the nearest colour that they have; exact ones the colour itself.
void checkPixels(const model::BmpFile& file, const Drawn& drawn, const TivarOptions& options,
                 bool isExact) {
    const bool isPlain = options.dither == TIVAR_DITHER_NONE ||
                         (options.dither == TIVAR_DITHER_DEFAULT && file.bits >= 8);
    const Bytes choices = choicesOf(file, options);
    for (std::uint32_t y = 0; y < drawn.height; ++y) {
        for (std::uint32_t x = 0; x < drawn.width; ++x) {
            const model::Rgba wanted = model::wantedColor(drawn, options, x, y);
            const model::Rgba shown = model::colorAt(file, x, y);
            if (isExact) require(shown == wanted, "exact files keep every colour");
            if (!isPlain) continue;
            if (file.bits == 16) {
                requireEqual(model::valueAt(file, x, y), model::wanted16(wanted, options.masks),
                             "the nearest of 16 bits");
            } else if (file.bits <= 8 && !model::isIndexed(drawn.format)) {
                requireEqual(model::distance(shown, wanted),
                             model::nearestDistance(choices, wanted), "the nearest entry");
            }
        }
    }
}

void checkFile(const Bytes& bytes, const Drawn& drawn, const TivarOptions& options,
               const TivarReport& report) {
    model::BmpFile file;
    const std::string complaint = model::readBmp(bytes, file);
    require(complaint.empty(), complaint.c_str());
    requireEqual(file.width, drawn.width, "the width");
    requireEqual(file.height, drawn.height, "the height");
    requireEqual<int>(static_cast<int>(file.bits), model::bitsOfFile(drawn, options), "the depth");
    requireEqual<std::uint64_t>(report.bytes, bytes.size(), "the length told");
    requireEqual<std::uint64_t>(report.colors, file.palette.size() / 3, "the colours told");
    require(report.exact == 1 || file.bits < 24, "true colour is exact");
    checkPixels(file, drawn, asWritten(options), report.exact == 1);
}

struct Outcome {
    std::int32_t result;
    Bytes bytes;
};

Outcome toMemory(const TivarPicture& picture, const TivarOptions& options, TivarReport& report) {
    void* bytes = nullptr;
    std::size_t length = 0;
    report = {};
    report.size = sizeof report;
    const std::int32_t result =
        tivar_write_bmp_memory(&picture, &options, &bytes, &length, &report);
    requireEqual(report.result, result, "the result told");
    require((bytes != nullptr) == (result == TIVAR_RESULT_OK), "a block when there is a file");
    const auto* from = static_cast<const std::uint8_t*>(bytes);
    Outcome outcome = {result, bytes == nullptr ? Bytes() : Bytes(from, from + length)};
    tivar_free(bytes);
    return outcome;
}

// The same file by another way, or the failure that was arranged.
void testOtherWay(Input& input, const Drawn& drawn, const TivarOptions& options,
                  const Outcome& whole) {
    Rows rows = {&drawn, input.oneIn(2), 0, 0};
    TivarPicture picture = recordOf(drawn);
    if (input.oneIn(2)) {
        picture.pixels = nullptr;
        picture.read_row = Rows::read;
        picture.context = &rows;
        if (rows.isInOrder) picture.flags = TIVAR_ROWS_IN_ORDER;
        rows.failsAt = input.oneIn(4) ? input.u8() : 0;
    }
    Sink taken = {input.oneIn(3) ? input.u16() : SIZE_MAX, {}, false};
    const TivarSink sink = {sizeof sink, Sink::take, &taken};
    TivarReport report = {};
    report.size = sizeof report;
    const std::uint32_t failingOne = input.oneIn(4) ? 1u + input.below(12) : 0;
    Questions questions = {input.oneIn(4) ? input.u8() : 0u, 0, -1, false};
    TivarOptions asking = options;
    asking.context = &questions;
    if (input.oneIn(2)) asking.progress = Questions::hear;
    if (input.oneIn(2)) asking.cancel = Questions::ask;
    std::int32_t result = 0;
    {
        const fuzz::FailingAllocation failing(failingOne);
        result = tivar_write_bmp(&picture, &asking, &sink, &report);
    }
    requireEqual(report.result, result, "the result told");
    require((report.text[0] != 0) == (result != TIVAR_RESULT_OK), "a text for what failed");
    if (result == TIVAR_RESULT_OK) requireSame(taken.bytes, whole.bytes, "the same file");
    if (taken.failed) requireEqual<int>(result, TIVAR_RESULT_SINK_FAILED, "a sink that failed");
    if (rows.failsAt != 0 && rows.given == rows.failsAt)
        requireEqual<int>(result, TIVAR_RESULT_ROW_FAILED, "a row that failed");
    require((result == TIVAR_RESULT_CANCELLED) == questions.hasStopped, "stopped when told so");
    if (result == TIVAR_RESULT_NO_MEMORY) require(fuzz::HeapWatch::refused(), "there was memory");
    require(taken.bytes.size() <= whole.bytes.size() &&
                std::equal(taken.bytes.begin(), taken.bytes.end(), whole.bytes.begin()),
            "a sink is given the file's beginning");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const fuzz::HeapWatch watch(kRoom);
    const Drawn drawn = drawPicture(input);
    const Bytes palette = fuzz::drawBytes(input, std::size_t{3} * input.below(20));
    const TivarOptions options = drawOptions(input, palette);
    TivarReport report;
    const Outcome whole = toMemory(recordOf(drawn), options, report);
    if (whole.result != TIVAR_RESULT_OK) {
        require(report.field[0] != 0, "a refusal names its field");
        return 0;
    }
    checkFile(whole.bytes, drawn, options, report);
    testOtherWay(input, drawn, options, whole);
    return 0;
}
