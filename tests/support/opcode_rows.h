// The driver's operations as the host knows them: which handler carries an opcode out, the mask
// that the table shows, and the device states that accept it.
#pragma once

#include <tivar/driver.h>

#include <cstdint>

#include "driver/operations.h"

namespace support {

// Two states that masks name and no operation enters.
constexpr uint32_t kState32 = 32;
constexpr uint32_t kState64 = 64;

struct OpcodeRow {
    uint32_t opcode;
    DriverHandler handler;
    uint32_t mask;
    uint32_t acceptedStates;
};

// In the table's order.
constexpr OpcodeRow kOpcodeRows[] = {
    {0x001, tivar::d_opdv, 0x0001, 1},
    {0x002, tivar::d_cldv, 0x007E, 2 | 4 | 8 | 16 | 32 | 64},
    {0x003, tivar::d_begp, 0x0012, 2 | 16},
    {0x004, tivar::d_begpb, 0x0004, 4},
    {0x005, tivar::d_endp, 0x0008, 8},
    {0x008, tivar::d_noop, 0x8008, 8},
    {0x009, tivar::d_noop, 0x8020, 32},
    {0x30A, tivar::d_noop, 0x8020, 32},
    {0x0FF, tivar::d_noop, 0x0001, 1},
    {0x10D, tivar::d_noop, 0x0002, 2},
    {0x10E, tivar::d_noop, 0x0002, 2},
    {0x206, tivar::ds_dvwn, 0x0084, 4},
    {0x207, tivar::ds_bgc, 0x0084, 4},
    {0x208, tivar::ds_dvvp, 0x0004, 4},
    {0x209, tivar::ds_vpsm, 0x0084, 4},
    {0x2FF, tivar::dq_dvwn, 0x007E, 2 | 4 | 8 | 16 | 32 | 64},
    {0x2FE, tivar::d_noop, 0x006C, 4 | 8 | 32 | 64},
    {0x2FD, tivar::dq_dvvp, 0x007E, 2 | 4 | 8 | 16 | 32 | 64},
    {0x303, tivar::ds_axc, 0x8088, 8},
    {0x304, tivar::ds_tran, 0x8088, 8},
    {0x305, tivar::ds_clpr, 0x8088, 8},
    {0x306, tivar::ds_clip, 0x8088, 8},
    {0x401, tivar::d_noop, 0x8128, 8 | 32},
    {0x402, tivar::d_noop, 0x8128, 8 | 32},
    {0x403, tivar::d_noop, 0x8108, 8},
    {0x404, tivar::d_noop, 0x8108, 8},
    {0x405, tivar::d_noop, 0x8108, 8},
    {0x406, tivar::d_noop, 0x8148, 8 | 64},
    {0x407, tivar::d_noop, 0x8128, 8 | 32},
    {0x409, tivar::d_ca, 0x8008, 8},
    {0x40A, tivar::d_gdp, 0x8128, 8 | 32},
    {0x40B, tivar::d_noop, 0x8128, 8 | 32},
    {0x40C, tivar::d_noop, 0x8128, 8 | 32},
    {0x40D, tivar::d_noop, 0x8128, 8 | 32},
    {0x40E, tivar::d_noop, 0x8128, 8 | 32},
    {0x40F, tivar::d_noop, 0x8128, 8 | 32},
    {0x410, tivar::d_noop, 0x8128, 8 | 32},
    {0x411, tivar::d_noop, 0x8128, 8 | 32},
    {0x412, tivar::d_noop, 0x8128, 8 | 32},
    {0x413, tivar::d_noop, 0x8128, 8 | 32},
    {0x502, tivar::d_noop, 0x8088, 8},
    {0x503, tivar::d_noop, 0x8088, 8},
    {0x504, tivar::d_noop, 0x8088, 8},
    {0x506, tivar::d_noop, 0x8088, 8},
    {0x507, tivar::d_noop, 0x8088, 8},
    {0x508, tivar::d_noop, 0x8088, 8},
    {0x50A, tivar::d_noop, 0x80C8, 8 | 64},
    {0x513, tivar::d_noop, 0x80C8, 8 | 64},
    {0x50B, tivar::d_noop, 0x80C8, 8 | 64},
    {0x50C, tivar::d_noop, 0x80C8, 8 | 64},
    {0x50D, tivar::d_noop, 0x80C8, 8 | 64},
    {0x50E, tivar::d_noop, 0x80C8, 8 | 64},
    {0x50F, tivar::d_noop, 0x80C8, 8 | 64},
    {0x510, tivar::d_noop, 0x8088, 8},
    {0x511, tivar::d_noop, 0x8088, 8},
    {0x512, tivar::d_noop, 0x8088, 8},
    {0x516, tivar::d_noop, 0x8088, 8},
    {0x517, tivar::d_noop, 0x8088, 8},
    {0x518, tivar::d_noop, 0x8088, 8},
    {0x519, tivar::d_noop, 0x8088, 8},
    {0x51B, tivar::d_noop, 0x8088, 8},
    {0x51C, tivar::d_noop, 0x8088, 8},
    {0x51D, tivar::d_noop, 0x8088, 8},
    {0x51E, tivar::d_noop, 0x8088, 8},
    {0x51F, tivar::d_noop, 0x8088, 8},
    {0x520, tivar::d_noop, 0x8088, 8},
    {0x52B, tivar::d_noop, 0x8088, 8},
    {0x522, tivar::ds_ct, 0x8088, 8},
    {0x601, tivar::d_noop, 0x8FFF, 1 | 2 | 4 | 8 | 16 | 32 | 64},
    {0x906, tivar::ds_dm, 0x8008, 8},
    {0xF01, tivar::d_noop, 0x007F, 1 | 2 | 4 | 8 | 16 | 32 | 64},
    {0xF02, tivar::d_popes, 0x007F, 1 | 2 | 4 | 8 | 16 | 32 | 64},
    {0xF03, tivar::d_empes, 0x007F, 1 | 2 | 4 | 8 | 16 | 32 | 64},
    {0x6FC, tivar::d_noop, 0x0008, 8},
};
static_assert(sizeof kOpcodeRows / sizeof *kOpcodeRows == 74);

}  // namespace support
