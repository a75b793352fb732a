// Reading a stream that is embedded in a compound file: a chain of 512-byte sectors, or, for short
// streams, of 64-byte mini sectors that lie in the mini stream's own chain of sectors.
#include <tivar/stream.h>

#include <algorithm>
#include <cstring>

#include "io/stream_record.h"

namespace tivar {
namespace {

constexpr uint32_t kSectorSize = 512;
constexpr uint32_t kMiniSectorSize = 64;
constexpr uint32_t kLongestMiniStream = 4095;

// A sector table: entry k is what follows sector k. Entries behind the table's end are 0.
struct SectorTable {
    explicit SectorTable(MemHandle handle) : block(handle), entries(GlobalSize(handle) / 4) {}
    uint32_t next(uint32_t sector) const {
        uint32_t entry = 0;
        if (sector < entries && block) std::memcpy(&entry, block.data + size_t{sector} * 4, 4);
        return entry;
    }
    Locked<const uint8_t> block;
    uint32_t entries;
};

uint32_t follow(uint32_t sector, uint64_t steps, const SectorTable& table) {
    for (; steps > 0; --steps) sector = table.next(sector);
    return sector;
}

// The (mini) sector that holds the position.
uint32_t walkChain(uint32_t start, uint64_t position, uint32_t unit, const SectorTable& table) {
    const uint64_t steps = position / unit;
    // A walk longer than this goes round in a ring, of which whole turns are left out.
    const uint64_t lead = 2 * (uint64_t{table.entries} + 1);
    if (steps <= lead) return follow(start, steps, table);
    const uint32_t inRing = follow(start, lead, table);
    uint64_t turn = 1;
    for (uint32_t at = table.next(inRing); at != inRing; at = table.next(at)) ++turn;
    return follow(inRing, (steps - lead) % turn, table);
}

// Puts the routing flag aside while the container file itself is read.
struct ContainerAccess {
    explicit ContainerAccess(EmbeddedStream& stream) : embedded(stream), flag(stream.flag) {
        embedded.flag = 0;
    }
    ~ContainerAccess() { embedded.flag = flag; }
    ContainerAccess(const ContainerAccess&) = delete;
    ContainerAccess& operator=(const ContainerAccess&) = delete;
    EmbeddedStream& embedded;
    int32_t flag;
};

// The place in the file of an offset within a (mini) sector.
int64_t fileOffset(const EmbeddedStream& stream, const SectorTable& sectors, bool mini,
                   uint32_t unit, uint32_t offset) {
    if (!mini) return (int64_t{unit} + 1) * kSectorSize + offset;
    const uint64_t place = uint64_t{unit} * kMiniSectorSize + offset;
    const uint32_t holder = walkChain(stream.miniStreamStart, place, kSectorSize, sectors);
    return (int64_t{holder} + 1) * kSectorSize + static_cast<int64_t>(place % kSectorSize);
}

// Nothing is read of a sector at no place of the file.
int32_t readAt(OxlStream stream, int64_t place, uint8_t* buffer, uint32_t count) {
    if (place > INT32_MAX) return 0;
    if (oxlSeek(stream, static_cast<int32_t>(place), SEEK_SET) != place) return 0;
    return oxlRead(stream, buffer, static_cast<int32_t>(count));
}

int32_t readEmbedded(OxlStream stream, EmbeddedStream& embedded, uint8_t* buffer, uint32_t count) {
    const SectorTable sectors(embedded.sectorTable);
    const SectorTable miniSectors(embedded.miniSectorTable);
    const bool mini = embedded.length <= kLongestMiniStream;
    const uint32_t unitSize = mini ? kMiniSectorSize : kSectorSize;
    const SectorTable& table = mini ? miniSectors : sectors;
    uint32_t unit = walkChain(embedded.start, embedded.position, unitSize, table);
    int32_t total = 0;
    while (count > 0) {
        const uint32_t offset = embedded.position % unitSize;
        const uint32_t wanted = std::min(unitSize - offset, count);
        const int64_t place = fileOffset(embedded, sectors, mini, unit, offset);
        const int32_t read = readAt(stream, place, buffer, wanted);
        // Kept: a short read advances by what was wanted, and is the last.
        buffer += wanted;
        count -= wanted;
        total += static_cast<int32_t>(wanted);
        embedded.position += wanted;
        unit = table.next(unit);
        if (read != static_cast<int32_t>(wanted)) break;
    }
    return total;
}

uint32_t clampPosition(const EmbeddedStream& stream, int64_t position) {
    return static_cast<uint32_t>(std::clamp<int64_t>(position, 0, stream.length));
}

}  // namespace
}  // namespace tivar

using namespace tivar;

int32_t docRead(OxlStream stream, void* buffer, int32_t count) {
    const StreamUse record(stream);
    if (!record) return 0;
    EmbeddedStream& embedded = record->embedded;
    if (buffer == nullptr || count < 1 || embedded.position >= embedded.length) return 0;
    const ContainerAccess access(embedded);
    const uint32_t left = embedded.length - embedded.position;
    return readEmbedded(stream, embedded, static_cast<uint8_t*>(buffer),
                        std::min(static_cast<uint32_t>(count), left));
}

int32_t docSeek(OxlStream stream, int32_t offset, int32_t whence) {
    const Locked<StreamRecord> record(stream);
    if (!record) return kFailed;
    EmbeddedStream& embedded = record->embedded;
    switch (whence) {
        case SEEK_SET:
            embedded.position = clampPosition(embedded, offset);
            break;
        case SEEK_CUR:
            embedded.position = clampPosition(embedded, int64_t{embedded.position} + offset);
            break;
        // Kept: an offset from the end counts back from it.
        case SEEK_END:
            embedded.position = clampPosition(embedded, int64_t{embedded.length} - offset);
            break;
        default:
            return kFailed;
    }
    return static_cast<int32_t>(embedded.position);
}
