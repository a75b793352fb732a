// The operations behind the opcode table. Each takes and returns the host's parameter block;
// outcomes go to the error stack and the reply buffer. Without a block or a device state nothing
// happens.
#pragma once

#include <tivar/types.h>

namespace tivar {

void* d_noop(void* block);

// Lifecycle.
void* d_opdv(void* block);
void* d_cldv(void* block);
void* d_begp(void* block);
void* d_begpb(void* block);
void* d_endp(void* block);

// Error stack.
void* d_popes(void* block);
void* d_empes(void* block);

// Drawing.
void* d_ca(void* block);
void* d_gdp(void* block);

// Settings and queries.
void* ds_dvwn(void* block);
void* ds_bgc(void* block);
void* ds_dvvp(void* block);
void* ds_vpsm(void* block);
void* ds_ct(void* block);
void* ds_axc(void* block);
void* ds_tran(void* block);
void* ds_clpr(void* block);
void* ds_clip(void* block);
void* ds_dm(void* block);
void* ds_fl(void* block);
void* dq_dvwn(void* block);
void* dq_dvvp(void* block);

}  // namespace tivar
