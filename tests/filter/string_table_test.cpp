#include "filter/string_table.h"

namespace {

constexpr char kUntouched = '#';

struct Loaded {
    int32_t result;
    std::string buffer;
};

// The result and the buffer of size bytes; nothing behind them may change.
Loaded load(int32_t id, int32_t size) {
    std::string buffer(200, kUntouched);
    const int32_t result = LoadString(0, id, buffer.data(), size);
    const auto kept = static_cast<size_t>(size < 0 ? 0 : size);
    EXPECT_EQ(buffer.substr(kept), std::string(200 - kept, kUntouched));
    return {result, buffer.substr(0, kept)};
}

TEST(LoadString, FindsEveryTextByItsNumber) {
    const struct {
        int32_t id;
        const char* text;
    } rows[] = {
        {0, "~Defaults"},
        {1, "~Mode"},
        {2, "~Header"},
        {3, "~Default Mode"},
        {4, "Driver"},
        {5, "ColorTableSource"},
        {6, "DefaultFileSpec"},
        {7, "Font"},
        {8, "Color"},
        {9, "FILE"},
        {10, "PROFILE"},
        {11, "Color Mode"},
        {13, "BMP Export"},
        {15, "User-Defined Patterns"},
        {17, "Color Format"},
        {18, "Resolution Mode"},
        {19, "X Resolution"},
        {20, "Y Resolution"},
        {21, "Width"},
        {22, "Height"},
        {23, "File Type"},
        {24, "Size Mode"},
        {25, "Compression Mode"},
        {26, "Line Mode"},
        {65535, "Not Defined"},
    };
    for (const auto& row : rows) {
        const std::string text = row.text;
        const Loaded loaded = load(row.id, 144);
        EXPECT_EQ(loaded.result, static_cast<int32_t>(text.size())) << row.id;
        EXPECT_EQ(loaded.buffer, text + '\0' + std::string(143 - text.size(), kUntouched));
    }
}

TEST(LoadString, AnUnknownNumberCopiesTheLastTextAndReturns0) {
    for (const int32_t id : {12, 14, 16, 27, 1000, 65534, 0x1000C}) {
        const Loaded loaded = load(id, 144);
        EXPECT_EQ(loaded.result, 0) << id;
        EXPECT_STREQ(loaded.buffer.c_str(), "Not Defined");
    }
    EXPECT_EQ(load(12, 3).buffer, "Not");
    EXPECT_EQ(load(12, 3).result, 0);
}

TEST(LoadString, OnlyTheLow16BitsCount) {
    EXPECT_STREQ(load(0x10004, 144).buffer.c_str(), "Driver");
    EXPECT_EQ(load(0x10004, 144).result, 6);
    for (const int32_t id : {-1, 0x1FFFF, 65535}) {
        EXPECT_EQ(load(id, 144).result, 11) << id;
        EXPECT_STREQ(load(id, 144).buffer.c_str(), "Not Defined");
    }
}

TEST(LoadString, ABufferNoLongerThanTheTextIsFilledWithoutATerminator) {
    for (int32_t size = 1; size <= 12; ++size) {
        EXPECT_EQ(load(17, size).buffer,
                  std::string("Color Format").substr(0, static_cast<size_t>(size)));
        EXPECT_EQ(load(17, size).result, 12);
    }
    EXPECT_EQ(load(17, 6).buffer, "Color ");
    EXPECT_EQ(load(17, 13).buffer, std::string("Color Format") + '\0');
    EXPECT_EQ(load(17, 14).buffer, std::string("Color Format") + '\0' + kUntouched);
}

TEST(LoadString, WithoutRoomNothingIsCopied) {
    for (const int32_t size : {0, -1, INT32_MIN}) {
        EXPECT_EQ(load(4, size).result, 6);
        EXPECT_EQ(load(12, size).result, 0);
    }
    EXPECT_EQ(LoadString(0, 4, nullptr, 144), 6);
}

TEST(LoadString, TheModuleIsIgnored) {
    char buffer[144];
    EXPECT_EQ(LoadString(static_cast<HostWord>(-1), 21, buffer, sizeof buffer), 5);
    EXPECT_STREQ(buffer, "Width");
}

TEST(TableText, HoldsTheTextOfItsNumber) {
    EXPECT_STREQ(tivar::TableText(tivar::kTextCompressionMode).text, "Compression Mode");
    EXPECT_STREQ(tivar::TableText(static_cast<tivar::TextId>(12)).text, "Not Defined");
}

}  // namespace
