// A host that misbehaves, its choices made by the fuzzer: any exported routine from any call-back,
// and any record changed while a call works on it. tests/host has what it does.
#include "harness/target.h"
#include "host/sequence.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    host::playOnce(fuzz::Bytes(data, data + size));
    return 0;
}
