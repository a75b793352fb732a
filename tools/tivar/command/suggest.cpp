#include "command/suggest.h"

#include <algorithm>

namespace tool {
namespace {

// Single letters that turn one word into the other.
size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<size_t>> steps(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) {
        for (size_t k = 0; k <= b.size(); ++k) {
            size_t& best = steps[i][k];
            best = i + k;
            if (i > 0) best = std::min(best, steps[i - 1][k] + 1);
            if (k > 0) best = std::min(best, steps[i][k - 1] + 1);
            if (i == 0 || k == 0) continue;
            best = std::min(best, steps[i - 1][k - 1] + (a[i - 1] == b[k - 1] ? 0 : 1));
            const bool exchanged = i > 1 && k > 1 && a[i - 1] == b[k - 2] && a[i - 2] == b[k - 1];
            if (exchanged) best = std::min(best, steps[i - 2][k - 2] + 1);
        }
    }
    return steps[a.size()][b.size()];
}

}  // namespace

std::string nearestWord(std::string_view typed, const std::vector<std::string>& known) {
    constexpr size_t kLongest = 30;
    constexpr size_t kMost = 2;
    if (typed.size() > kLongest) return "";
    std::string nearest;
    size_t least = kMost + 1;
    for (const std::string& word : known) {
        const size_t steps = distance(typed, word);
        const bool alike = 2 * steps < word.size();
        if (alike && steps < least) {
            least = steps;
            nearest = word;
        }
    }
    return nearest;
}

}  // namespace tool
