#include <cstring>

#include "hardening/hostile.h"
#include "support/driver_host.h"

namespace {

using namespace hardening;
using support::DriverHost;
using support::OpcodeBlock;

constexpr int32_t kCodes[] = {DRV_INIT,       DRV_IDLE,  DRV_DISPATCH, DRV_TERM, DRV_VERSION,
                              DRV_GETENTRY32, 3,         77,           -4,       INT16_MAX,
                              INT16_MIN,      INT32_MAX, INT32_MIN};

using Entry = int32_t (*)(int16_t, void*, uint16_t);

void expectEntryStoresOnlyWhatItIsAsked(Entry entry) {
    for (const int32_t code : kCodes) {
        const auto low = static_cast<int16_t>(code);
        EXPECT_EQ(entry(low, nullptr, 0), 0);
        uint8_t out[16];
        std::memset(out, 0xEE, sizeof out);
        EXPECT_EQ(entry(low, out, 65535), 0);
        const size_t stored = low == DRV_VERSION ? 4 : low == DRV_GETENTRY32 ? sizeof(void*) : 0;
        EXPECT_EQ(out[stored], 0xEE) << code;
    }
}

TEST(HostileArguments, RASTER_dd_entry) {
    expectEntryStoresOnlyWhatItIsAsked(RASTER_dd_entry);
}

TEST(HostileArguments, dd_entry) {
    expectEntryStoresOnlyWhatItIsAsked(dd_entry);
}

TEST(HostileArguments, RASTER_dd_entry32) {
    for (const int32_t code : kCodes) {
        const int32_t expected = static_cast<int16_t>(code) == DRV_INIT ? 300 : 0;
        EXPECT_EQ(RASTER_dd_entry32(0, code, nullptr, 0), expected) << code;
    }
    // Blocks that lack something.
    for (const int word : {DRIVER_INIT_NAME, DRIVER_INIT_SETUP, DRIVER_INIT_CAPABILITIES}) {
        DriverHost host;
        host.block[word] = 0;
        EXPECT_EQ(host.initialise(), 300) << word;
        EXPECT_EQ(lpEMData, nullptr);
    }
    for (const HostWord size : {HostWord{UINT32_MAX}, HostWord{UINT32_MAX - 30}}) {
        DriverHost host;
        host.block[DRIVER_INIT_REPLY_SIZE] = size;
        EXPECT_EQ(host.initialise(), 300);
    }
    DriverHost modest;
    modest.block[DRIVER_INIT_REPLY_SIZE] = 0;
    modest.block[DRIVER_INIT_HOOK] = 0;
    EXPECT_EQ(modest.initialise(), 0);
    for (const uint32_t opcode : {0u, 1u, 0xFFFFFFFFu, 767u, 3842u, 0x80000000u})
        EXPECT_EQ(modest.send(OpcodeBlock(opcode).put(4, Bytes(200, 0xFF))), 0);
    EXPECT_EQ(lpEMData->replyPosition, 0u);
}

TEST(HostileArguments, dd_entry32) {
    for (const int32_t code : kCodes) {
        const auto low = static_cast<int16_t>(code);
        const int32_t expected = low == DRV_INIT ? 22 : low == DRV_TERM ? 300 : 0;
        EXPECT_EQ(dd_entry32(0, code, nullptr, 0), expected) << code;
    }
    support::CurrentSettings settings;
    for (const std::string& text : longStrings()) {
        std::string name = "/no/such/directory/" + text;
        HostWord block[DRIVER_INIT_WORDS] = {};
        block[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>(name.data());
        block[DRIVER_INIT_SETUP] = settings.handle;
        EXPECT_EQ(dd_entry32(0, DRV_INIT, block, 0), 303);
        EXPECT_EQ(dd_entry32(0, DRV_TERM, nullptr, 0), 300);
    }
}

TEST(HostileArguments, InquireSupport) {
    for (const int32_t opcode : kNumbers)
        for (const int32_t primitive : kNumbers)
            EXPECT_EQ(InquireSupport(opcode, primitive), 0) << opcode;
    EXPECT_EQ(InquireSupport(OP_CELL_ARRAY, 0), 0) << "there is no device";
}

TEST(HostileArguments, InqGDPSupport) {
    for (const int32_t primitive : {0, -1, -7, -8, 1, 8, INT32_MAX, INT32_MIN})
        EXPECT_EQ(InqGDPSupport(primitive), 0) << primitive;
}

TEST(HostileArguments, RasterWriteCellData) {
    constexpr int16_t kModels[] = {0, 1, 2, 3, 4, -1, INT16_MAX, INT16_MIN};
    const Block image(someRows(16, 4));
    RasterWriteCellData(image.handle, 4, 4, 0, 32, CELLS_CMYK);
    EXPECT_EQ(image.contents(), someRows(16, 4)) << "there is no device";
    {
        DriverHost closed;
        closed.initialise();
        RasterWriteCellData(image.handle, 4, 4, 0, 32, CELLS_CMYK);
    }
    for (const int16_t bits : kStrangeDepths) {
        for (const int16_t model : kModels) {
            DriverHost host;
            host.enter(DEV_BODY);
            RasterWriteCellData(0, 4, 4, 0, bits, model);
            RasterWriteCellData(image.handle, 4, 4, 0, bits, model);
            RasterWriteCellData(image.handle, 4, 4, kHuge, bits, model);
            RasterWriteCellData(image.handle, kHuge, kHuge, 0, bits, model);
        }
    }
}

// ---- Data --------------------------------------------------------------------------------------

// Every handler of the table, called on its own without a device and without a block.
TEST(HostileArguments, DriverOpcodeTable) {
    ASSERT_EQ(lpEMData, nullptr);
    uint8_t block[256];
    std::memset(block, 0xFF, sizeof block);
    for (const DriverOpcodeRow& row : DriverOpcodeTable) {
        EXPECT_EQ(row.handler(nullptr), nullptr);
        EXPECT_EQ(row.handler(block), block);
    }
    DriverHost host;
    host.initialise();
    for (const DriverOpcodeRow& row : DriverOpcodeTable)
        EXPECT_EQ(row.handler(nullptr), nullptr) << row.opcode;
}

TEST(HostileArguments, DriverCapabilityTable) {
    DriverHost host;
    std::array<int32_t, 61> guarded = {};
    guarded[60] = 77;
    host.block[DRIVER_INIT_CAPABILITIES] = reinterpret_cast<HostWord>(guarded.data());
    EXPECT_EQ(host.initialise(), 0);
    EXPECT_EQ(guarded[60], 77) << "no row leads past the sixty entries that a host gives";
}

TEST(HostileArguments, GDPSupport) {
    for (const int32_t support : GDPSupport) EXPECT_EQ(support, 0);
}

TEST(HostileArguments, hEMData) {
    DriverHost host;
    host.initialise();
    EXPECT_EQ(GlobalSize(hEMData), sizeof(EMData));
    host.terminate();
    EXPECT_EQ(hEMData, 0u);
}

TEST(HostileArguments, lpEMData) {
    ASSERT_EQ(lpEMData, nullptr);
    DriverHost host;
    EXPECT_EQ(host.send(OP_OPEN), 0) << "without a device operations are ignored";
    EXPECT_EQ(host.terminate(), 0);
    EXPECT_EQ(host.terminate(), 0);
}

TEST(HostileArguments, hSetup) {
    hSetup = static_cast<MemHandle>(-1);
    support::CurrentSettings settings;
    char name[] = "";
    HostWord block[DRIVER_INIT_WORDS] = {};
    HostWord status[13] = {};
    block[DRIVER_INIT_NAME] = reinterpret_cast<HostWord>(name);
    block[DRIVER_INIT_SETUP] = settings.handle;
    block[DRIVER_INIT_HOOK] = reinterpret_cast<HostWord>(status);
    EXPECT_EQ(dd_entry32(0, DRV_INIT, block, 0), 0);
    EXPECT_EQ(hSetup, 0u) << "written, never read";
    EXPECT_EQ(dd_entry32(0, DRV_TERM, nullptr, 0), 300);
    GlobalFree(status[STATUS_MEMORY]);
}

TEST(HostileArguments, lpSetup) {
    DriverHost host;
    lpSetup = nullptr;
    EXPECT_EQ(host.initialise(), 0);
    EXPECT_EQ(lpSetup, host.settings.record);
}

TEST(HostileArguments, hCommon) {
    // A common block announced but not there.
    hCommon = static_cast<MemHandle>(-1);
    EXPECT_EQ(dd_entry32(0, DRV_DISPATCH, OpcodeBlock(OP_OPEN).data(), 0), 0);
    EXPECT_EQ(dd_entry32(0, DRV_INIT, nullptr, 0), 22);
    hCommon = 0;
}

TEST(HostileArguments, lpCommon) {
    CommonBlock common = {};
    lpCommon = &common;
    for (const int32_t state : kNumbers) {
        common.state = state;
        common.lastError = 5;
        for (const uint32_t opcode : {OP_OPEN, OP_CELL_ARRAY, OP_PRIMITIVE})
            EXPECT_EQ(dd_entry32(0, DRV_DISPATCH, OpcodeBlock(opcode).put(4, Bytes(200)).data(), 0),
                      0);
        EXPECT_EQ(common.lastError, 0);
    }
    lpCommon = nullptr;
}

// Published for the host; the library reads none of them.
template <class Element, size_t kCount>
void expectReadable(const Element (&table)[kCount]) {
    Bytes copy(sizeof table);
    std::memcpy(copy.data(), table, sizeof table);
    EXPECT_EQ(copy.size(), sizeof table);
}

TEST(HostileArguments, dtr_def) {
    expectReadable(dtr_def);
}
TEST(HostileArguments, ln_def) {
    expectReadable(ln_def);
}
TEST(HostileArguments, tx_def) {
    expectReadable(tx_def);
}
TEST(HostileArguments, mk_def) {
    expectReadable(mk_def);
}
TEST(HostileArguments, fl_def) {
    expectReadable(fl_def);
}
TEST(HostileArguments, eg_def) {
    expectReadable(eg_def);
}

// The host may write these two.
TEST(HostileArguments, GDSF_CHARSETLIST) {
    const Bytes before(GDSF_CHARSETLIST, GDSF_CHARSETLIST + sizeof GDSF_CHARSETLIST);
    std::memset(GDSF_CHARSETLIST, 0xFF, sizeof GDSF_CHARSETLIST);
    DriverHost host;
    EXPECT_EQ(host.initialise(), 0);
    std::copy(before.begin(), before.end(), GDSF_CHARSETLIST);
}

TEST(HostileArguments, NUM_GDSF_CHARSETS) {
    const int32_t before = NUM_GDSF_CHARSETS;
    NUM_GDSF_CHARSETS = INT32_MIN;
    DriverHost host;
    EXPECT_EQ(host.initialise(), 0);
    NUM_GDSF_CHARSETS = before;
}

}  // namespace
