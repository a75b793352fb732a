#include <sys/mman.h>
#include <unistd.h>

#include <fstream>
#include <random>

#include "io/plain_stream.h"
#include "io/stream_kit.h"

namespace {

using namespace stream_kit;

class RandomSequence {
  public:
    explicit RandomSequence(uint32_t seed) : random_(seed) {}

    int32_t below(int32_t end) {
        return static_cast<int32_t>(random_() % static_cast<uint32_t>(end));
    }
    int32_t between(int32_t least, int32_t most) { return least + below(most - least + 1); }
    bool once(int32_t in) { return below(in) == 0; }

    template <class T, size_t N>
    T of(const T (&list)[N]) {
        return list[below(static_cast<int32_t>(N))];
    }

    Bytes bytes(int32_t count) {
        Bytes list(static_cast<size_t>(count));
        for (uint8_t& byte : list) byte = static_cast<uint8_t>(random_() >> 20);
        return list;
    }

    // One operation on both; false where they differ.
    bool step(OxlStream stream, plain::Stream& plain, const std::vector<int32_t>& sizes) {
        const int32_t size = sizes[static_cast<size_t>(below(static_cast<int32_t>(sizes.size())))];
        const int32_t choice = below(20);
        if (choice < 6) return write(stream, plain, below(size + 1));
        if (choice < 11) return read(stream, plain, below(size + 1));
        if (choice < 14) return seek(stream, plain, between(-1, 2 * size), SEEK_SET);
        if (choice < 15) return seek(stream, plain, plain.position() + between(-3, 3), SEEK_SET);
        if (choice < 17) return seek(stream, plain, between(-size, size), SEEK_CUR);
        if (choice < 18) return seekEnd(stream, plain, size);
        if (choice < 19) {
            note("flush");
            return same(FlushOxlIO(stream), plain.flush());
        }
        if (once(4)) return seek(stream, plain, below(5), of({3, -1, 99}));
        note("fill");
        return same(FillOxlIOBuf(stream), plain.fill());
    }

    std::string trace;
    // In a block, a seek from the end stays behind the block's start.
    bool inBlock = false;

  private:
    void note(const std::string& operation) { trace += operation + "\n"; }

    bool same(int32_t result, int32_t expected) {
        trace += "    " + std::to_string(expected) + ", is " + std::to_string(result) + "\n";
        return result == expected;
    }

    bool write(OxlStream stream, plain::Stream& plain, int32_t count) {
        note("write " + std::to_string(count));
        const Bytes list = bytes(count);
        // An empty list has no address.
        const uint8_t none = 0;
        return same(oxlWrite(stream, count == 0 ? &none : list.data(), count), plain.write(list));
    }

    bool read(OxlStream stream, plain::Stream& plain, int32_t count) {
        note("read " + std::to_string(count));
        Bytes expected;
        Bytes list(static_cast<size_t>(count) + 1);
        const int32_t wanted = plain.read(expected, count);
        const int32_t result = oxlRead(stream, list.data(), count);
        if (!same(result, wanted)) return false;
        if (result >= 0) list.resize(static_cast<size_t>(result));
        return result < 0 || list == expected;
    }

    bool seek(OxlStream stream, plain::Stream& plain, int32_t offset, int32_t whence) {
        note("seek " + std::to_string(offset) + " from " + std::to_string(whence));
        return same(oxlSeek(stream, offset, whence), plain.seek(offset, whence));
    }

    bool seekEnd(OxlStream stream, plain::Stream& plain, int32_t size) {
        int32_t offset = between(-size, size / 2);
        if (inBlock) offset = std::max(offset, -1 - plain.high());
        return seek(stream, plain, offset, SEEK_END);
    }

    std::mt19937 random_;
};

// Runs operations until the end, or until stream and plain stream differ.
void expectSameSteps(RandomSequence& sequence, OxlStream stream, plain::Stream& plain,
                     const std::vector<int32_t>& sizes, int32_t steps) {
    for (int32_t i = 0; i < steps; ++i) {
        ASSERT_TRUE(sequence.step(stream, plain, sizes)) << sequence.trace;
        ASSERT_EQ(positionOf(stream), plain.position()) << sequence.trace;
        ASSERT_EQ(errorOf(stream), plain.error()) << sequence.trace;
    }
}

struct Opening {
    int32_t mode;
    const char* lentAs;  // null: opened by name
    bool truncates;
    bool reads;
    bool writes;
};

const Opening kOpenings[] = {
    {0, nullptr, false, true, false},    {1, nullptr, true, true, true},
    {2, nullptr, false, true, true},     {3, nullptr, false, true, true},
    {0x1000, nullptr, true, true, true}, {0x1001, nullptr, true, true, true},
    {0x1002, nullptr, true, true, true}, {0x0100, nullptr, false, true, false},
    {OXL_LENT, "r", false, true, false}, {OXL_LENT, "r+", false, true, true},
    {OXL_LENT, "w", true, false, true},  {OXL_LENT, "w+", true, true, true},
};

TEST(RandomSequences, OnFilesGiveWhatThePlainStreamGives) {
    // In memory: what a disk takes for thousands of files is none of this test's business.
    const int memory = memfd_create("file", 0);
    const std::string path = "/proc/self/fd/" + std::to_string(memory);
    for (uint32_t seed = 1; seed <= 2000; ++seed) {
        SCOPED_TRACE(seed);
        RandomSequence sequence(seed);
        const bool large = seed % 4 == 0;
        const std::vector<int32_t> sizes =
            large ? std::vector<int32_t>{20, 12287, 12288, 12289, 15000}
                  : std::vector<int32_t>{2, 10, 40};
        Bytes file = sequence.bytes(sequence.below(large ? 40000 : 60));
        std::ofstream(path, std::ios::binary) << std::string(file.begin(), file.end());

        const Opening& opening = sequence.of(kOpenings);
        if (opening.truncates) file.clear();
        FILE* lent = opening.lentAs == nullptr ? nullptr : std::fopen(path.c_str(), opening.lentAs);
        if (lent != nullptr) std::fseek(lent, sequence.below(30), SEEK_SET);
        OxlStreamDesc descriptor = {};
        descriptor.lentFile = reinterpret_cast<HostWord>(lent);
        const OxlStream stream = oxlOpen(path.c_str(), &descriptor, opening.mode);
        ASSERT_NE(stream, 0u);

        plain::Stream plain =
            plain::Stream::overFile(file, opening.mode, opening.reads, opening.writes);
        expectSameSteps(sequence, stream, plain, sizes, large ? 12 : 25);
        EXPECT_EQ(oxlClose(stream), plain.close()) << sequence.trace;
        if (lent != nullptr) std::fclose(lent);
        EXPECT_EQ(support::readFile(path), std::string(file.begin(), file.end())) << sequence.trace;
        if (HasFailure()) break;
    }
    close(memory);
}

TEST(RandomSequences, OnMemoryBlocksGiveWhatThePlainStreamGives) {
    for (uint32_t seed = 1; seed <= 4000; ++seed) {
        SCOPED_TRACE(seed);
        RandomSequence sequence(seed);
        Bytes bytes = sequence.bytes(sequence.between(1, 60));
        // The shown part holds something, and ends with a mark and zeros as a closed stream's does.
        int32_t size = sequence.between(1, static_cast<int32_t>(bytes.size()));
        if (sequence.once(2)) size = static_cast<int32_t>(bytes.size());
        const int32_t mark = sequence.below(size);
        for (int32_t i = mark; i < size; ++i) bytes[static_cast<size_t>(i)] = i == mark ? 0xFF : 0;
        const int32_t step = sequence.of({0, 1, 3, 16, 100});
        const int32_t mode = sequence.of({0, 1, 2, 3, 0x1000, 0x1001, 0x1002});
        sequence.inBlock = true;

        BlockStream block(bytes, static_cast<HostWord>(size), static_cast<HostWord>(step), mode);
        ASSERT_NE(block.stream, 0u);
        plain::Stream plain = plain::Stream::overBlock(bytes, size, step, mode);
        EXPECT_EQ(block.descriptor.size, static_cast<HostWord>(size));
        for (int32_t i = 0; i < 30; ++i) {
            expectSameSteps(sequence, block.stream, plain, {1, 5, 30, 60}, 1);
            if (HasFatalFailure()) return;
            // The caller's variable always leads to the bytes.
            const auto* data = static_cast<const uint8_t*>(block.data);
            for (int32_t k = 0; k <= plain.limit(); ++k)
                ASSERT_EQ(data[k], plain.block()[static_cast<size_t>(k)]) << k << sequence.trace;
        }
        EXPECT_EQ(block.close(), plain.close()) << sequence.trace;
        EXPECT_EQ(block.block(), plain.block()) << sequence.trace;
        if (HasFailure()) return;
    }
}

}  // namespace
