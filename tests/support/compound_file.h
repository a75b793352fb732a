// A compound file taken apart: header, sector table, mini sector table and directory, enough to
// point a stream at one of the streams inside.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace support {

class CompoundFile {
  public:
    struct Entry {
        std::uint32_t start;
        std::uint32_t length;
    };

    explicit CompoundFile(std::string bytes) : bytes_(std::move(bytes)) {
        require(bytes_.compare(0, 8, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1") == 0);
        require(number(30, 2) == 9 && number(32, 2) == 6 && number(56, 4) == 4096);
        for (const std::uint32_t sector : sectorsOfTheTable()) append(sectorTable, sector);
        for (const std::uint32_t sector : chain(number(60, 4))) append(miniSectorTable, sector);
        for (const std::uint32_t sector : chain(number(48, 4))) readDirectory(sector);
    }

    // 32-bit entries: what follows each sector, and each mini sector.
    std::vector<std::uint32_t> sectorTable;
    std::vector<std::uint32_t> miniSectorTable;
    std::uint32_t miniStreamStart = 0;
    std::map<std::string, Entry> streams;

  private:
    static constexpr std::uint32_t kSector = 512;
    static constexpr std::uint32_t kLastSector = 0xFFFFFFFA;

    static void require(bool condition) {
        if (!condition) throw std::runtime_error("not a compound file of the usual kind");
    }
    static std::size_t placeOf(std::uint32_t sector) { return (std::size_t{sector} + 1) * kSector; }

    std::uint32_t number(std::size_t place, std::size_t size) const {
        require(place + size <= bytes_.size());
        std::uint32_t value = 0;
        for (std::size_t i = size; i-- > 0;)
            value = value << 8 | static_cast<unsigned char>(bytes_[place + i]);
        return value;
    }

    // The header names the first 109 sectors of the sector table, a list of sectors the others.
    std::vector<std::uint32_t> sectorsOfTheTable() const {
        std::vector<std::uint32_t> found;
        const std::uint32_t count = number(44, 4);
        for (std::size_t i = 0; i < 109 && found.size() < count; ++i)
            found.push_back(number(76 + i * 4, 4));
        for (std::uint32_t list = number(68, 4); list < kLastSector && found.size() < count;
             list = number(placeOf(list) + kSector - 4, 4)) {
            for (std::size_t i = 0; i < 127 && found.size() < count; ++i)
                found.push_back(number(placeOf(list) + i * 4, 4));
        }
        return found;
    }

    std::vector<std::uint32_t> chain(std::uint32_t sector) const {
        std::vector<std::uint32_t> found;
        for (; sector < kLastSector; sector = sectorTable.at(sector)) {
            require(found.size() <= sectorTable.size());
            found.push_back(sector);
        }
        return found;
    }

    void append(std::vector<std::uint32_t>& table, std::uint32_t sector) const {
        for (std::size_t i = 0; i < kSector; i += 4)
            table.push_back(number(placeOf(sector) + i, 4));
    }

    // Four entries of 128 bytes: a name in 16-bit characters, its size, kind 5 the root, 2 a
    // stream.
    void readDirectory(std::uint32_t sector) {
        for (std::size_t at = placeOf(sector); at < placeOf(sector) + kSector; at += 128) {
            std::string name;
            for (std::size_t i = 0; i + 2 < number(at + 64, 2); i += 2)
                name += static_cast<char>(number(at + i, 1));
            const Entry entry{number(at + 116, 4), number(at + 120, 4)};
            const std::uint32_t kind = number(at + 66, 1);
            if (kind == 5) miniStreamStart = entry.start;
            if (kind == 2) streams[name] = entry;
        }
    }

    std::string bytes_;
};

}  // namespace support
