// The raster driver: streams of function codes and opcodes in any order, against a plain device
// that follows states, replies and, as far as the plain model reaches, the output byte for byte.
#include <tivar/driver.h>
#include <tivar/export.h>
#include <tivar/filter.h>
#include <tivar/memory.h>
#include <tivar/stream.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "driver/operations.h"
#include "harness/check.h"
#include "harness/heap.h"
#include "harness/pictures.h"
#include "harness/plain_driver.h"
#include "harness/scratch.h"
#include "harness/target.h"
#include "host/sequence.h"
#include "support/opcode_rows.h"
#include "support/taken_settings.h"

namespace {

using fuzz::Bytes;
using fuzz::Document;
using fuzz::Input;
using fuzz::PlainCells;
using fuzz::PlainDevice;
using fuzz::require;
using fuzz::requireEqual;
using fuzz::requireSame;

constexpr double kDisplayWidth = 40;
constexpr double kDisplayHeight = 30;
constexpr std::int16_t kDisplayResolution = 12;

// --- The host
// -------------------------------------------------------------------------------------

// Answers its calls by a pattern and remembers them; its address is the context.
struct Hook {
    struct Call {
        std::int32_t value;
        std::int32_t percent;
        bool cancelled;
    };

    static std::int32_t answer(intptr_t context, std::int32_t operation, std::int32_t value,
                               std::int32_t third, std::int32_t percent, std::int32_t fifth,
                               intptr_t block) {
        auto& self = *reinterpret_cast<Hook*>(context);
        require(fifth == 0, "status calls are well formed");
        if (operation == 2) {
            require(value == 61 && third == 0 && percent == 0 && block != 0,
                    "the cancel question is well formed");
            self.calls.back().cancelled = self.confirmation != 0;
            return self.confirmation;
        }
        require(operation == 0 && block == 0, "status calls are well formed");
        require(value == 0 ? third == 0 : value == -2 && third == 100 && percent == 0,
                "progress, or the start");
        self.calls.push_back({value, percent, false});
        return static_cast<std::int32_t>(self.pattern >> (self.count++ % 32) & 1);
    }

    std::uint32_t pattern = 0;
    std::int32_t confirmation = 1;
    std::uint32_t count = 0;
    std::vector<Call> calls;
    HostWord words[13] = {};
};

enum Target { kMemory, kFile, kDocument, kUnserved, kFull, kUnopenable, kLongName };

struct Host {
    explicit Host(Input& input)
        : settings(fuzz::makeSettings(input, !input.oneIn(4))), setup(settings) {
        constexpr Target targets[] = {kMemory,   kMemory,   kFile, kFile,
                                      kDocument, kUnserved, kFull, kUnopenable};
        target = input.oneIn(32) ? kLongName : input.pick(targets);
        colorMode = 101 + static_cast<int>(input.below(8));
        setup.record->colorMode = colorMode;
        hook.pattern = input.oneIn(4) ? input.u32() : 0;
        hook.confirmation = input.oneIn(4) ? 0 : 1;
        hook.words[STATUS_CONTEXT] = reinterpret_cast<HostWord>(&hook);
        hook.words[STATUS_PROC] = reinterpret_cast<HostWord>(&Hook::answer);
        document.served = target != kUnserved;
        if (target == kDocument || target == kUnserved) {
            setup.record->documentStream = reinterpret_cast<HostWord>(&Document::serve);
            hook.words[STATUS_DOCUMENT] = reinterpret_cast<HostWord>(&document);
        }
        name = nameOf();
        constexpr std::uint32_t replySizes[] = {4096, 0, 10, 47, 48, 96, 20, 0x7FFFFFFF};
        const bool isSane = !input.oneIn(4);
        replySize = isSane ? 4096 : input.pick(replySizes);
        hooked = isDocument() || !input.oneIn(4);
    }
    ~Host() { fuzz::removeFile(fuzz::scratchPath("driver.bmp")); }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    std::string nameOf() const {
        switch (target) {
            case kFile:
            case kDocument:
            case kUnserved:
                return fuzz::scratchPath("driver.bmp");
            case kFull:
                return fuzz::deviceLink("/dev/full");
            case kUnopenable:
                return fuzz::scratchPath("missing/driver.bmp");
            case kLongName:
                return std::string(144, 'n');
            default:
                return "";
        }
    }
    bool isDocument() const { return target == kDocument || target == kUnserved; }
    bool isOpenable() const { return target != kUnopenable && target != kLongName; }

    model::Settings settings;
    fuzz::SettingsBlock setup;
    int colorMode;
    Target target;
    Hook hook;
    bool hooked;
    Document document;
    std::string name;
    std::uint32_t replySize;
    std::array<std::int32_t, 60> capabilities = {};
    HostWord block[DRIVER_INIT_WORDS] = {};
};

// --- The session
// ----------------------------------------------------------------------------------

// A parameter block that ends where its contents end, at an odd address.
class Block {
  public:
    explicit Block(const Bytes& contents)
        : size_(contents.size()), memory_(new std::uint8_t[contents.size() + 1]) {
        std::copy(contents.begin(), contents.end(), data());
    }
    std::uint8_t* data() const { return memory_.get() + 1; }
    Bytes contents() const { return Bytes(data(), data() + size_); }

  private:
    std::size_t size_;
    std::unique_ptr<std::uint8_t[]> memory_;
};

template <class T>
void put(Bytes& block, std::size_t position, const T& value) {
    if (block.size() < position + sizeof value) block.resize(position + sizeof value);
    std::memcpy(block.data() + position, &value, sizeof value);
}

// A code that a session sent, with its block, to be sent once more.
struct Sent {
    std::int32_t code;
    Bytes block;
    Bytes elsewhere;  // cells that the block leads to
};

template <class T>
T valueAt(const Bytes& block, std::size_t position) {
    T value;
    std::memcpy(&value, block.data() + position, sizeof value);
    return value;
}

// Bytes that a cell array can have, at most, whatever device reads it.
std::uint64_t cellBytes(const Bytes& block) {
    const auto cells = valueAt<std::uint32_t>(block, 88);
    const auto rows = valueAt<std::uint32_t>(block, 92);
    const auto precision = valueAt<std::int32_t>(block, 96);
    const std::uint64_t bits =
        precision == -32768 ? 1 : static_cast<std::uint64_t>(std::abs(std::int64_t{precision}));
    const double rowBytes = static_cast<double>(cells) * static_cast<double>(bits) / 8 + 4;
    return static_cast<std::uint64_t>(std::min(rowBytes * rows, 1e9));
}

// For a device in any state: none finds less than it reads. Nothing, when that is too much.
std::optional<Sent> roomy(const Bytes& contents) {
    constexpr std::size_t kShortest = 256;
    constexpr std::size_t kLongest = std::size_t{1} << 16;
    Sent sent = {DRV_DISPATCH, contents, {}};
    sent.block.resize(std::max(contents.size(), kShortest));
    if (valueAt<std::uint32_t>(contents, 0) != OP_CELL_ARRAY) return sent;
    const std::uint64_t bytes = cellBytes(sent.block);
    if (bytes > kLongest) return {};
    sent.block.resize(kShortest + static_cast<std::size_t>(bytes));
    const bool isElsewhere = valueAt<std::int32_t>(sent.block, 96) < 0;
    if (isElsewhere && valueAt<const void*>(sent.block, 102) != nullptr)
        sent.elsewhere.assign(static_cast<std::size_t>(bytes), 0x5A);
    return sent;
}

// A session, as far as another host can do the same. Its files become documents, as a
// device that the host loses may have one open.
struct Recording {
    model::Settings settings;
    int colorMode;
    bool isDocument;
    std::uint32_t replySize;
    std::vector<Sent> sent;
};

bool isResult(std::int32_t result) {
    return result == 0 || result == TIVAR_ERR_NO_MEMORY || result == TIVAR_ERR_STREAM ||
           result == TIVAR_ERR_CANCELLED;
}

class Session {
  public:
    Session(Input& input, Recording* recording)
        : input_(input), host_(input), plain_(newDevice()), recording_(recording) {
        if (recording_ != nullptr)
            *recording_ = {
                host_.settings, host_.colorMode, host_.target != kMemory, host_.replySize, {}};
        SetDisplayInfo(kDisplayWidth, kDisplayHeight, kDisplayResolution, kDisplayResolution);
    }
    ~Session() {
        if (lpEMData == nullptr) return;
        closeForMemory();
        RASTER_dd_entry32(0, DRV_TERM, nullptr, 0);
        require(lpEMData == nullptr && hEMData == 0, "termination leaves nothing");
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void run() {
        initialise();
        for (int i = 0; i < 48 && !input_.empty(); ++i) step();
    }

  private:
    PlainDevice newDevice() const {
        return PlainDevice(host_.settings,
                           {kDisplayWidth, kDisplayHeight, kDisplayResolution, kDisplayResolution},
                           host_.colorMode);
    }

    void step() {
        hookBefore_ = host_.hook.calls.size();
        const std::uint32_t kind = input_.below(32);
        if (kind == 0) return initialise();
        if (kind == 1) return terminate();
        if (kind == 2) return otherCode();
        if (kind == 3) return inquire();
        if (kind == 4) return sendAnything();
        if (kind == 5 && lpEMData == nullptr) return runCommonRoute();
        if (lpEMData == nullptr) return initialise();
        if (kind < 14) return sendInOrder();
        if (kind < 22) return drawCells();
        if (kind < 26) return primitive();
        setOrQuery();
    }

    void note(const std::optional<Sent>& sent) {
        if (recording_ != nullptr && sent) recording_->sent.push_back(*sent);
    }

    // Whatever the library allocated for a device that is replaced is the host's to free.
    static void release(EMData* device, MemHandle handle) {
        if (device == nullptr) return;
        if (device->outputStream != 0) oxlClose(device->outputStream);
        GlobalFree(GlobalHandle(device->memoryBlock));
        GlobalFree(device->imageMemory);
        GlobalFree(device->hReply);
        GlobalFree(handle);
    }

    void initialise() {
        note(Sent{DRV_INIT, {}, {}});
        EMData* const before = lpEMData;
        const MemHandle handle = hEMData;
        host_.capabilities.fill(0x5A5A);
        host_.block[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>(host_.name.c_str());
        host_.block[DRIVER_INIT_REPLY_SIZE] = host_.replySize;
        host_.block[DRIVER_INIT_SETUP] = host_.setup.handle;
        host_.block[DRIVER_INIT_HOOK] =
            host_.hooked ? reinterpret_cast<HostWord>(host_.hook.words) : 0;
        host_.block[DRIVER_INIT_CAPABILITIES] =
            reinterpret_cast<HostWord>(host_.capabilities.data());
        const std::int32_t result = RASTER_dd_entry32(0, DRV_INIT, host_.block, 0);
        if (before != lpEMData) release(before, handle);
        if (result != TIVAR_OK) {
            requireEqual<std::int32_t>(result, TIVAR_ERR_NO_MEMORY, "initialisation");
            require(lpEMData == nullptr && fuzz::HeapWatch::refused(), "without memory no device");
            return;
        }
        // The negotiations of the pictures before have left their marks in the settings.
        takeSettings();
        plain_ = newDevice();
        plain_.forget();
        replies_.clear();
        state_ = DEV_CLOSED;
        require(host_.capabilities[47] == plain_.colorDepth(), "the colour depth is told");
        for (const int untouched : {6, 7, 8, 30, 42, 43, 46, 48, 54})
            require(host_.capabilities[static_cast<std::size_t>(untouched)] == 0x5A5A,
                    "other capabilities stay");
        checkState();
    }

    void takeSettings() {
        const SetupRecord& record = *host_.setup.record;
        host_.settings.pictureWidth = record.pictureWidth;
        host_.settings.pictureHeight = record.pictureHeight;
        host_.settings.xResolution = record.xResolution;
        host_.settings.yResolution = record.yResolution;
    }

    // Output to memory is the host's once the device is closed, and nobody's after that.
    void closeForMemory() {
        if (host_.target != kMemory) return;
        hookBefore_ = host_.hook.calls.size();
        Bytes block;
        put(block, 0, std::uint32_t{OP_CLOSE});
        if (state_ != DEV_CLOSED) send(block);
        takeMemory();
    }
    Bytes takeMemory() {
        const support::Block block(GlobalHandle(lpEMData->memoryBlock));
        lpEMData->memoryBlock = nullptr;
        return fuzz::fileInBlock(block.handle);
    }

    void terminate() {
        if (lpEMData != nullptr) closeForMemory();
        note(Sent{DRV_TERM, {}, {}});
        requireEqual(RASTER_dd_entry32(0, DRV_TERM, nullptr, 0), 0, "termination");
        require(lpEMData == nullptr, "termination leaves nothing");
    }

    void otherCode() const {
        constexpr std::int32_t codes[] = {DRV_IDLE, DRV_VERSION, DRV_GETENTRY32, 7,
                                          0x10001,  -4,          0x7FFF,         DRV_DISPATCH};
        const std::int32_t code = input_.pick(codes);
        HostWord out[2] = {};
        if (code == DRV_VERSION)
            requireEqual(RASTER_dd_entry32(0, code, out, 0), 4, "the version's size");
        else if (code == DRV_DISPATCH)
            requireEqual(RASTER_dd_entry32(0, code, nullptr, 0), 0, "nothing to dispatch");
        else
            requireEqual(RASTER_dd_entry32(0, code, out, 0), 0, "nothing to do");
        requireEqual(RASTER_dd_entry(static_cast<std::int16_t>(code), out, 0), 0, "the entry");
        requireEqual(dd_entry(static_cast<std::int16_t>(code), out, 0), 0, "the entry");
    }

    static const support::OpcodeRow* rowOf(std::uint32_t opcode) {
        for (const support::OpcodeRow& row : support::kOpcodeRows)
            if (row.opcode == opcode) return &row;
        return nullptr;
    }
    bool isAccepted(std::uint32_t opcode) const {
        const support::OpcodeRow* row = rowOf(opcode);
        const std::int32_t state = lpEMData == nullptr ? 0 : state_;
        return row != nullptr && (row->acceptedStates & static_cast<std::uint32_t>(state)) != 0;
    }

    std::uint32_t anyOpcode() const {
        if (input_.oneIn(8)) return input_.wild();
        return support::kOpcodeRows[input_.below(std::size(support::kOpcodeRows))].opcode;
    }

    void inquire() const {
        const std::uint32_t opcode = anyOpcode();
        const auto low = static_cast<std::uint32_t>(
            std::int32_t{static_cast<std::int16_t>(static_cast<std::uint16_t>(opcode))});
        const bool isSupported = opcode != OP_PRIMITIVE && opcode != 1323 && isAccepted(low) &&
                                 rowOf(low)->handler != tivar::d_noop;
        requireEqual(InquireSupport(static_cast<std::int32_t>(opcode), input_.i16()),
                     isSupported ? 2 : 0, "the support");
    }

    // Sends a block; the result is the error that the operation pushed.
    std::int32_t send(const Bytes& contents) {
        const Block block(contents);
        std::uint32_t opcode;
        std::memcpy(&opcode, contents.data(), sizeof opcode);
        const bool accepted = isAccepted(opcode);
        if (recording_ != nullptr) note(roomy(contents));
        const std::int32_t result = RASTER_dd_entry32(0, DRV_DISPATCH, block.data(), 0);
        after_ = block.contents();
        if (accepted) {
            if (opcode == OP_OPEN) state_ = DEV_OPEN;
            if (opcode == OP_CLOSE) state_ = DEV_CLOSED;
            if (opcode == OP_BEGIN_PICTURE) state_ = DEV_PICTURE;
            if (opcode == OP_BEGIN_BODY) state_ = DEV_BODY;
            if (opcode == OP_END_PICTURE) state_ = DEV_ENDED;
        }
        require(isResult(result), "an error of the driver's");
        require(accepted || result == 0, "what is not accepted does nothing");
        if (opcode != OP_SET_COLORS) requireSame(after_, contents, "the host's block stays");
        if (accepted && opcode == OP_OPEN) opened(result);
        if (accepted && opcode == OP_CLOSE) closed(result);
        if (accepted && opcode == OP_QUERY_WINDOW) reply(plain_.queryWindow());
        if (accepted && opcode == OP_QUERY_VIEWPORT) reply(plain_.queryViewport());
        if (accepted && opcode == OP_POP_ERRORS) {
            // The stack holds no entries: what comes is the number of them, or a lower one.
            std::int32_t wanted;
            std::memcpy(&wanted, contents.data() + 16, sizeof wanted);
            Bytes count;
            put(count, 0, std::min(wanted, 0));
            reply(count);
        }
        checkState();
        return result;
    }

    void checkState() const {
        require(lpEMData != nullptr, "the device is there");
        requireEqual(lpEMData->deviceState, state_, "the device's state");
        requireEqual(lpEMData->errors.count, 0, "no error stays on the stack");
        requireEqual<std::size_t>(lpEMData->replyPosition, replies_.size(), "the replies' size");
        requireSame(Bytes(lpEMData->lpReply, lpEMData->lpReply + replies_.size()), replies_,
                    "the replies");
    }

    void reply(const Bytes& bytes) {
        const std::size_t room = host_.replySize - replies_.size();
        const auto taken = static_cast<std::ptrdiff_t>(std::min(bytes.size(), room));
        replies_.insert(replies_.end(), bytes.begin(), bytes.begin() + taken);
    }

    void opened(std::int32_t result) {
        plain_.open();
        host_.document.bytes.clear();
        host_.document.position = 0;
        if (fuzz::HeapWatch::refused()) return;
        const bool fails = !host_.isOpenable();
        requireEqual<std::int32_t>(result, fails ? TIVAR_ERR_STREAM : TIVAR_OK, "opening");
        if (fails || host_.target == kFull || host_.target == kUnserved) plain_.forget();
    }

    void closed(std::int32_t result) {
        const std::vector<Hook::Call>& calls = host_.hook.calls;
        const bool cancelled = calls.size() > hookBefore_ && calls.back().cancelled;
        hookBefore_ = calls.size();
        if (cancelled) {
            requireEqual<std::int32_t>(result, TIVAR_ERR_CANCELLED, "the host cancels");
            if (host_.target == kFile)
                require(!fuzz::fileExists(host_.name), "a cancelled file is deleted");
            if (host_.target == kMemory) takeMemory();
            return;
        }
        if (fuzz::HeapWatch::refused()) plain_.forget();
        if (host_.target == kFile && plain_.isKnown())
            requireSame(fuzz::readFile(host_.name), plain_.output(), "the file is the plain one");
        if (host_.target == kDocument && plain_.isKnown())
            requireSame(host_.document.bytes, plain_.output(), "the document is the plain one");
        if (host_.target != kMemory) return;
        const Bytes file = takeMemory();
        if (plain_.isKnown()) requireSame(file, plain_.output(), "the block is the plain one");
    }

    // --- Operations -----------------------------------------------------------------------------

    void sendInOrder() {
        constexpr std::uint32_t next[] = {OP_OPEN,        OP_BEGIN_PICTURE, OP_BEGIN_BODY,
                                          OP_END_PICTURE, OP_CLOSE,         OP_BEGIN_PICTURE};
        std::uint32_t opcode = state_ == DEV_CLOSED    ? OP_OPEN
                               : state_ == DEV_OPEN    ? OP_BEGIN_PICTURE
                               : state_ == DEV_PICTURE ? OP_BEGIN_BODY
                               : state_ == DEV_BODY    ? OP_END_PICTURE
                                                       : OP_CLOSE;
        if (input_.oneIn(4)) opcode = input_.pick(next);
        Bytes block;
        put(block, 0, opcode);
        send(block);
    }

    // Opcodes whose handlers read no more than the opcode.
    void sendAnything() {
        const std::uint32_t opcode = anyOpcode();
        for (const std::uint32_t longer :
             {OP_SET_WINDOW, OP_SET_BACKGROUND, OP_SET_VIEWPORT, OP_SET_SCALE, OP_CELL_ARRAY,
              OP_PRIMITIVE, OP_SET_COLORS, OP_POP_ERRORS})
            if (opcode == longer && isAccepted(opcode)) return;
        Bytes block;
        put(block, 0, opcode);
        if (lpEMData == nullptr)
            requireEqual(RASTER_dd_entry32(0, DRV_DISPATCH, Block(block).data(), 0), 0,
                         "without a device nothing happens");
        else
            send(block);
    }

    double coordinate() {
        return input_.oneIn(8) ? input_.number() : static_cast<double>(input_.below(60));
    }

    void setOrQuery() {
        Bytes block;
        switch (input_.below(8)) {
            case 0: {
                double values[6];
                for (double& value : values) value = coordinate();
                put(block, 0, std::uint32_t{OP_SET_WINDOW});
                put(block, 16, values);
                if (isAccepted(OP_SET_WINDOW)) plain_.setWindow(values);
                break;
            }
            case 1: {
                const double values[] = {coordinate(), coordinate(), coordinate(), coordinate()};
                put(block, 0, std::uint32_t{OP_SET_VIEWPORT});
                for (int i = 0; i < 4; ++i)
                    put(block, static_cast<std::size_t>(i < 2 ? 16 + 8 * i : 24 + 8 * i),
                        values[i]);
                if (isAccepted(OP_SET_VIEWPORT))
                    plain_.setViewport(values[0], values[1], values[2], values[3]);
                break;
            }
            case 2: {
                const std::int16_t mode =
                    input_.oneIn(8) ? input_.i16() : static_cast<std::int16_t>(input_.below(3));
                const double scale = input_.oneIn(2) ? input_.number() : input_.below(100) / 10.0;
                put(block, 0, std::uint32_t{OP_SET_SCALE});
                put(block, 16, mode);
                put(block, 24, scale);
                if (isAccepted(OP_SET_SCALE)) plain_.setScale(mode, scale);
                break;
            }
            case 3:
                put(block, 0, std::uint32_t{OP_SET_BACKGROUND});
                put(block, 16, input_.u16());
                put(block, 18, input_.u8());
                break;
            case 4:
                put(block, 0, std::uint32_t{OP_POP_ERRORS});
                put(block, 16, input_.wildSigned());
                break;
            case 5:
                return setColors();
            default:
                put(block, 0, std::uint32_t{input_.oneIn(2) ? OP_QUERY_WINDOW : OP_QUERY_VIEWPORT});
                break;
        }
        send(block);
    }

    void setColors() {
        const std::uint32_t count = input_.oneIn(4) ? input_.below(256) + 4u : input_.below(20);
        const std::uint32_t first = input_.oneIn(8) ? input_.wild() : input_.below(256);
        Bytes colors = fuzz::drawBytes(input_, std::size_t{count} * 3);
        const std::uint32_t countWord = input_.oneIn(16) ? input_.below(3) : 2 + count * 3;
        Bytes block;
        put(block, 0, std::uint32_t{OP_SET_COLORS});
        put(block, 4, countWord);
        put(block, 16, first);
        block.insert(block.end(), colors.begin(), colors.end());
        const bool accepted = isAccepted(OP_SET_COLORS);
        send(block);
        if (accepted) plain_.setColors(countWord, first, colors);
        requireSame(Bytes(after_.begin() + 20, after_.end()), colors, "the colours in the block");
    }

    std::int32_t precision() {
        constexpr std::int32_t depths[] = {8,  24, 4,  1,  -8, -24, -4, -32768,
                                           32, 2,  -1, 12, 7,  0,   16, -32};
        return input_.oneIn(32) ? input_.wildSigned() : input_.pick(depths);
    }

    PlainCells makeCells() {
        PlainCells cells = {};
        cells.cells = input_.oneIn(32) ? input_.wild() : 1 + input_.mostlySmall(40);
        cells.rows = input_.oneIn(32) ? input_.wild() : 1 + input_.mostlySmall(24);
        if (cells.rows <= 24 && cells.cells <= 40)
            cells.rows = fuzz::affordableRows(cells.cells, cells.rows);
        cells.precision = precision();
        const bool isUpright = input_.oneIn(2);
        cells.firstY = isUpright ? 10 : input_.number();
        cells.secondY = isUpright ? 20 : input_.number();
        return cells;
    }

    void drawCells() {
        const PlainCells cells = makeCells();
        const bool accepted = isAccepted(OP_CELL_ARRAY);
        const std::uint64_t needed = accepted ? plain_.bytesRead(cells) : 0;
        if (needed > 1u << 16) return;
        const Bytes data = fuzz::drawBytes(input_, static_cast<std::size_t>(needed));
        Bytes block;
        put(block, 0, std::uint32_t{OP_CELL_ARRAY});
        put(block, 24, cells.firstY);
        put(block, 48, cells.secondY);
        put(block, 88, cells.cells);
        put(block, 92, cells.rows);
        put(block, 96, cells.precision);
        block.resize(102);
        const bool isElsewhere = cells.precision < 0;
        const std::unique_ptr<std::uint8_t[]> elsewhere(new std::uint8_t[data.size()]);
        std::copy(data.begin(), data.end(), elsewhere.get());
        const std::uint8_t* address = input_.oneIn(32) ? nullptr : elsewhere.get();
        if (isElsewhere)
            put(block, 102, address);
        else
            block.insert(block.end(), data.begin(), data.end());
        std::optional<Bytes> given(data);
        if (isElsewhere && address == nullptr) given.reset();
        const std::int32_t result = send(block);
        if (!accepted) return;
        const int expected = plain_.drawCells(cells, given, reporter());
        if (!fuzz::HeapWatch::refused() || expected != 0)
            requireEqual(result, expected, "the cell array's result");
        else
            plain_.forget();
        require(hookBefore_ == host_.hook.calls.size(), "progress is reported once");
    }

    // The host's answers to the reports of the operation just sent, one after another.
    std::function<bool(int)> reporter() {
        return [this](int percent) {
            const std::vector<Hook::Call>& calls = host_.hook.calls;
            if (!host_.hooked) return false;
            if (percent < 0 || fuzz::HeapWatch::refused()) {
                hookBefore_ = calls.size();
                return false;
            }
            require(hookBefore_ < calls.size(), "progress is reported");
            requireEqual(calls[hookBefore_].percent, percent, "the progress");
            return calls[hookBefore_++].cancelled;
        };
    }

    void primitive() {
        constexpr std::int32_t identifiers[] = {-5, -6, -5, -6, -3, 0, 1, -7};
        const std::int32_t identifier =
            input_.oneIn(32) ? input_.wildSigned() : input_.pick(identifiers);
        const std::uint32_t points = input_.oneIn(4) ? input_.below(4) : 0;
        const PlainCells header = makeCells();
        Bytes block;
        put(block, 0, std::uint32_t{OP_PRIMITIVE});
        put(block, 16, identifier);
        put(block, 20, points);
        const std::size_t data = 28 + std::size_t{points} * 24;
        block.resize(data, 0x5A);
        if (identifier == -5) {
            put(block, data, header.cells);
            put(block, data + 4, header.rows);
            put(block, data + 8, header.precision);
            put(block, data + 12, input_.u32());
            block.resize(data + 28, 0xA5);
        }
        const bool accepted = isAccepted(OP_PRIMITIVE);
        const std::int32_t result = send(block);
        if (!accepted) return;
        if (identifier == -5) plain_.beginImage(header);
        if (identifier == -6 && plain_.endImage() == TIVAR_OK && !fuzz::HeapWatch::refused())
            requireEqual<std::int32_t>(result, TIVAR_OK, "the image is written");
        if (fuzz::HeapWatch::refused()) plain_.forget();
    }

    // --- The other route ------------------------------------------------------------------------

    // It opens its output and closes it again; there is nothing that it could draw.
    void runCommonRoute() {
        const fuzz::SettingsBlock setup(fuzz::makeSettings(input_, false));
        Host& host = host_;
        if (host.isDocument())
            setup.record->documentStream = reinterpret_cast<HostWord>(&Document::serve);
        HostWord status[13] = {};
        std::copy(std::begin(host.hook.words), std::end(host.hook.words), status);
        CommonBlock common = {};
        common.state = 1;
        common.statusHook = input_.oneIn(2) ? status : nullptr;
        lpCommon = input_.oneIn(8) ? nullptr : &common;
        hCommon = 0;
        Bytes name(host.name.begin(), host.name.end());
        name.push_back(0);
        HostWord block[DRIVER_INIT_WORDS] = {};
        block[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>(name.data());
        block[DRIVER_INIT_SETUP] = input_.oneIn(16) ? 0 : setup.handle;
        block[DRIVER_INIT_HOOK] = reinterpret_cast<HostWord>(status);
        const std::int32_t begun = dd_entry32(0, DRV_INIT, block, 0);
        require(begun == 0 || begun == 21 || begun == 22 || begun == TIVAR_ERR_STREAM,
                "a result of the route's");
        for (std::uint32_t i = input_.below(4); i > 0; --i) {
            Bytes operation;
            put(operation, 0, anyOpcode());
            requireEqual(dd_entry32(0, DRV_DISPATCH, Block(operation).data(), 0), 0,
                         "nothing is drawn");
        }
        const std::int32_t ended = dd_entry32(0, DRV_TERM, nullptr, 0);
        require(ended == TIVAR_ERR_NO_MEMORY || ended == TIVAR_ERR_STREAM, "nothing was drawn");
        GlobalFree(status[STATUS_MEMORY]);
        lpCommon = nullptr;
        lpRaster = nullptr;
        hRaster = 0;
    }

    Input& input_;
    Host host_;
    PlainDevice plain_;
    std::int32_t state_ = 0;
    Bytes replies_;
    Bytes after_;
    std::size_t hookBefore_ = 0;
    Recording* recording_;
};

// The recording is kept when there is a place for it.
void runSession(Input input, std::uint32_t failing, Recording* recording) {
    {
        const fuzz::HeapWatch watch;
        Session session(input, recording);
        const fuzz::FailingAllocation failure(failing);
        session.run();
    }
    lpRaster = nullptr;
    lpSetup = nullptr;
}

// What the session sent, by a host that misbehaves in its call-backs, as the choices say. What
// becomes of it is not known; but all comes back with a code of the contract, and nothing is lost.
void disturb(Recording& recording, const Input& choices) {
    constexpr int kMostActs = 12;
    const host::Surroundings surroundings;
    host::World world(choices, kMostActs);
    SetDisplayInfo(kDisplayWidth, kDisplayHeight, kDisplayResolution, kDisplayResolution);
    const MemHandle setup = world.settings.at(0);
    auto& record = *static_cast<SetupRecord*>(GlobalLock(setup));
    support::takeSettings(record, recording.settings);
    record.colorMode = recording.colorMode;
    host::serve(setup, recording.isDocument);
    for (Sent& sent : recording.sent) {
        world.takeDeviceMemory();
        std::int32_t result;
        if (sent.code == DRV_INIT) {
            // A call-back may have ended the first settings.
            result = host::beginDevice(world, world.settings.at(0), "", recording.replySize);
        } else {
            const std::uint8_t* const elsewhere = sent.elsewhere.data();
            if (elsewhere != nullptr) put(sent.block, 102, elsewhere);
            result = RASTER_dd_entry32(0, sent.code, sent.block.data(), 0);
        }
        require(isResult(result) || world.wroteResult, "an error of the driver's");
    }
    world.takeDeviceMemory();
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    fuzz::scratchPath("");
    const std::uint32_t kind = input.u8();
    const std::uint32_t failing = kind % 8 == 7 ? input.u8() : 0;
    const bool isDisturbed = kind / 8 % 8 == 7;
    const Bytes choices = isDisturbed ? input.bytes(input.below(128)) : Bytes{};
    Recording recording = {};
    runSession(input, failing, isDisturbed ? &recording : nullptr);
    if (!isDisturbed) return 0;
    // The undisturbed one after it is as right as the one before.
    disturb(recording, Input(choices.data(), choices.size()));
    runSession(input, failing, nullptr);
    return 0;
}
