// Streams over files, blocks, documents and compound files: random operations against plain bytes,
// and, where nothing describes what must come of them, operations that no sound host would ask for.
#include <tivar/memory.h>
#include <tivar/stream.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <string>

#include "base/memory.h"
#include "harness/check.h"
#include "harness/heap.h"
#include "harness/pictures.h"
#include "harness/scratch.h"
#include "harness/target.h"
#include "io/plain_stream.h"
#include "io/stream_record.h"

namespace {

using fuzz::Bytes;
using fuzz::Input;
using fuzz::require;
using fuzz::requireEqual;
using fuzz::requireSame;

// Around the stream's buffer at times.
std::int32_t makeCount(Input& input) {
    constexpr std::int32_t large[] = {4096, 12287, 12288, 12289, 15000, 24576, 24577, 40000};
    return input.oneIn(32) ? input.pick(large) : static_cast<std::int32_t>(input.below(70));
}

// Of large sizes, one in eight stays.
std::size_t affordable(std::size_t size) {
    constexpr std::size_t kSmall = 400;
    return size <= kSmall || size % 8 == 0 ? size : size % kSmall;
}

std::int32_t makeOffset(Input& input) {
    return input.oneIn(2) ? static_cast<std::int32_t>(input.u16())
                          : static_cast<std::int32_t>(input.u8());
}

// --- Against plain bytes
// --------------------------------------------------------------------------

// The line routines in terms of the plain stream's.
struct PlainLines {
    plain::Stream& stream;
    int format = 2;

    std::int32_t readByte(std::uint8_t& byte) const {
        static Bytes one;
        const std::int32_t result = stream.read(one, 1);
        if (result == 1) byte = one[0];
        return result;
    }

    // The buffer keeps what nothing is stored to.
    std::int32_t read(Bytes& buffer) const {
        std::size_t count = 0;
        const auto end = [&] {
            if (count < buffer.size()) buffer[count] = 0;
        };
        end();
        while (count < buffer.size()) {
            std::uint8_t byte = 0;
            if (readByte(byte) < 1) return -1;
            if (byte == 13) {
                if (readByte(byte) < 1) return -1;
                if (byte != 10) stream.seek(-1, SEEK_CUR);
                break;
            }
            if (byte == 10) break;
            buffer[count++] = byte;
            end();
        }
        return static_cast<std::int32_t>(count);
    }

    std::int32_t write(const Bytes& text) const {
        const std::int32_t written = stream.write(text);
        std::int32_t ending = 1;
        if (format != 2) ending = stream.write({13});
        if (format != 1 && ending == 1) ending = stream.write({10});
        return ending == 1 ? written : ending;
    }

    std::int32_t detect() const {
        std::int32_t found = -1;
        for (std::uint8_t byte = 0; found < 0 && readByte(byte) >= 1;) {
            if (byte == 10) found = 2;
            if (byte != 13) continue;
            found = readByte(byte) >= 1 && byte == 10 ? 0 : 1;
        }
        stream.seek(0, SEEK_SET);
        return found;
    }
};

struct Pair {
    OxlStream stream;
    plain::Stream& plain;
    bool inBlock;
    std::int32_t growStep;
    PlainLines lines{plain};

    void write(Input& input) const {
        const Bytes bytes = fuzz::drawBytes(input, static_cast<std::size_t>(makeCount(input)));
        const std::uint8_t none = 0;
        requireEqual(oxlWrite(stream, bytes.empty() ? &none : bytes.data(),
                              static_cast<std::int32_t>(bytes.size())),
                     plain.write(bytes), "the bytes written");
    }

    void read(Input& input) const {
        const std::int32_t count = makeCount(input);
        Bytes bytes(static_cast<std::size_t>(count) + 1, 0xA5);
        Bytes expected;
        const std::int32_t wanted = plain.read(expected, count);
        const std::int32_t result = oxlRead(stream, bytes.data(), count);
        requireEqual(result, wanted, "the bytes read");
        if (result < 0) return;
        bytes.resize(static_cast<std::size_t>(result));
        requireSame(bytes, expected, "what was read");
    }

    void seek(Input& input) const {
        constexpr int whences[] = {SEEK_SET, SEEK_SET, SEEK_CUR, SEEK_CUR,
                                   SEEK_END, SEEK_END, 3,        -1};
        const int whence = input.pick(whences);
        std::int32_t offset = makeOffset(input);
        if (input.oneIn(whence == SEEK_SET ? 16 : 2)) offset = -offset;
        // From a block's end the plain stream reaches no farther than one step of growth.
        if (inBlock && whence == SEEK_END)
            offset = std::clamp(offset, -1 - plain.high(), std::max(growStep - 1, 0));
        requireEqual(oxlSeek(stream, offset, whence), plain.seek(offset, whence), "the new place");
    }

    void readLine(Input& input) const {
        Bytes line(1 + input.below(64), 0xA5);
        Bytes expected = line;
        const std::int32_t wanted = lines.read(expected);
        requireEqual(oxlReadLine(stream, reinterpret_cast<char*>(line.data()),
                                 static_cast<std::int32_t>(line.size())),
                     wanted, "the line's length");
        requireSame(line, expected, "the line");
    }

    void writeLine(Input& input) const {
        const std::string text = input.text(40);
        requireEqual(oxlWriteLine(stream, text.c_str(), static_cast<std::int32_t>(text.size())),
                     lines.write(Bytes(text.begin(), text.end())), "the line written");
    }

    void setFormat(Input& input) {
        lines.format = static_cast<int>(input.below(4));
        oxlSetLineFormat(stream, static_cast<std::int16_t>(lines.format));
    }

    void step(Input& input) {
        switch (input.below(16)) {
            case 0:
            case 1:
            case 2:
            case 3:
                write(input);
                break;
            case 4:
            case 5:
            case 6:
                read(input);
                break;
            case 7:
            case 8:
            case 9:
                seek(input);
                break;
            case 10:
                requireEqual(FlushOxlIO(stream), plain.flush(), "the flush");
                break;
            case 11:
                requireEqual(FillOxlIOBuf(stream), plain.fill(), "the filled buffer");
                break;
            case 12:
                readLine(input);
                break;
            case 13:
                writeLine(input);
                break;
            case 14:
                requireEqual(oxlGetLineFormat(stream), lines.detect(), "the line format");
                break;
            default:
                setFormat(input);
                break;
        }
        requireEqual(oxlSeek(stream, 0, SEEK_CUR), plain.position(), "the place");
    }

    void run(Input& input) {
        for (int i = 0; i < 40 && !input.empty(); ++i) step(input);
        requireEqual(oxlClose(stream) == 0, plain.close() == 0, "closing");
    }
};

struct Opening {
    std::int32_t mode;
    const char* lentAs;  // null: opened by name
    bool truncates;
    bool reads;
    bool writes;
};

void testFile(Input& input) {
    constexpr Opening openings[] = {
        {0, nullptr, false, true, false},    {1, nullptr, true, true, true},
        {2, nullptr, false, true, true},     {3, nullptr, false, true, true},
        {0x1000, nullptr, true, true, true}, {0x1001, nullptr, true, true, true},
        {0x1002, nullptr, true, true, true}, {0x0100, nullptr, false, true, false},
        {OXL_LENT, "r", false, true, false}, {OXL_LENT, "r+", false, true, true},
        {OXL_LENT, "w", true, false, true},  {OXL_LENT, "w+", true, true, true}};
    const Opening opening = input.pick(openings);
    const std::size_t size = input.oneIn(4) ? affordable(input.u16() % 40000u) : input.below(80);
    Bytes file = fuzz::drawBytes(input, size);
    const std::string path = fuzz::scratchPath("stream");
    fuzz::writeFile(path, file);
    FILE* lent = opening.lentAs == nullptr ? nullptr : std::fopen(path.c_str(), opening.lentAs);
    OxlStreamDesc descriptor = {};
    descriptor.lentFile = reinterpret_cast<HostWord>(lent);
    const OxlStream stream = oxlOpen(path.c_str(), &descriptor, opening.mode);
    require(stream != 0, "the file opens");
    if (opening.truncates) file.clear();
    plain::Stream plain =
        plain::Stream::overFile(file, opening.mode, opening.reads, opening.writes);
    Pair{stream, plain, false, 0}.run(input);
    if (lent != nullptr) std::fclose(lent);
    requireSame(fuzz::readFile(path), file, "the file");
    fuzz::removeFile(path);
}

void testBlock(Input& input) {
    constexpr std::int32_t modes[] = {0, 1, 2, 3, 0x1000, 0x1001, 0x1002, 0x1001};
    constexpr std::int32_t steps[] = {0, 1, 3, 16, 100, 4096, 1, 4096};
    const std::int32_t mode = input.pick(modes);
    const std::int32_t growStep = input.pick(steps);
    Bytes bytes = fuzz::drawBytes(input, 1 + (input.oneIn(8) ? input.u16() % 5000u : input.u8()));
    auto size = static_cast<std::int32_t>(bytes.size());
    if (input.oneIn(2)) size = 1 + static_cast<std::int32_t>(input.u16() % bytes.size());
    // The shown part ends with a mark and zeros, as a closed stream's does.
    const std::uint32_t mark = input.u16() % static_cast<std::uint32_t>(size);
    for (std::uint32_t i = mark; i < static_cast<std::uint32_t>(size); ++i)
        bytes[i] = i == mark ? 0xFF : 0;
    void* block = GlobalLock(fuzz::newBlock(bytes));
    OxlStreamDesc descriptor = {};
    descriptor.target = reinterpret_cast<HostWord>(&block);
    descriptor.size = static_cast<HostWord>(size);
    descriptor.growStep = static_cast<HostWord>(growStep);
    const OxlStream stream = oxlOpen(nullptr, &descriptor, mode);
    require(stream != 0, "the block opens");
    plain::Stream plain = plain::Stream::overBlock(bytes, size, growStep, mode);
    require(descriptor.size == static_cast<HostWord>(size), "the size comes back trimmed");
    Pair{stream, plain, true, growStep}.run(input);
    const support::Block after(GlobalHandle(block));
    requireSame(after.contents(), plain.block(), "the block");
}

// --- Documents
// ------------------------------------------------------------------------------------

// Answers as told and remembers the last call.
struct Document {
    intptr_t first = 0;
    std::int32_t operation = 0;
    intptr_t a = 0;
    intptr_t b = 0;
    std::int32_t offset = 0;
    int calls = 0;
    intptr_t answer = 0;

    static Document& current() {
        static Document instance;
        return instance;
    }
    static intptr_t serve(intptr_t first, std::int32_t operation, intptr_t a, intptr_t b) {
        Document& self = current();
        self = {first, operation, a, b, 0, self.calls + 1, self.answer};
        if (operation == 4) std::memcpy(&self.offset, reinterpret_cast<void*>(a), sizeof offset);
        return self.answer;
    }

    // What the last call since the one before was.
    void require(intptr_t wantedFirst, std::int32_t wantedOperation) {
        fuzz::requireEqual(calls, 1, "one call");
        fuzz::require(first == wantedFirst && operation == wantedOperation, "the document's call");
        calls = 0;
    }
};

void testDocument(Input& input) {
    Document& document = Document::current();
    document = {};
    constexpr intptr_t handle = 0x1234;
    constexpr HostWord target = 77;
    OxlStreamDesc descriptor = {};
    descriptor.target = target;
    descriptor.documentProc = reinterpret_cast<HostWord>(&Document::serve);
    descriptor.lentDocument = static_cast<HostWord>(handle);
    const bool lent = input.oneIn(4);
    const std::string name = input.text(20);
    document.answer = handle;
    const OxlStream stream = oxlOpen(name.c_str(), &descriptor, lent ? OXL_LENT : 4097);
    require(stream != 0, "the document opens");
    if (!lent) document.require(target, 1);
    std::uint8_t bytes[300] = {};
    for (int i = 0; i < 20 && !input.empty(); ++i) {
        document.answer = input.wildSigned();
        const auto expected = static_cast<std::int32_t>(document.answer);
        const auto count = static_cast<std::int32_t>(input.u8());
        switch (input.below(3)) {
            case 0:
                requireEqual(oxlRead(stream, bytes, count), expected, "the document's answer");
                document.require(handle, 2);
                require(document.b == count, "the count");
                break;
            case 1:
                requireEqual(oxlWrite(stream, bytes, count), expected, "the document's answer");
                document.require(handle, 3);
                require(document.b == count, "the count");
                break;
            default: {
                const std::int32_t offset = input.wildSigned();
                requireEqual(oxlSeek(stream, offset, count), expected, "the document's answer");
                document.require(handle, 4);
                require(document.offset == offset && document.b == count, "the place");
            }
        }
    }
    const bool deletes = input.oneIn(2);
    requireEqual(deletes ? oxlCloseandDelete(stream, name.c_str()) : oxlClose(stream), 0,
                 "documents close");
    document.require(handle, 5);
    require(document.b == (deletes ? 512 : 0), "how it closes");
}

// --- Compound files
// -------------------------------------------------------------------------------

struct Container {
    explicit Container(Input& input) {
        sectors = 1 + input.below(12);
        file = fuzz::drawBytes(input, (sectors + 1) * 512);
        // The last sector may be cut off.
        if (input.oneIn(4)) file.resize(file.size() - input.u16() % 512u);
        for (std::uint32_t i = 0; i < sectors; ++i) table.push_back(input.u8() % sectors);
        const std::uint32_t minis = 1 + input.below(16);
        for (std::uint32_t i = 0; i < minis; ++i) miniTable.push_back(input.u8() % minis);
        miniStart = input.u8() % sectors;
        isMini = input.oneIn(2);
        length = isMini ? input.u16() % 4096u : 4096 + input.u16() % 4096u;
        start = input.u8() % (isMini ? minis : sectors);
    }

    // The place in the file of a position in the stream.
    std::uint32_t place(std::uint32_t position) const {
        if (!isMini) return (walk(table, start, position / 512) + 1) * 512 + position % 512;
        const std::uint32_t mini = walk(miniTable, start, position / 64);
        const std::uint32_t inMiniStream = mini * 64 + position % 64;
        return (walk(table, miniStart, inMiniStream / 512) + 1) * 512 + inMiniStream % 512;
    }
    static std::uint32_t walk(const std::vector<std::uint32_t>& chain, std::uint32_t from,
                              std::uint32_t steps) {
        while (steps-- > 0) from = chain[from];
        return from;
    }

    std::uint32_t sectors;
    Bytes file;
    std::vector<std::uint32_t> table;
    std::vector<std::uint32_t> miniTable;
    std::uint32_t miniStart;
    std::uint32_t start;
    std::uint32_t length;
    bool isMini;
};

Bytes rawBytes(const std::vector<std::uint32_t>& words) {
    Bytes bytes(words.size() * sizeof words[0]);
    std::memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}

void readEmbedded(Input& input, OxlStream stream, const Container& container,
                  std::uint32_t& position) {
    const auto count = static_cast<std::uint32_t>(input.u16() % 2000u);
    Bytes bytes(count + 1u, 0xA5);
    const auto result = oxlRead(stream, bytes.data(), static_cast<std::int32_t>(count));
    const std::uint32_t wanted = std::min(count, container.length - position);
    require(result >= 0 && static_cast<std::uint32_t>(result) <= wanted, "no more than is left");
    for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(result); ++i) {
        const std::uint32_t place = container.place(position + i);
        // What the file lacks stays as it was, and ends the read.
        if (place >= container.file.size()) break;
        require(bytes[i] == container.file[place], "the embedded byte");
    }
    if (container.file.size() % 512 == 0)
        require(static_cast<std::uint32_t>(result) == wanted, "all that is left");
    position += static_cast<std::uint32_t>(result);
}

void testEmbedded(Input& input) {
    const Container container(input);
    const std::string path = fuzz::scratchPath("container");
    fuzz::writeFile(path, container.file);
    const OxlStream stream = oxlOpen(path.c_str(), nullptr, OXL_READ);
    require(stream != 0, "the container opens");
    const support::Block sectorTable(fuzz::newBlock(rawBytes(container.table)));
    const support::Block miniTable(fuzz::newBlock(rawBytes(container.miniTable)));
    std::uint32_t position = 0;
    {
        const tivar::Locked<tivar::StreamRecord> record(stream);
        record->embedded = {0,
                            1,
                            sectorTable.handle,
                            miniTable.handle,
                            container.miniStart,
                            container.start,
                            container.length};
    }
    for (int i = 0; i < 12 && !input.empty(); ++i) {
        if (input.oneIn(2)) {
            readEmbedded(input, stream, container, position);
            continue;
        }
        const auto whence = static_cast<std::int32_t>(input.below(4));
        const auto offset = static_cast<std::int32_t>(input.i16());
        const std::int64_t wanted = whence == SEEK_SET   ? offset
                                    : whence == SEEK_CUR ? std::int64_t{position} + offset
                                                         : std::int64_t{container.length} - offset;
        const auto held =
            static_cast<std::uint32_t>(std::clamp<std::int64_t>(wanted, 0, container.length));
        if (whence != 3) position = held;
        requireEqual<std::int64_t>(oxlSeek(stream, offset, whence),
                                   whence == 3 ? -1 : std::int64_t{held}, "the embedded place");
    }
    oxlClose(stream);
    fuzz::removeFile(path);
}

// --- Anything goes
// --------------------------------------------------------------------------------

// An endless stream, a device or a file with a hole of gigabytes, is not searched for a line.
void hostileStep(Input& input, OxlStream stream, bool isEndless) {
    Bytes bytes(64);
    const auto count = static_cast<std::int32_t>(input.below(65));
    const std::int32_t offset = input.wildSigned();
    switch (input.below(12)) {
        case 0:
            oxlRead(stream, bytes.data(), input.oneIn(4) ? -count : count);
            break;
        case 1:
            oxlWrite(stream, bytes.data(), input.oneIn(4) ? -count : count);
            break;
        case 2:
        case 3:
            oxlSeek(stream, offset, static_cast<std::int32_t>(input.below(4)));
            break;
        case 4:
            oxlSeek(stream, offset, input.wildSigned());
            break;
        case 5:
            FlushOxlIO(stream);
            break;
        case 6:
            FillOxlIOBuf(stream);
            break;
        case 7:
            oxlReadLine(stream, reinterpret_cast<char*>(bytes.data()), count);
            break;
        case 8:
            oxlWriteLine(stream, reinterpret_cast<char*>(bytes.data()), count);
            break;
        case 9:
            if (!isEndless) oxlGetLineFormat(stream);
            break;
        case 10:
            oxlRead(stream, nullptr, count);
            oxlWrite(stream, nullptr, count);
            break;
        default:
            docRead(stream, bytes.data(), count);
            docSeek(stream, offset, input.wildSigned());
            break;
    }
}

void testHostile(Input& input) {
    const std::string path = fuzz::scratchPath("hostile");
    fuzz::writeFile(path, fuzz::drawBytes(input, input.u8()));
    const Bytes bytes = fuzz::drawBytes(input, input.u8());
    void* block = GlobalLock(fuzz::newBlock(bytes));
    OxlStreamDesc descriptor = {};
    descriptor.target = reinterpret_cast<HostWord>(&block);
    descriptor.size = input.oneIn(2) ? bytes.size() : input.wild();
    descriptor.growStep = input.wild();
    const bool named = input.oneIn(2);
    const std::uint32_t kind = input.below(4);
    const std::string name = !named      ? ""
                             : kind == 0 ? path
                             : kind == 1 ? fuzz::deviceLink("/dev/null")
                             : kind == 2 ? fuzz::deviceLink("/dev/full")
                                         : fuzz::scratchPath("");
    const auto mode = static_cast<std::int32_t>(input.u16() & 0x1103);
    {
        const fuzz::FailingAllocation failing(input.oneIn(4) ? input.below(8) : 0);
        const OxlStream stream = oxlOpen(name.c_str(), &descriptor, mode);
        for (int i = 0; i < 24 && !input.empty(); ++i) hostileStep(input, stream, named);
        if (input.oneIn(8))
            oxlCloseandDelete(stream, name.c_str());
        else
            oxlClose(stream);
    }
    GlobalFree(GlobalHandle(block));
    fuzz::removeFile(path);
}

// A name that is copied, found and deleted.
void testNames(Input& input) {
    const std::string source = fuzz::scratchPath("source");
    const std::string target = fuzz::scratchPath("target");
    const Bytes bytes = fuzz::drawBytes(input, affordable(input.u16() % 40000u));
    fuzz::writeFile(source, bytes);
    requireEqual(oxlCopy(source.c_str(), target.c_str()), 0, "the copy is complete");
    requireSame(fuzz::readFile(target), bytes, "the copy");
    require(oxlOpen(target.c_str(), nullptr, OXL_EXISTS) != static_cast<OxlStream>(-1),
            "the copy exists");
    require(oxlOpen(target.c_str(), nullptr, OXL_DELETE) == 1, "the copy is deleted");
    require(!fuzz::fileExists(target), "the copy is gone");
    require(oxlOpen(target.c_str(), nullptr, OXL_EXISTS) == static_cast<OxlStream>(-1),
            "the copy exists no more");
    require(oxlOpen(target.c_str(), nullptr, OXL_DELETE) == 0, "nothing is left to delete");
    fuzz::removeFile(source);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    fuzz::scratchPath("");
    const fuzz::HeapWatch watch;
    switch (input.below(16)) {
        case 0:
        case 1:
        case 2:
        case 3:
        case 4:
            testFile(input);
            break;
        case 5:
        case 6:
        case 7:
        case 8:
        case 9:
            testBlock(input);
            break;
        case 10:
            testDocument(input);
            break;
        case 11:
        case 12:
            testEmbedded(input);
            break;
        case 13:
        case 14:
            testHostile(input);
            break;
        default:
            testNames(input);
            break;
    }
    return 0;
}
