// What is inconsistent in a BMP file, and where.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

struct BmpFlaw {
    uint64_t at{};  // byte of the file
    std::string what;
    bool losesPixels{};  // what the picture looks like is not certain
};

// The first flaws of a kind and a count of the others: a hostile file has millions.
struct BmpFlaws {
    std::vector<BmpFlaw> list;
    uint64_t more{};

    void add(BmpFlaw flaw) {
        addFrom([&] { return std::move(flaw); });
    }

    // Makes the flaw only if it is to be told.
    template <class Make>
    void addFrom(Make make) {
        constexpr size_t kMost = 20;
        if (list.size() < kMost) {
            list.push_back(make());
        } else {
            ++more;
        }
    }
};

}  // namespace tool
