// Data that is published for the host and that the library never reads.
#include <algorithm>

#include "support/driver_host.h"

namespace {

template <class Data>
bool isZero(const Data& data) {
    return std::all_of(std::begin(data), std::end(data), [](auto byte) { return byte == 0; });
}

TEST(Attributes, BundlesHaveTheirSizes) {
    EXPECT_EQ(sizeof dtr_def, 120u);
    EXPECT_EQ(sizeof ln_def, 824u);
    EXPECT_EQ(sizeof tx_def, 2320u);
    EXPECT_EQ(sizeof mk_def, 704u);
    EXPECT_EQ(sizeof fl_def, 904u);
    EXPECT_EQ(sizeof eg_def, 720u);
    EXPECT_EQ(sizeof GDSF_CHARSETLIST, 34u);
    EXPECT_EQ(sizeof NUM_GDSF_CHARSETS, 4u);
}

TEST(Attributes, EverythingIsZeroAtLoad) {
    EXPECT_TRUE(isZero(dtr_def));
    EXPECT_TRUE(isZero(ln_def));
    EXPECT_TRUE(isZero(tx_def));
    EXPECT_TRUE(isZero(mk_def));
    EXPECT_TRUE(isZero(fl_def));
    EXPECT_TRUE(isZero(eg_def));
    EXPECT_TRUE(isZero(GDSF_CHARSETLIST));
    EXPECT_EQ(NUM_GDSF_CHARSETS, 0);
}

}  // namespace
