#include "write/session.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "write/own_colors.h"
#include "write/palette.h"
#include "write/row_pass.h"
#include "write/true_color.h"

namespace tivar {
namespace {

constexpr int32_t kOk = TIVAR_RESULT_OK;

// ---- What has to be done ----

// Whether the palette follows from the picture's colours.
bool looksAtColors(const Job& job) {
    return job.source == PixelSource::kReduced &&
           (job.options.colors == TIVAR_COLORS_BEST || job.options.colors == TIVAR_COLORS_FILTER);
}

// The length of encoded rows stands in the header. Where that cannot be put right afterwards, or
// decides whether rows are encoded, they are encoded twice, the first time to be counted.
bool countsFirst(const Job& job, const Target& target) {
    return job.encoded &&
           (job.options.encoding == TIVAR_ENCODING_SMALLEST || target.writeAt == nullptr);
}

bool diffuses(const Job& job) {
    const bool changes = job.source == PixelSource::kReduced || job.source == PixelSource::kHigh;
    return changes && job.options.dither == TIVAR_DITHER_DIFFUSE;
}

// Whether rows come from the top only and the file has them the other way round.
bool turnsRows(const Job& job) {
    return (job.picture.flags & TIVAR_ROWS_IN_ORDER) != 0 &&
           job.options.row_order == TIVAR_BOTTOM_UP;
}

// Whether rows that are turned go to their places in the file one by one.
bool placesRows(const Job& job, const Target& target) {
    return turnsRows(job) && !job.encoded && !diffuses(job) && target.writeAt != nullptr;
}

// Whether the rows of a call-back are needed more than once, or in another order than it has.
bool keepsPicture(const Job& job, const Target& target) {
    if (job.picture.pixels != nullptr) return false;
    const bool turned = turnsRows(job) && !placesRows(job, target);
    return looksAtColors(job) || countsFirst(job, target) || turned;
}

uint64_t passesOf(const Job& job, const Target& target) {
    return uint64_t{1} + (keepsPicture(job, target) ? 1 : 0) + (looksAtColors(job) ? 1 : 0) +
           (countsFirst(job, target) ? 1 : 0);
}

// ---- The file's colours ----

// Rows that lie in memory, as colours.
const uint8_t* readColors(const void* context, uint32_t y, uint8_t* scratch) {
    const auto& session = *static_cast<const Session*>(context);
    return colorsOf(session.colors, memoryRow(session.source, y), scratch);
}

int32_t resultOf(PaletteResult result) {
    if (result == PaletteResult::kNoMemory) return TIVAR_RESULT_NO_MEMORY;
    return result == PaletteResult::kDone ? TIVAR_RESULT_OK : TIVAR_RESULT_CANCELLED;
}

void takeGivenPalette(const TivarOptions& options, ColorTable& table) {
    table.count = options.palette_count;
    std::memcpy(table.entries, options.palette, size_t{table.count} * 3);
}

int32_t obtainPalette(Session& session) {
    const TivarOptions& options = session.job.options;
    const TivarPicture& picture = session.job.picture;
    const ColorRows rows = {picture.width, picture.height, readColors, &session};
    session.table = {};
    switch (options.colors) {
        case TIVAR_COLORS_GIVEN:
            takeGivenPalette(options, session.table);
            return kOk;
        case TIVAR_COLORS_GREYS:
            session.table = greyPalette(options.max_colors);
            return kOk;
        case TIVAR_COLORS_FILTER:
            return resultOf(filterPalette(rows, options.max_colors, session.watch, session.table));
        default:
            return resultOf(choosePalette(rows, options.max_colors,
                                          options.dither != TIVAR_DITHER_NONE, options.threads,
                                          session.watch, session.table, session.exact));
    }
}

int32_t settleColors(Session& session) {
    const Job& job = session.job;
    if (job.source == PixelSource::kIndices) {
        prepareKeptIndices(session.kept, job, session.table);
        return kOk;
    }
    if (job.source == PixelSource::kHigh) {
        const bool ready =
            prepareHighRows(session.high, job.picture.width, job.options.masks, job.options.dither);
        return ready ? kOk : int32_t{TIVAR_RESULT_NO_MEMORY};
    }
    if (job.source != PixelSource::kReduced) return kOk;
    const int32_t result = obtainPalette(session);
    if (result != kOk) return result;
    const int32_t dither = session.exact ? TIVAR_DITHER_NONE : job.options.dither;
    const bool ready =
        preparePaletteRows(session.reduced, session.table, job.picture.width, dither);
    return ready ? kOk : int32_t{TIVAR_RESULT_NO_MEMORY};
}

// ---- Rows ----

uint8_t* colorRowOf(const Session& session, uint32_t slot) {
    return session.colorRows.data + size_t{session.job.picture.width} * 3 * slot;
}

uint8_t* indexRowOf(const Session& session, uint32_t slot) {
    return session.indexRows.data + size_t{session.job.picture.width} * slot;
}

// Where it is not known beforehand; after the first other colour there is nothing left to find out.
void compareWithPalette(Session& session, const uint8_t* colors, const uint8_t* indices) {
    if (session.exact || session.differs) return;
    if (!haveOwnEntries(session.table, colors, indices, session.job.picture.width))
        session.differs = true;
}

void compareWithSteps(Session& session, const uint8_t* colors) {
    const int greenBits = session.job.options.masks == TIVAR_MASKS_555 ? 5 : 6;
    if (!session.differs && !haveOwnSteps(colors, session.job.picture.width, greenBits))
        session.differs = true;
}

// Rows of the picture become rows of indices: in the picture or in the slots from slot on.
void makeIndices(Session& session, uint32_t slot, RowGroup& group) {
    if (session.job.source == PixelSource::kIndices) {
        for (uint32_t i = 0; i < group.count; ++i) {
            const uint8_t* row = group.rows[i];
            group.rows[i] =
                keptIndicesOf(session.kept, session.colors, row, indexRowOf(session, slot + i));
            if (session.kept.blackBeyond) continue;
            const uint8_t* colors = colorsOf(session.colors, row, colorRowOf(session, slot + i));
            compareWithPalette(session, colors, group.rows[i]);
        }
        return;
    }
    uint8_t* indices[kFlightRows];
    for (uint32_t i = 0; i < group.count; ++i) {
        group.rows[i] = colorsOf(session.colors, group.rows[i], colorRowOf(session, slot + i));
        indices[i] = indexRowOf(session, slot + i);
    }
    indexGroup(session.reduced, group, indices);
    for (uint32_t i = 0; i < group.count; ++i)
        compareWithPalette(session, group.rows[i], indices[i]);
    std::copy(indices, indices + group.count, group.rows);
}

// Rows of the picture become rows as the file has them, with the padding zero.
void makeRows(Session& session, uint32_t slot, RowGroup& group, uint8_t* const* out) {
    const Job& job = session.job;
    const auto bits = static_cast<uint32_t>(job.options.bits);
    const uint64_t used = packedRowBytes(job.picture.width, bits);
    if (bits <= 8) makeIndices(session, slot, group);
    for (uint32_t i = 0; i < group.count; ++i) {
        const uint8_t* row = group.rows[i];
        uint8_t* colors = colorRowOf(session, slot + i);
        std::memset(out[i] + used, 0, static_cast<size_t>(session.form.rowBytes - used));
        if (bits <= 8) packIndices(row, job.picture.width, bits, out[i]);
        if (bits == 16) {
            const uint8_t* own = colorsOf(session.colors, row, colors);
            compareWithSteps(session, own);
            putHighRow(session.high, group.places[i], own, out[i]);
        }
        if (bits == 24) putColors24(session.colors, row, colors, out[i]);
        if (bits == 32) putColors32(session.colors, job.keepsAlpha, row, colors, out[i]);
    }
}

// Asks for a row of the picture and puts it into the group: enum TivarResult.
int32_t addRow(Session& session, RowGroup& group, uint32_t y) {
    if (!goOn(session.watch)) return TIVAR_RESULT_CANCELLED;
    const uint8_t* row = rowOf(session.source, y, group.count);
    if (row == nullptr) return TIVAR_RESULT_ROW_FAILED;
    group.places[group.count] = y;
    group.rows[group.count++] = row;
    return kOk;
}

// The row that stands at place in the file.
uint32_t rowAt(const Job& job, uint32_t place) {
    return job.options.row_order == TIVAR_TOP_DOWN ? place : job.picture.height - 1 - place;
}

// ---- Raw files ----

int32_t prepareBlock(Session& session) {
    // What one thread makes stays in the cache; what several make is worth starting them.
    const uint64_t blockBytes = session.threads > 1 ? 1u << 21 : 1u << 18;
    const uint64_t groups = blockBytes / (session.form.rowBytes * session.groupRows);
    const uint64_t rows = std::max<uint64_t>(groups, 1) * session.groupRows;
    session.blockRows = static_cast<uint32_t>(std::min<uint64_t>(rows, session.job.picture.height));
    // Of several threads one block is put while the next is made.
    const uint64_t blocks = session.threads > 1 ? 2 : 1;
    const bool obtained = session.block.obtain(session.form.rowBytes * session.blockRows * blocks);
    return obtained ? kOk : int32_t{TIVAR_RESULT_NO_MEMORY};
}

// Rows of the picture that become a block: row first + step * i its place i.
struct BlockRows {
    uint32_t count;
    uint32_t first;
    int32_t step;
};

uint32_t pictureRow(const BlockRows& rows, uint32_t i) {
    return rows.first + static_cast<uint32_t>(rows.step) * i;
}

uint8_t* rowInBlock(const Session& session, uint32_t i) {
    return session.block.data + session.form.rowBytes * i;
}

int32_t makeRowsInTurn(Session& session, const BlockRows& rows, bool backwards) {
    for (uint32_t n = 0; n < rows.count;) {
        RowGroup group = {};
        uint8_t* out[kFlightRows];
        for (; group.count < session.groupRows && n < rows.count; ++n) {
            const uint32_t i = backwards ? rows.count - 1 - n : n;
            out[group.count] = rowInBlock(session, i);
            const int32_t result = addRow(session, group, pictureRow(rows, i));
            if (result != kOk) return result;
        }
        makeRows(session, 0, group, out);
    }
    return kOk;
}

int32_t putRowsInTurn(Session& session, Output& output) {
    const uint32_t height = session.job.picture.height;
    const int32_t step = session.job.options.row_order == TIVAR_TOP_DOWN ? 1 : -1;
    for (uint32_t place = 0; place < height;) {
        const uint32_t count = std::min(session.blockRows, height - place);
        const BlockRows rows = {count, rowAt(session.job, place), step};
        int32_t result = makeRowsInTurn(session, rows, false);
        if (result != kOk) return result;
        result =
            put(output, session.block.data, static_cast<size_t>(session.form.rowBytes * count));
        if (result != kOk) return result;
        place += count;
        if (!advance(session.watch, count)) return TIVAR_RESULT_CANCELLED;
    }
    return kOk;
}

// Rows in the file's order that are made and not put yet.
struct MadeRows {
    const uint8_t* bytes;
    uint32_t count;
};

int32_t putMadeRows(Session& session, Output& output, const MadeRows& made) {
    const uint64_t length = session.form.rowBytes * made.count;
    return made.count == 0 ? kOk : put(output, made.bytes, static_cast<size_t>(length));
}

// Makes count rows from place on in the file; the caller's thread puts those made before meanwhile.
int32_t makeWhilePutting(Session& session, Output& output, const MadeRows& made, uint32_t place,
                         uint32_t count, uint8_t* out) {
    const uint32_t grain = std::max(kPixelsOfPart / session.job.picture.width, 1u);
    int32_t result = kOk;
    // The first part is the caller's.
    auto work = [&](int worker, uint32_t part, uint32_t) {
        if (part == 0) {
            result = putMadeRows(session, output, made);
            return;
        }
        const uint32_t first = (part - 1) * grain;
        for (uint32_t i = first; i < count && i < first + grain; ++i) {
            const uint32_t y = rowAt(session.job, place + i);
            RowGroup group = {1, {y}, {memoryRow(session.source, y)}};
            uint8_t* row = out + session.form.rowBytes * i;
            makeRows(session, static_cast<uint32_t>(worker), group, &row);
        }
    };
    forParts(1 + (count + grain - 1) / grain, 1, session.threads, work);
    return result;
}

int32_t putRowsTogether(Session& session, Output& output) {
    const uint32_t height = session.job.picture.height;
    uint8_t* out = session.block.data;
    uint8_t* other = out + session.form.rowBytes * session.blockRows;
    MadeRows made = {};
    for (uint32_t place = 0; place < height || made.count > 0;) {
        const uint32_t count = std::min(session.blockRows, height - place);
        for (uint32_t i = 0; i < count; ++i)
            if (!goOn(session.watch)) return TIVAR_RESULT_CANCELLED;
        const int32_t result = makeWhilePutting(session, output, made, place, count, out);
        if (result != kOk) return result;
        if (made.count > 0 && !advance(session.watch, made.count)) return TIVAR_RESULT_CANCELLED;
        made = {out, count};
        place += count;
        std::swap(out, other);
    }
    return kOk;
}

// Rows from the top, which the file has last: blocks are filled from their end.
int32_t placeRawRows(Session& session, const Target& target) {
    const uint32_t height = session.job.picture.height;
    for (uint32_t y = 0; y < height;) {
        const uint32_t count = std::min(session.blockRows, height - y);
        y += count;
        const BlockRows rows = {count, y - 1, -1};
        int32_t result = makeRowsInTurn(session, rows, true);
        if (result != kOk) return result;
        const uint64_t place = session.form.headerBytes + session.form.rowBytes * (height - y);
        result = target.writeAt(target.context, place, session.block.data,
                                static_cast<size_t>(session.form.rowBytes * count));
        if (result != kOk) return result;
        if (!advance(session.watch, count)) return TIVAR_RESULT_CANCELLED;
    }
    return kOk;
}

// ---- Encoded files ----

int32_t putEncodedRows(Session& session, Output& output) {
    const uint32_t height = session.job.picture.height;
    for (uint32_t place = 0; place < height;) {
        RowGroup group = {};
        for (uint32_t at = place; group.count < session.groupRows && at < height; ++at) {
            const int32_t result = addRow(session, group, rowAt(session.job, at));
            if (result != kOk) return result;
        }
        makeIndices(session, 0, group);
        for (uint32_t i = 0; i < group.count; ++i) {
            const uint64_t length = encodeRow(session.encoder, group.rows[i], ++place == height);
            const int32_t result =
                put(output, session.encoder.codes.data, static_cast<size_t>(length));
            if (result != kOk) return result;
        }
        if (!advance(session.watch, group.count)) return TIVAR_RESULT_CANCELLED;
    }
    return kOk;
}

// Encodes every row for nothing but its length; rows that come out longer than raw ones are not
// encoded, if that is left to the library.
int32_t countEncoded(Session& session) {
    Output counter;
    prepareOutput(counter, nullptr);
    const int32_t result = putEncodedRows(session, counter);
    if (result != kOk) return result;
    const uint64_t raw = session.form.rowBytes * session.job.picture.height;
    session.form.pixelBytes = counter.length;
    if (session.job.options.encoding == TIVAR_ENCODING_SMALLEST && raw <= counter.length) {
        session.job.encoded = false;
        session.form = describeForm(session.job, session.table.count, false);
    }
    const bool again =
        session.job.source != PixelSource::kReduced || beginAgain(session.reduced, session.table);
    return again ? kOk : int32_t{TIVAR_RESULT_NO_MEMORY};
}

// ---- The file ----

// Several threads make rows that lie in memory and do not depend on each other.
int threadsOf(const Session& session) {
    const Job& job = session.job;
    const bool inTurn =
        job.source == PixelSource::kReduced ? dependOnOrder(session.reduced) : diffuses(job);
    if (job.encoded || inTurn || session.source.top == nullptr) return 1;
    return threadsForRows(job.picture.width, job.picture.height, job.options.threads);
}

int32_t prepareRows(Session& session) {
    const uint32_t width = session.job.picture.width;
    session.threads = threadsOf(session);
    const uint64_t pixels =
        uint64_t{width} * std::max(static_cast<uint32_t>(session.threads), session.groupRows);
    const bool indexed = session.job.options.bits <= 8;
    if (!session.colorRows.obtain(pixels * 3) || (indexed && !session.indexRows.obtain(pixels)))
        return TIVAR_RESULT_NO_MEMORY;
    if (session.job.encoded &&
        !prepareEncoder(session.encoder, static_cast<uint32_t>(session.job.options.bits), width))
        return TIVAR_RESULT_NO_MEMORY;
    return kOk;
}

int32_t preparePicture(Session& session, const Target& target) {
    const Job& job = session.job;
    session.groupRows = diffuses(job) ? kFlightRows : 1;
    if (!prepareSource(session.source, job.picture, session.groupRows))
        return TIVAR_RESULT_NO_MEMORY;
    prepareColors(session.colors, job);
    if (!keepsPicture(job, target)) return kOk;
    return keepPicture(session.source, session.watch);
}

int32_t putHeaders(Session& session, Output& output) {
    uint8_t bytes[kMostHeaderBytes];
    putHeader(session.job, session.form, session.table, bytes);
    return put(output, bytes, session.form.headerBytes);
}

int32_t writeRaw(Session& session, const Target& target, Output& output) {
    int32_t result = prepareBlock(session);
    if (result != kOk) return result;
    if (session.threads > 1) return putRowsTogether(session, output);
    if (!placesRows(session.job, target)) return putRowsInTurn(session, output);
    result = flush(output);
    return result != kOk ? result : placeRawRows(session, target);
}

int32_t writeEncoded(Session& session, const Target& target, Output& output) {
    const bool counted = session.form.pixelBytes != 0;
    int32_t result = putEncodedRows(session, output);
    if (result == kOk) result = flush(output);
    if (result != kOk || counted) return result;
    session.form.pixelBytes = output.length - session.form.headerBytes;
    if (fileBytes(session.form) > kMostFileBytes) return TIVAR_RESULT_TOO_LARGE;
    uint8_t bytes[kMostHeaderBytes];
    putHeader(session.job, session.form, session.table, bytes);
    return target.writeAt(target.context, 0, bytes, session.form.headerBytes);
}

// Raw files that are too large are refused before anything is looked at.
bool fitsFile(const Job& job) {
    if (job.encoded) return true;
    const FileForm form = describeForm(job, 0, false);
    return fileBytes(form) <= kMostFileBytes;
}

int32_t prepareFile(Session& session, const Target& target) {
    session.watch.total = passesOf(session.job, target) * session.job.picture.height;
    int32_t result = preparePicture(session, target);
    if (result == kOk) result = settleColors(session);
    if (result == kOk) result = prepareRows(session);
    if (result != kOk) return result;
    session.form = describeForm(session.job, session.table.count, session.job.encoded);
    if (countsFirst(session.job, target)) result = countEncoded(session);
    if (result == kOk && fileBytes(session.form) > kMostFileBytes) return TIVAR_RESULT_TOO_LARGE;
    return result;
}

}  // namespace

int32_t writeFile(Session& session, const Target& target) {
    if (!fitsFile(session.job)) return TIVAR_RESULT_TOO_LARGE;
    int32_t result = prepareFile(session, target);
    if (result != kOk) return result;
    const bool known = !session.job.encoded || session.form.pixelBytes != 0;
    if (known && target.expect != nullptr)
        result = target.expect(target.context, fileBytes(session.form));
    if (result != kOk) return result;
    Output output;
    if (!prepareOutput(output, &target)) return TIVAR_RESULT_NO_MEMORY;
    result = putHeaders(session, output);
    if (result != kOk) return result;
    result = session.job.encoded ? writeEncoded(session, target, output)
                                 : writeRaw(session, target, output);
    return result == kOk ? flush(output) : result;
}

}  // namespace tivar
