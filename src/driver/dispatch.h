#pragma once

#include <tivar/driver.h>

namespace tivar {

// The handler of an opcode in the current device state; d_noop when the table does not know it or
// the state does not accept it.
DriverHandler getfunc(uint32_t opcode);

// Brackets handler calls on the common-block route; does nothing.
void esc_mode(int32_t on);

// What a table like GDPSupport says about a primitive; 0 for identifiers outside of it.
int32_t supportOf(const int32_t* table, int32_t gdpId);

}  // namespace tivar
