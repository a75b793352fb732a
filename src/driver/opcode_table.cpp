// The tables that describe the driver to its dispatcher and to the host.
#include <tivar/driver.h>

#include "driver/operations.h"

using namespace tivar;

// Bits 1 to 16 of a mask are device states; 32 and 64 name states that no operation enters, and the
// higher bits are the host's.
const DriverOpcodeRow DriverOpcodeTable[74] = {
    {1, d_opdv, 0x0001},     {2, d_cldv, 0x007E},    {3, d_begp, 0x0012},
    {4, d_begpb, 0x0004},    {5, d_endp, 0x0008},    {8, d_noop, 0x8008},
    {9, d_noop, 0x8020},     {778, d_noop, 0x8020},  {255, d_noop, 0x0001},
    {269, d_noop, 0x0002},   {270, d_noop, 0x0002},  {518, ds_dvwn, 0x0084},
    {519, ds_bgc, 0x0084},   {520, ds_dvvp, 0x0004}, {521, ds_vpsm, 0x0084},
    {767, dq_dvwn, 0x007E},  {766, d_noop, 0x006C},  {765, dq_dvvp, 0x007E},
    {771, ds_axc, 0x8088},   {772, ds_tran, 0x8088}, {773, ds_clpr, 0x8088},
    {774, ds_clip, 0x8088},  {1025, d_noop, 0x8128}, {1026, d_noop, 0x8128},
    {1027, d_noop, 0x8108},  {1028, d_noop, 0x8108}, {1029, d_noop, 0x8108},
    {1030, d_noop, 0x8148},  {1031, d_noop, 0x8128}, {1033, d_ca, 0x8008},
    {1034, d_gdp, 0x8128},   {1035, d_noop, 0x8128}, {1036, d_noop, 0x8128},
    {1037, d_noop, 0x8128},  {1038, d_noop, 0x8128}, {1039, d_noop, 0x8128},
    {1040, d_noop, 0x8128},  {1041, d_noop, 0x8128}, {1042, d_noop, 0x8128},
    {1043, d_noop, 0x8128},  {1282, d_noop, 0x8088}, {1283, d_noop, 0x8088},
    {1284, d_noop, 0x8088},  {1286, d_noop, 0x8088}, {1287, d_noop, 0x8088},
    {1288, d_noop, 0x8088},  {1290, d_noop, 0x80C8}, {1299, d_noop, 0x80C8},
    {1291, d_noop, 0x80C8},  {1292, d_noop, 0x80C8}, {1293, d_noop, 0x80C8},
    {1294, d_noop, 0x80C8},  {1295, d_noop, 0x80C8}, {1296, d_noop, 0x8088},
    {1297, d_noop, 0x8088},  {1298, d_noop, 0x8088}, {1302, d_noop, 0x8088},
    {1303, d_noop, 0x8088},  {1304, d_noop, 0x8088}, {1305, d_noop, 0x8088},
    {1307, d_noop, 0x8088},  {1308, d_noop, 0x8088}, {1309, d_noop, 0x8088},
    {1310, d_noop, 0x8088},  {1311, d_noop, 0x8088}, {1312, d_noop, 0x8088},
    {1323, d_noop, 0x8088},  {1314, ds_ct, 0x8088},  {1537, d_noop, 0x8FFF},
    {2310, ds_dm, 0x8008},   {3841, d_noop, 0x007F}, {3842, d_popes, 0x007F},
    {3843, d_empes, 0x007F}, {1788, d_noop, 0x0008},
};

const DriverCapabilityRow DriverCapabilityTable[46] = {
    {0, 100}, {1, -1},  {2, -1},  {3, -1},  {4, -1},  {5, 0},   {9, -1},  {10, -1},
    {11, -1}, {12, -1}, {13, -1}, {14, -1}, {15, -1}, {16, -1}, {17, -1}, {18, -1},
    {19, 0},  {20, 0},  {21, 0},  {22, 0},  {23, -1}, {24, -1}, {25, -1}, {26, -1},
    {27, -1}, {28, -1}, {29, -1}, {31, 0},  {32, -1}, {33, -1}, {34, 0},  {35, 0},
    {36, -1}, {37, -1}, {38, 1},  {39, 1},  {40, 0},  {41, -1}, {44, 0},  {45, -1},
    {55, 0},  {56, 0},  {57, -1}, {58, 0},  {59, -1}, {47, 0},
};

const int32_t GDPSupport[8] = {};
