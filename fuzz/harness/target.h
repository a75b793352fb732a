// The entry points of a target, as the fuzzer and the replay call them.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
