#include <array>
#include <cstdlib>
#include <cstring>
#include <map>

#include "io/stream_kit.h"
#include "support/compound_file.h"
#include "support/random_numbers.h"

namespace {

using namespace stream_kit;
using support::CompoundFile;
using tivar::EmbeddedStream;
using tivar::Locked;
using tivar::StreamRecord;
using Table = std::vector<uint32_t>;

constexpr uint32_t kEndOfChain = 0xFFFFFFFE;

// An open container that stands for one of the streams inside it.
struct Embedded {
    Embedded(OxlStream container, const Table& sectors, const Table& miniSectors,
             uint32_t miniStreamStart, uint32_t start, uint32_t length)
        : stream(container), sectorTable(bytesOf(sectors)), miniSectorTable(bytesOf(miniSectors)) {
        EmbeddedStream& fields = embedded();
        fields.sectorTable = sectorTable.handle;
        fields.miniSectorTable = miniSectorTable.handle;
        fields.miniStreamStart = miniStreamStart;
        fields.start = start;
        fields.length = length;
        fields.flag = 1;
    }

    EmbeddedStream& embedded() const { return Locked<StreamRecord>(stream)->embedded; }
    uint32_t position() const { return embedded().position; }

    static Bytes bytesOf(const Table& table) {
        Bytes bytes(table.size() * 4);
        if (!table.empty()) std::memcpy(bytes.data(), table.data(), bytes.size());
        return bytes;
    }

    OxlStream stream;
    support::Block sectorTable;
    support::Block miniSectorTable;
};

// Sector k holds 512 bytes that all tell k and their place.
std::string sectorText(uint32_t sector) {
    return pattern(512 * (size_t{sector} + 1)).substr(512 * size_t{sector});
}

// A container of nothing but a header and sectors.
std::string container(uint32_t sectors) {
    return std::string(512, 'H') + pattern(512 * size_t{sectors});
}

std::string miniText(uint32_t holder, uint32_t slot) {
    return sectorText(holder).substr(64 * slot, 64);
}

// A large stream in sectors 5, 2, 7, 0, 1, 3, 4, 6, 8.
const Table kLargeChain = {1, 3, 7, 4, 6, 2, 8, 0, kEndOfChain};
const Table kLargeOrder = {5, 2, 7, 0, 1, 3, 4, 6, 8};

struct LargeStream {
    explicit LargeStream(uint32_t length) : embedded(file.stream, kLargeChain, {}, 0, 5, length) {
        for (const uint32_t sector : kLargeOrder) text += sectorText(sector);
        text.resize(length);
    }
    FileStream file{container(9), OXL_READ};
    Embedded embedded;
    std::string text;
};

// A small stream in mini sectors 9, 3, 17, 0, 1 ... The mini stream lies in sectors 4, 1, 2 ...
struct SmallStream {
    static constexpr uint32_t kHolders = 9;

    explicit SmallStream(uint32_t length)
        : embedded(file.stream, {5, 2, 3, 0, 1, 6, 7, 8, kEndOfChain}, miniTable(), 4, order()[0],
                   length) {
        const Table holders = {4, 1, 2, 3, 0, 5, 6, 7, 8};
        for (const uint32_t mini : order()) text += miniText(holders[mini / 8], mini % 8);
        text.resize(length);
    }

    static Table order() {
        Table list = {9, 3, 17};
        for (uint32_t mini = 0; mini < kHolders * 8; ++mini) {
            if (mini != 9 && mini != 3 && mini != 17) list.push_back(mini);
        }
        return list;
    }
    static Table miniTable() {
        Table table(kHolders * 8, kEndOfChain);
        const Table list = order();
        for (size_t i = 0; i + 1 < list.size(); ++i) table[list[i]] = list[i + 1];
        return table;
    }

    FileStream file{container(kHolders), OXL_READ};
    Embedded embedded;
    std::string text;
};

template <class Kind>
void expectReads(Kind& kind) {
    const OxlStream stream = kind.embedded.stream;
    const std::string& text = kind.text;
    for (const size_t start : {size_t{0}, size_t{1}, size_t{63}, size_t{64}, size_t{502},
                               size_t{511}, size_t{512}, size_t{1024}, text.size() - 30}) {
        for (const size_t count : {size_t{1}, size_t{10}, size_t{64}, size_t{65}, size_t{100},
                                   size_t{512}, size_t{513}, size_t{2000}, size_t{100000}}) {
            ASSERT_EQ(oxlSeek(stream, static_cast<int32_t>(start), 0), static_cast<int32_t>(start));
            const std::string wanted = text.substr(start, count);
            ASSERT_EQ(readText(stream, count), wanted) << start << ' ' << count;
            ASSERT_EQ(kind.embedded.position(), start + wanted.size());
        }
    }
}

TEST(EmbeddedRead, ALargeStreamFollowsItsChainOfSectors) {
    LargeStream large(4601);
    expectReads(large);
}

TEST(EmbeddedRead, ASmallStreamFollowsMiniSectorsInsideTheMiniStream) {
    SmallStream small(4095);
    expectReads(small);
    SmallStream shorter(1500);
    expectReads(shorter);
}

TEST(EmbeddedRead, AReadAcrossASectorsEndGoesOnInTheNextOfTheChain) {
    LargeStream large(4601);
    ASSERT_EQ(docSeek(large.embedded.stream, 502, 0), 502);
    std::string read(30, '#');
    EXPECT_EQ(docRead(large.embedded.stream, read.data(), 30), 30);
    EXPECT_EQ(read, sectorText(5).substr(502) + sectorText(2).substr(0, 20));
}

TEST(EmbeddedRead, AReadEndsAtTheStreamsLength) {
    LargeStream large(4601);
    docSeek(large.embedded.stream, 30, 2);
    std::string read(100, '#');
    EXPECT_EQ(docRead(large.embedded.stream, read.data(), 100), 30);
    EXPECT_EQ(read, large.text.substr(4571) + std::string(70, '#'));
    EXPECT_EQ(large.embedded.position(), 4601u);
    EXPECT_EQ(docRead(large.embedded.stream, read.data(), 100), 0);
    EXPECT_EQ(large.embedded.position(), 4601u);
}

TEST(EmbeddedRead, ALengthOf4095UsesMiniSectorsAnd4096Sectors) {
    // Mini sector 0 lies at the start of sector 3, sector 0 elsewhere.
    for (const uint32_t length : {1u, 4095u, 4096u}) {
        FileStream file(container(4), OXL_READ);
        const Embedded embedded(file.stream, {1, 2, 3, kEndOfChain}, {1, 2, 3, kEndOfChain}, 3, 0,
                                length);
        const uint32_t expected = length < 4096 ? 3 : 0;
        EXPECT_EQ(readText(file.stream, 1), sectorText(expected).substr(0, 1));
    }
}

TEST(EmbeddedRead, TheFlagRoutesReadsAndSeeksAndIsSetAgain) {
    LargeStream large(4601);
    const OxlStream stream = large.embedded.stream;
    for (const int32_t flag : {1, 7, -1}) {
        large.embedded.embedded().flag = flag;
        EXPECT_EQ(oxlSeek(stream, 600, 0), 600);
        EXPECT_EQ(readText(stream, 5), large.text.substr(600, 5));
        EXPECT_NE(large.embedded.embedded().flag, 0);
        EXPECT_EQ(oxlSeek(stream, 10, 2), 4591);
    }
    large.embedded.embedded().flag = 0;
    EXPECT_EQ(oxlSeek(stream, 0, 0), 0);
    EXPECT_EQ(readText(stream, 5), "HHHHH");
    EXPECT_EQ(large.embedded.position(), 4591u);
}

TEST(EmbeddedRead, AnEmptyStreamHasNothingToRead) {
    for (const uint32_t start : {0u, kEndOfChain}) {
        FileStream file(container(2), OXL_READ);
        const Embedded embedded(file.stream, {1, kEndOfChain}, {}, 0, start, 0);
        EXPECT_EQ(readText(file.stream, 10), "");
        EXPECT_EQ(oxlSeek(file.stream, 10, 0), 0);
    }
}

TEST(EmbeddedRead, UselessArgumentsReadNothing) {
    LargeStream large(4601);
    const OxlStream stream = large.embedded.stream;
    char byte = '#';
    EXPECT_EQ(docRead(0, &byte, 1), 0);
    EXPECT_LT(docRead(stream, nullptr, 10), 1);
    EXPECT_EQ(docRead(stream, &byte, 0), 0);
    for (const int32_t count : {-1, -512, INT32_MIN}) EXPECT_LT(docRead(stream, &byte, count), 1);
    // A position behind the end can only be set by hand.
    for (const uint32_t position : {4601u, 4602u, UINT32_MAX}) {
        large.embedded.embedded().position = position;
        EXPECT_EQ(docRead(stream, &byte, 1), 0);
    }
    EXPECT_EQ(byte, '#');
}

TEST(EmbeddedSeek, PlacesAreHeldToTheStreamsBounds) {
    FileStream file(container(2), OXL_READ);
    const Embedded embedded(file.stream, {}, {1, kEndOfChain}, 0, 0, 100);
    const std::vector<std::array<int32_t, 4>> cases = {// from, offset, whence, result
                                                       {0, 0, 0, 0},
                                                       {5, 99, 0, 99},
                                                       {5, 100, 0, 100},
                                                       {5, 101, 0, 100},
                                                       {5, 200, 0, 100},
                                                       {5, -1, 0, 0},
                                                       {5, INT32_MIN, 0, 0},
                                                       {5, INT32_MAX, 0, 100},
                                                       {3, -5, 1, 0},
                                                       {3, -3, 1, 0},
                                                       {3, -2, 1, 1},
                                                       {3, 0, 1, 3},
                                                       {3, 97, 1, 100},
                                                       {3, 98, 1, 100},
                                                       {3, INT32_MAX, 1, 100},
                                                       {3, INT32_MIN, 1, 0},
                                                       // From the end it counts back.
                                                       {0, 10, 2, 90},
                                                       {0, 0, 2, 100},
                                                       {0, 100, 2, 0},
                                                       {0, 101, 2, 0},
                                                       {0, -1, 2, 100},
                                                       {0, INT32_MIN, 2, 100},
                                                       {0, INT32_MAX, 2, 0},
                                                       // Unknown ways move nothing.
                                                       {42, 10, 3, -1},
                                                       {42, 10, -1, -1},
                                                       {42, 10, INT32_MAX, -1}};
    for (const auto& [from, offset, whence, result] : cases) {
        for (const bool direct : {true, false}) {
            embedded.embedded().position = static_cast<uint32_t>(from);
            EXPECT_EQ(direct ? docSeek(file.stream, offset, whence)
                             : oxlSeek(file.stream, offset, whence),
                      result)
                << offset << ' ' << whence;
            EXPECT_EQ(embedded.position(), static_cast<uint32_t>(result < 0 ? from : result));
        }
    }
    EXPECT_EQ(docSeek(0, 0, 0), -1);
    EXPECT_EQ(errorOf(file.stream), 0);
}

// How a stream's bytes come from its chain when each step is taken as it stands, zeros behind the
// table's end included.
std::string chainText(const Table& table, uint32_t start, size_t length) {
    std::string text;
    for (uint32_t sector = start; text.size() < length;
         sector = sector < table.size() ? table[sector] : 0)
        text += sectorText(sector);
    text.resize(length);
    return text;
}

TEST(EmbeddedChain, CyclesAndShortTablesAreFollowedAsTheyStand) {
    const struct {
        const char* what;
        Table table;
        uint32_t start;
    } cases[] = {{"two sectors in a ring", {1, 0}, 0},
                 {"one sector that follows itself", {7, 1}, 1},
                 {"a ring behind a lead", {3, 2, 1, 1}, 0},
                 {"a table too short for its chain", {3, 2}, 1},
                 {"no table", {}, 2}};
    constexpr uint32_t kLength = 20000;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        FileStream file(container(4), OXL_READ);
        const Embedded embedded(file.stream, c.table, {}, 0, c.start, kLength);
        const std::string text = chainText(c.table, c.start, kLength);
        EXPECT_EQ(readText(file.stream, kLength + 1), text);
        // However the place is reached.
        for (const int32_t place : {0, 511, 512, 1500, 2048, 2600, 5000, 15000, 19999}) {
            ASSERT_EQ(oxlSeek(file.stream, place, 0), place);
            EXPECT_EQ(readText(file.stream, 700), text.substr(static_cast<size_t>(place), 700))
                << place;
        }
    }
}

// Sector 3 has no entry in a table of three, whatever stands behind it: sector 0 follows.
TEST(EmbeddedChain, WhatLiesBehindATableIsNoPartOfIt) {
    uint32_t words[] = {1, 2, 3, 2, 2, 2};
    const support::Block table(GlobalPointerToHandle(words, 12));
    FileStream file(container(4), OXL_READ);
    const Embedded embedded(file.stream, {}, {}, 0, 0, 5000);
    embedded.embedded().sectorTable = table.handle;
    EXPECT_EQ(readText(file.stream, 5000), chainText({1, 2, 3}, 0, 5000));
}

TEST(EmbeddedChain, AMiniStreamsOwnRingIsFollowedToo) {
    // Mini sectors 0 and 30 in turn, held by the ring of sectors 2, 1.
    FileStream file(container(3), OXL_READ);
    Table minis(31, 0);
    minis[0] = 30;
    const Embedded embedded(file.stream, {0, 2, 1}, minis, 2, 0, 1000);
    std::string text;
    // Mini sector 30 lies in the fourth sector of 2, 1, 2, 1.
    while (text.size() < 1000) text += miniText(2, 0) + miniText(1, 6);
    text.resize(1000);
    EXPECT_EQ(readText(file.stream, 1000), text);
    EXPECT_EQ(oxlSeek(file.stream, 950, 0), 950);
    EXPECT_EQ(readText(file.stream, 100), text.substr(950));
}

TEST(EmbeddedChain, HostileTablesEnd) {
    support::Random random(20240711);
    for (int round = 0; round < 300; ++round) {
        const auto number = [&] {
            const uint32_t value = random();
            return value % 3 != 0 ? value % 8 : value;
        };
        Table sectors(random() % 6);
        Table minis(random() % 6);
        for (uint32_t& entry : sectors) entry = number();
        for (uint32_t& entry : minis) entry = number();
        FileStream file(container(random() % 6), OXL_READ);
        const uint32_t length = random() % 2 != 0 ? random() % 5000 : random();
        const Embedded embedded(file.stream, sectors, minis, number(), number(), length);
        for (int step = 0; step < 4; ++step) {
            oxlSeek(file.stream,
                    static_cast<int32_t>(random() % 2 != 0 ? random() % 6000 : random()),
                    static_cast<int32_t>(random() % 3));
            std::string read(3000, '#');
            const int32_t count = docRead(file.stream, read.data(), 3000);
            EXPECT_LE(count, 3000);
            EXPECT_GE(count, -1);
            EXPECT_LE(embedded.position(), length);
        }
    }
}

TEST(EmbeddedChain, WithoutTablesNothingIsFollowed) {
    FileStream file(container(2), OXL_READ);
    Embedded embedded(file.stream, {}, {}, 0, 1, 4096);
    embedded.embedded().sectorTable = 0;
    embedded.embedded().miniSectorTable = 0;
    EXPECT_EQ(readText(file.stream, 512), sectorText(1));
    embedded.embedded().length = 64;
    embedded.embedded().position = 0;
    EXPECT_EQ(readText(file.stream, 64), miniText(0, 1));
}

TEST(EmbeddedRead, AShortFileEndsTheReadBehindTheWantedCount) {
    // Sectors 0, 1, 2 and 100 bytes of sector 3.
    const std::string whole = container(4);
    FileStream file(whole.substr(0, whole.size() - 412), OXL_READ);
    const Embedded embedded(file.stream, {1, 2, 3, 4, kEndOfChain}, {}, 0, 0, 5000);
    std::string read(5000, '#');
    EXPECT_EQ(oxlRead(file.stream, read.data(), 5000), 2048);
    EXPECT_EQ(embedded.position(), 2048u);
    EXPECT_EQ(read.substr(0, 1636), pattern(1636));
    EXPECT_EQ(read.substr(1636), std::string(5000 - 1636, '#'));
    EXPECT_NE(embedded.embedded().flag, 0);
    // What is there is still read.
    EXPECT_EQ(oxlSeek(file.stream, 1000, 0), 1000);
    EXPECT_EQ(readText(file.stream, 100), pattern(1100).substr(1000));
}

// A read of 3000 bytes that comes to such a sector behind two good ones.
TEST(EmbeddedRead, ASectorThatCannotBeCountsAsAShortRead) {
    for (const uint32_t impossible :
         {uint32_t{4}, uint32_t{100}, uint32_t{0x3FFFFF}, uint32_t{0x400000}, uint32_t{0x800000},
          kEndOfChain, uint32_t{0xFFFFFFFF}}) {
        SCOPED_TRACE(impossible);
        FileStream file(container(4), OXL_READ);
        const Embedded embedded(file.stream, {1, impossible}, {}, 0, 0, 5000);
        std::string read(3000, '#');
        EXPECT_EQ(oxlRead(file.stream, read.data(), 3000), 1536);
        EXPECT_EQ(embedded.position(), 1536u);
        EXPECT_EQ(read, pattern(1024) + std::string(1976, '#'));
        EXPECT_NE(embedded.embedded().flag, 0);
    }
}

TEST(EmbeddedRead, AMiniSectorThatCannotBeCountsAsAShortRead) {
    // Mini sector 8 lies in the mini stream's second sector, which is nowhere.
    FileStream file(container(2), OXL_READ);
    const Embedded embedded(file.stream, {kEndOfChain}, {8, 0, 0, 0, 0, 0, 0, 0, 0}, 0, 0, 1000);
    std::string read(1000, '#');
    EXPECT_EQ(oxlRead(file.stream, read.data(), 1000), 128);
    EXPECT_EQ(embedded.position(), 128u);
    EXPECT_EQ(read, miniText(0, 0) + std::string(936, '#'));
}

// Containers made by another program.
class RealContainer : public testing::Test {
  protected:
    static constexpr uint32_t kSizes[] = {0, 1, 63, 64, 4095, 4096, 100000};

    static std::string program() {
        if (const char* named = std::getenv("TIVAR_GSF")) return named;
        return std::system("command -v gsf >/dev/null 2>&1") == 0 ? "gsf" : "";
    }

    // False when there is no program to make it with.
    bool make() {
        const std::string tool = program();
        if (tool.empty()) return false;
        std::string command = "'";
        command.append(tool)
            .append("' createole '")
            .append(directory.path("container"))
            .append("'");
        support::Random random(4095);
        for (const uint32_t size : kSizes) {
            const std::string name = "stream" + std::to_string(size);
            std::string& text = texts[name];
            while (text.size() < size) text += static_cast<char>(random.byte());
            command.append(" '").append(directory.write(name, text)).append("'");
        }
        command.append(" >'").append(directory.path("log")).append("' 2>&1");
        EXPECT_EQ(std::system(command.c_str()), 0) << directory.read("log");
        return true;
    }

    TempDirectory directory;
    std::map<std::string, std::string> texts;
};

TEST_F(RealContainer, EveryStreamReadsAsItWasPutIn) {
    if (!make()) GTEST_SKIP() << "no program that makes compound files";
    const std::string path = directory.path("container");
    const CompoundFile parsed(support::readFile(path));
    ASSERT_EQ(parsed.streams.size(), texts.size());
    support::Random random(64);
    for (const auto& [name, text] : texts) {
        SCOPED_TRACE(name);
        const CompoundFile::Entry entry = parsed.streams.at(name);
        ASSERT_EQ(entry.length, text.size());
        const OxlStream stream = oxlOpen(path.c_str(), nullptr, OXL_READ);
        ASSERT_NE(stream, 0u);
        const Embedded embedded(stream, parsed.sectorTable, parsed.miniSectorTable,
                                parsed.miniStreamStart, entry.start, entry.length);
        EXPECT_TRUE(readText(stream, text.size() + 1000) == text);
        EXPECT_EQ(readText(stream, 1), "");
        for (int i = 0; i < 500; ++i) {
            const size_t place = random() % (text.size() + 1);
            const size_t count = 1 + random() % (i % 2 != 0 ? 100 : 6000);
            ASSERT_EQ(oxlSeek(stream, static_cast<int32_t>(text.size() - place), 2),
                      static_cast<int32_t>(place));
            ASSERT_TRUE(readText(stream, count) == text.substr(place, count))
                << place << ' ' << count;
        }
        EXPECT_EQ(oxlSeek(stream, 0, 0), 0);
        std::string inPieces;
        for (std::string piece; !(piece = readText(stream, 777)).empty();) inPieces += piece;
        EXPECT_TRUE(inPieces == text);
        EXPECT_EQ(oxlClose(stream), 0);
    }
}

}  // namespace
