// Takes clusters from where they help little to where they help more: two neighbours become one and
// another cluster two, wherever that lessens the squared error. Rounds of k-means alone cannot
// carry a cluster that far.
#pragma once

#include "write/clusters.h"

namespace tivar {

enum class ExchangeResult { kDone, kNothingToDo, kNoMemory };

ExchangeResult exchangeClusters(Clusters& clusters);

}  // namespace tivar
