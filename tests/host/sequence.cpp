#include "host/sequence.h"

#include <stdlib.h>
#include <unistd.h>

#include "harness/check.h"

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

Surroundings::Surroundings() : watch_(kLargestBlock) {
    settleDown();
}

long playOnce(Input input, int acts) {
    const Surroundings surroundings;
    World world(input, acts);
    world.play();
    return world.reached;
}

long obeyOnce(Act scenario, const Order& order, const Bytes& bytes) {
    const Surroundings surroundings;
    World world(Input(bytes.data(), bytes.size()));
    world.obey(scenario, order);
    return world.reached;
}

std::vector<int> watchOnce(Act scenario) {
    const Surroundings surroundings;
    World world(Input(nullptr, 0));
    return world.watch(scenario);
}

}  // namespace host
