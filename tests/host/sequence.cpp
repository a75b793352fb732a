#include "host/sequence.h"

#include <stdlib.h>
#include <unistd.h>

#include "harness/check.h"
#include "harness/heap.h"
#include "harness/scratch.h"

namespace host {

namespace {

// The histogram of a palette's choice fits, and not much of a picture: a sequence has many.
constexpr std::size_t kLargestBlock = 300000;

}  // namespace

void settleDown() {
    static bool isDone = false;
    if (isDone) return;
    isDone = true;
    const std::string directory = fuzz::scratchPath("");
    fuzz::require(chdir(directory.c_str()) == 0, "the directory is there");
    setenv("TMPDIR", directory.c_str(), 1);
    unsetenv("INIDIR");
    unsetenv("DISPLAYINFO");
}

long playOnce(const Bytes& bytes) {
    settleDown();
    Input input(bytes.data(), bytes.size());
    const fuzz::HeapWatch watch(kLargestBlock);
    const fuzz::HeapLedger ledger;
    World world(input);
    world.play();
    return world.reached;
}

long obeyOnce(Act scenario, const Order& order, const Bytes& bytes) {
    Input input(bytes.data(), bytes.size());
    const fuzz::HeapWatch watch(kLargestBlock);
    const fuzz::HeapLedger ledger;
    World world(input);
    world.obey(scenario, order);
    return world.reached;
}

std::vector<int> watchOnce(Act scenario) {
    const Bytes none;
    Input input(none.data(), 0);
    const fuzz::HeapWatch watch(kLargestBlock);
    const fuzz::HeapLedger ledger;
    World world(input);
    return world.watch(scenario);
}

}  // namespace host
