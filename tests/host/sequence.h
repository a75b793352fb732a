// One run of the misbehaving host, in surroundings of its own, after which nothing may be left.
#pragma once

#include "host/world.h"

namespace host {

// Profiles and files have a directory of their own, and the library's messages go nowhere.
void settleDown();

// Acts inside call-backs.
long playOnce(const Bytes& bytes);
long obeyOnce(Act scenario, const Order& order, const Bytes& bytes);

// How often each call-back comes.
std::vector<int> watchOnce(Act scenario);

}  // namespace host
