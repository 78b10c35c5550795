// FreeAll empties the table for good: surviving handles are only nulled by their release.
// Its own program, since the pool stays dead for the rest of the process.
#include "VXPoolSnapshot.h"

#include "vxsystem/VXFixedString.h"

#include <gtest/gtest.h>

#include <utility>

TEST(StringPoolFreeAll, EmptiesTableAndLaterReleasesOnlyNull)
{
    VXFixedString kFolded("Free.All");
    VXFixedStringCS kExact("Free.All");
    VXFixedStringW kWide(u"free.all");
    EXPECT_GE(vxtest::PoolSnapshot().QCount(), 3u);

    VXStringPool::FreeAll();
    EXPECT_EQ(vxtest::PoolSnapshot().QCount(), 0u);
    VXStringPool::FreeAll(); // a second call finds nothing to do

    kFolded << nullptr; // must not touch the freed entry (ASan watches)
    EXPECT_TRUE(!kFolded);
    VXFixedStringCS kMoved(std::move(kExact));
    kMoved = VXFixedStringCS(static_cast<char const*>(nullptr));
    EXPECT_TRUE(!kMoved);
} // kWide dies here, after FreeAll
