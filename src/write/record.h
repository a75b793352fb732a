// Records of the caller's, which begin with their size: fields that an older caller does not know
// are 0, and fields that this release does not know must be.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tivar {

constexpr uint32_t kMostRecordBytes = 4096;  // more than any release will know

// Copies the caller's record; false when its size is below leastBytes, which the first release had,
// or something unknown is asked for.
template <class Record>
bool readRecord(const Record* from, size_t leastBytes, Record& record) {
    uint32_t size = 0;
    std::memcpy(&size, from, sizeof size);
    if (size < leastBytes || size > kMostRecordBytes) return false;
    const auto* bytes = reinterpret_cast<const uint8_t*>(from);
    for (size_t i = sizeof(Record); i < size; ++i)
        if (bytes[i] != 0) return false;
    record = {};
    std::memcpy(&record, from, size < sizeof(Record) ? size : sizeof(Record));
    record.size = sizeof(Record);
    return true;
}

}  // namespace tivar
