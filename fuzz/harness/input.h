// An input taken apart from the front into the values that a target needs. What is missing reads as
// zero, and an input means the same to every word size and byte order.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;

class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : at_(data), left_(size) {}

    bool empty() const { return left_ == 0; }
    std::size_t left() const { return left_; }

    std::uint8_t u8() {
        if (left_ == 0) return 0;
        --left_;
        return *at_++;
    }
    std::uint16_t u16() {
        const std::uint32_t low = u8();
        return static_cast<std::uint16_t>(low | std::uint32_t{u8()} << 8);
    }
    std::uint32_t u32() {
        const std::uint32_t low = u16();
        return low | std::uint32_t{u16()} << 16;
    }
    std::int16_t i16() { return static_cast<std::int16_t>(u16()); }
    std::int32_t i32() { return static_cast<std::int32_t>(u32()); }

    // 0 to count - 1, from one byte.
    std::uint32_t below(std::uint32_t count) { return u8() % count; }
    // The same, mostly a small number: what is large takes long and tells little more.
    std::uint32_t mostlySmall(std::uint32_t count) {
        constexpr std::uint32_t kSmall = 12;
        const std::uint32_t byte = u8();
        return byte < count ? byte : byte % kSmall;
    }
    bool oneIn(std::uint32_t count) { return below(count) == count - 1; }

    template <class T, std::size_t N>
    T pick(const T (&choices)[N]) {
        return choices[below(N)];
    }

    // Mostly a small number, at times any, at times one where arithmetic tends to break.
    std::uint32_t wild() {
        constexpr std::uint32_t edges[] = {
            0x7F,       0x80,       0xFF,       0x100,      0x7FFF,     0x8000,     0xFFFF,
            0x10000,    0xFFFFF,    0x1000000,  0x15555555, 0x1FFFFFFF, 0x20000000, 0x3FFFFFFF,
            0x40000000, 0x55555556, 0x7FFFFFFE, 0x7FFFFFFF, 0x80000000, 0x80000001, 0xAAAAAAAB,
            0xFFFFFFDE, 0xFFFFFFF0, 0xFFFFFFFE, 0xFFFFFFFF, 0xFFFF8000, 0xFFFFFF00, 12287,
            12288,      12289,      4095,       4096};
        switch (below(8)) {
            case 7:
                return pick(edges);
            case 6:
                return u32();
            case 5:
                return u16();
            default:
                return u8();
        }
    }
    std::int32_t wildSigned() { return static_cast<std::int32_t>(wild()); }

    // The same for floating point.
    double number() {
        constexpr double inf = std::numeric_limits<double>::infinity();
        const double edges[] = {
            0.0,          -0.0,         0.5,          -0.5,          1.0,          -1.0,
            1e-9,         1e9,          1e300,        -1e300,        inf,          -inf,
            std::nan(""), 2147483647.0, 2147483648.0, -2147483648.0, 4294967295.0, 4294967296.0,
            65535.5,      65536.0,      32767.0,      32768.0,       5e-324,       -2147483649.0};
        switch (below(8)) {
            case 7:
                return pick(edges);
            case 6: {
                const std::uint64_t low = u32();
                const std::uint64_t bits = low | std::uint64_t{u32()} << 32;
                double value;
                std::memcpy(&value, &bits, sizeof value);
                return value;
            }
            case 5:
                return i32();
            case 4:
                return i16() / 64.0;
            default:
                return u8();
        }
    }

    Bytes bytes(std::size_t count) {
        const std::size_t taken = std::min(count, left_);
        Bytes part(at_, at_ + taken);
        at_ += taken;
        left_ -= taken;
        return part;
    }

    // A text without zeros of at most longest characters, its length first.
    std::string text(std::uint32_t longest) {
        const Bytes part = bytes(below(longest + 1));
        std::string found(part.begin(), part.end());
        found.resize(std::min(found.find('\0'), found.size()));
        return found;
    }

  private:
    const std::uint8_t* at_;
    std::size_t left_;
};

}  // namespace fuzz
