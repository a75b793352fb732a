// A host that misbehaves, its choices made by the fuzzer: any exported routine from any call-back,
// and any record changed while a call works on it. tests/host has what it does.
#include "harness/target.h"
#include "host/sequence.h"

namespace {

// Mostly a few: what one act breaks, few others show, and many take long.
int howManyActs(fuzz::Input& input) {
    constexpr std::uint32_t kFew = 16;
    return input.oneIn(32) ? host::World::kMostActs : 1 + static_cast<int>(input.below(kFew));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const int acts = howManyActs(input);
    host::playOnce(input, acts);
    return 0;
}
