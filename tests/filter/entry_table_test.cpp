#include <algorithm>
#include <cstring>

#include "filter/identity.h"

namespace {

// What these hold before any call of the library.
const std::string g_shortNameAtLoad = tivar::szFilter;
const std::string g_moduleNameAtLoad(export_szDLLName, sizeof export_szDLLName);

template <class Function>
void* address(Function* function) {
    return reinterpret_cast<void*>(function);
}

TEST(EntryTable, HoldsNineNamedEntriesInOrder) {
    const FilterEntry expected[] = {
        {"CreateSetup", 1001, address(CreateSetup)},
        {"DestroySetup", 1002, address(DestroySetup)},
        {"EditSetup", 1003, address(EditSetup)},
        {"EscapeSetup", 1004, address(xEscapeSetup)},
        {"OXLGetFilterVersion", 1005, address(OXLGetFilterVersion)},
        {"dd_entry", 1006, address(dd_entry)},
        {"RASTER_dd_entry", 1008, address(RASTER_dd_entry)},
        {"ExportCellData", 1009, address(ExportCellData)},
        {"szDLLName", 1010, export_szDLLName},
    };
    FilterHostRecord record = {};
    fltLoadPointers(&record);
    ASSERT_EQ(record.count, std::size(expected));
    for (size_t row = 0; row < std::size(expected); ++row) {
        EXPECT_STREQ(record.entries[row].name, expected[row].name);
        EXPECT_EQ(record.entries[row].ordinal, expected[row].ordinal);
        EXPECT_EQ(record.entries[row].address, expected[row].address) << expected[row].name;
    }
}

TEST(EntryTable, AHostReachesTheLibraryThroughIt) {
    FilterHostRecord record = {};
    fltLoadPointers(&record);
    const auto version = reinterpret_cast<int32_t (*)()>(record.entries[4].address);
    EXPECT_EQ(version(), 0x02000005);
}

TEST(EntryTable, OnlyCountAndTableOfTheHostsRecordAreWritten) {
    alignas(FilterHostRecord) unsigned char bytes[sizeof(FilterHostRecord) + 16];
    std::memset(bytes, 0xA5, sizeof bytes);
    fltLoadPointers(reinterpret_cast<FilterHostRecord*>(bytes));
    const auto isWritten = [](size_t i) {
        return (i >= 4 && i < 6) || (i >= 8 && i < 8 + sizeof(void*));
    };
    for (size_t i = 0; i < sizeof bytes; ++i) {
        EXPECT_TRUE(isWritten(i) || bytes[i] == 0xA5) << i;
    }
    uint16_t count = 0;
    std::memcpy(&count, bytes + 4, sizeof count);
    EXPECT_EQ(count, 9);
}

TEST(EntryTable, EveryHostGetsTheSameTable) {
    FilterHostRecord first = {};
    FilterHostRecord second = {};
    fltLoadPointers(&first);
    fltLoadPointers(&second);
    EXPECT_EQ(first.entries, second.entries);
    fltLoadPointers(nullptr);
}

TEST(FilterIdentity, TheVersionIs205) {
    EXPECT_EQ(OXLGetFilterVersion(), 0x02000005);
    EXPECT_EQ(OXLGetFilterVersion() >> 16, 0x0200);
    EXPECT_EQ(OXLGetFilterVersion() & 0xFFFF, 5);
    EXPECT_EQ(FilterVersion, 1);
    EXPECT_EQ(FilterID, 16);
}

TEST(FilterIdentity, NamesAtLoad) {
    EXPECT_EQ(g_shortNameAtLoad, "tivar");
    EXPECT_EQ(g_moduleNameAtLoad, std::string(260, '\0'));
}

TEST(FilterIdentity, CreatingARecordPutsTheShortNameIntoUpperCase) {
    DestroySetup(CreateSetup(0, nullptr, nullptr, nullptr));
    EXPECT_STREQ(tivar::szFilter, "TIVAR");
    DestroySetup(CreateSetup(0, nullptr, nullptr, nullptr));
    EXPECT_STREQ(tivar::szFilter, "TIVAR");
}

}  // namespace
