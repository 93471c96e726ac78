#include "host/driver_search.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::host;

TEST(DriverSearch, LooksBesideTheProgramThenInTheLibFolders)
{
    const auto candidates = driverCandidates("/opt/panel/bin");
    ASSERT_GE(candidates.size(), 4u);
    EXPECT_EQ("/opt/panel/bin/libplcdriver.so", candidates[0]);
    EXPECT_EQ("/opt/panel/bin/libplcdriver.so.1", candidates[1]);
    EXPECT_EQ("/opt/panel/bin/../lib/libplcdriver.so", candidates[2]);
    EXPECT_EQ("libplcdriver.so.1", candidates.back());
}

TEST(DriverSearch, TakesTheDriverThatAUserNames)
{
    EXPECT_EQ("/nowhere/libplcdriver.so", driverToLoad("/nowhere/libplcdriver.so"));
}

} // namespace
