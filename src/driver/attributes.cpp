// Attribute bundles and character sets, published for the host. The driver draws cells only, so
// every attribute is at its zero.
#include <tivar/driver.h>

const uint8_t dtr_def[120] = {};
const uint8_t ln_def[824] = {};
const uint8_t tx_def[2320] = {};
const uint8_t mk_def[704] = {};
const uint8_t fl_def[904] = {};
const uint8_t eg_def[720] = {};
uint8_t GDSF_CHARSETLIST[34] = {};
int32_t NUM_GDSF_CHARSETS = 0;
