#include "write/cluster_exchange.h"

#include <algorithm>

#include "write/color_cuts.h"

namespace tivar {
namespace {

// Two clusters and the squared error that uniting them would add.
struct Union {
    double cost;
    uint32_t gone;
    uint32_t kept;
};

struct Mean {
    double weight;
    double channels[3];
};

// J. H. Ward, "Hierarchical grouping to optimize an objective function", 1963.
double costOf(const Mean& a, const Mean& b) {
    double apart = 0;
    for (int i = 0; i < 3; ++i) {
        const double difference = a.channels[i] - b.channels[i];
        apart += difference * difference;
    }
    return apart * (a.weight * b.weight / (a.weight + b.weight));
}

// For every cluster the one with which it is best united, the cheapest first.
uint32_t findUnions(const Clusters& clusters, Union* unions) {
    Mean means[kMostClusters];
    uint32_t with[kMostClusters];
    uint32_t count = 0;
    for (uint32_t i = 0; i < clusters.count; ++i) {
        const ColorSum& sum = clusters.sums[i];
        if (sum.weight == 0) continue;
        means[count].weight = static_cast<double>(sum.weight);
        for (int c = 0; c < 3; ++c)
            means[count].channels[c] = static_cast<double>(sum.channels[c]) / means[count].weight;
        with[count++] = i;
    }
    if (count < 3) return 0;
    for (uint32_t i = 0; i < count; ++i) {
        Union& best = unions[i];
        best = {costOf(means[i], means[i == 0 ? 1 : 0]), with[i], with[i == 0 ? 1 : 0]};
        for (uint32_t k = 0; k < count; ++k) {
            const double cost = costOf(means[i], means[k]);
            if (k != i && cost < best.cost) best = {cost, with[i], with[k]};
        }
    }
    std::sort(unions, unions + count, [](const Union& a, const Union& b) {
        return a.cost != b.cost ? a.cost < b.cost : a.gone < b.gone;
    });
    return count;
}

void weighAll(const Clusters& clusters, ColorPart* parts, ColorSum* slices) {
    for (uint32_t i = 0; i < clusters.count; ++i) {
        parts[i].points = clusters.pointsOf(i);
        parts[i].count = clusters.sizeOf(i);
        weighPart(parts[i], slices);
    }
}

void move(const ColorPart& part, uint32_t cluster) {
    for (uint32_t i = 0; i < part.count; ++i)
        part.points[i].cluster = static_cast<uint16_t>(cluster);
}

}  // namespace

ExchangeResult exchangeClusters(Clusters& clusters) {
    Block<ColorPart> parts;
    Block<ColorSum> slices;
    Block<Union> unions;
    if (!parts.obtain(clusters.count) || !slices.obtain(kSlices) || !unions.obtain(clusters.count))
        return ExchangeResult::kNoMemory;
    weighAll(clusters, parts.data, slices.data);
    const uint32_t unionCount = findUnions(clusters, unions.data);
    uint32_t byGain[kMostClusters] = {};
    for (uint32_t i = 0; i < clusters.count; ++i) byGain[i] = i;
    std::sort(byGain, byGain + clusters.count, [&](uint32_t a, uint32_t b) {
        return parts[a].gain != parts[b].gain ? parts[a].gain > parts[b].gain : a < b;
    });
    bool touched[kMostClusters] = {};
    uint32_t next = 0;
    bool exchanged = false;
    for (uint32_t i = 0; i < unionCount; ++i) {
        const Union& united = unions[i];
        if (touched[united.gone] || touched[united.kept]) continue;
        touched[united.gone] = touched[united.kept] = true;
        while (next < clusters.count && touched[byGain[next]]) ++next;
        if (next == clusters.count || parts[byGain[next]].gain <= united.cost) break;
        touched[byGain[next]] = true;
        move(parts[united.gone], united.kept);
        move(cutPart(parts[byGain[next]]), united.gone);
        exchanged = true;
    }
    if (!exchanged) return ExchangeResult::kNothingToDo;
    regroup(clusters);
    return ExchangeResult::kDone;
}

}  // namespace tivar
