// Bitmaps and colour tables for the tests of the colour library, and its debug level.
#pragma once

#include <gtest/gtest.h>
#include <tivar/color.h>

#include <initializer_list>
#include <string>

#include "model/plain_model.h"
#include "support/memory_block.h"

namespace support {

struct Color {
    int red, green, blue;
};

// Packed entries, as tables and unpadded 24-bit pixels hold them.
inline Bytes colors(std::initializer_list<Color> list) {
    Bytes bytes;
    for (const Color& c : list)
        for (const int channel : {c.red, c.green, c.blue})
            bytes.push_back(static_cast<std::uint8_t>(channel));
    return bytes;
}

// Rows of packed bytes, each padded with zeros to a multiple of 4.
inline Bytes padded(std::initializer_list<Bytes> rows) {
    Bytes bytes;
    for (const Bytes& row : rows) {
        bytes.insert(bytes.end(), row.begin(), row.end());
        while (bytes.size() % 4 != 0) bytes.push_back(0);
    }
    return bytes;
}

inline Bytes repeated(const Bytes& unit, int times) {
    Bytes bytes;
    for (int i = 0; i < times; ++i) bytes.insert(bytes.end(), unit.begin(), unit.end());
    return bytes;
}

// The contents of a block that a routine made, which is freed.
inline Bytes taken(MemHandle handle) {
    EXPECT_NE(handle, 0u);
    const Block block(handle);
    return block.contents();
}

// Sets the debug level for the life of the guard.
struct DebugLevel {
    explicit DebugLevel(int level) { _debug_color_res = static_cast<std::int16_t>(level); }
    ~DebugLevel() { _debug_color_res = 0; }
    DebugLevel(const DebugLevel&) = delete;
    DebugLevel& operator=(const DebugLevel&) = delete;
};

// Where two byte strings part, in words; says nothing about equal ones.
inline testing::AssertionResult sameBytes(const Bytes& actual, const Bytes& expected) {
    if (actual == expected) return testing::AssertionSuccess();
    auto result = testing::AssertionFailure();
    result << actual.size() << " bytes, expected " << expected.size();
    for (std::size_t i = 0; i < actual.size() && i < expected.size(); ++i) {
        if (actual[i] == expected[i]) continue;
        return result << "; byte " << i << " is " << int{actual[i]} << ", expected "
                      << int{expected[i]};
    }
    return result;
}

}  // namespace support
