// One run of the misbehaving host, in surroundings of its own, after which nothing may be left.
#pragma once

#include "harness/heap.h"
#include "harness/scratch.h"
#include "host/world.h"

namespace host {

// Profiles and files have a directory of their own, and the library's messages go nowhere.
void settleDown();

// What one run has around it: all blocks and files that it makes are gone at the end.
class Surroundings {
  public:
    Surroundings();
    ~Surroundings() { fuzz::removeFiles(); }
    Surroundings(const Surroundings&) = delete;
    Surroundings& operator=(const Surroundings&) = delete;

  private:
    fuzz::HeapWatch watch_;
    fuzz::HeapLedger ledger_;
};

// Acts inside call-backs.
long playOnce(Input input, int acts = World::kMostActs);
long obeyOnce(Act scenario, const Order& order, const Bytes& bytes);

// How often each call-back comes.
std::vector<int> watchOnce(Act scenario);

}  // namespace host
