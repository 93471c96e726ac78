#include "runtime/master/driver_library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/line/failure.h"

namespace {

using namespace plc::runtime;
using ::testing::HasSubstr;

std::string refusal(const std::string &path)
{
    try {
        const DriverLibrary driver(path);
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Driver, failure.kind());
        return failure.what();
    }
    ADD_FAILURE() << path << " was taken for the driver";
    return std::string();
}

TEST(DriverLibrary, FindsEveryEntryPointOfTheBuiltLibrary)
{
    const DriverLibrary driver(PLC_DRIVER_PATH);
    EXPECT_EQ(PLC_DRIVER_PATH, driver.path());
    EXPECT_EQ(100, driver.addressOf(5, QStringLiteral("100")));
    EXPECT_EQ(163, driver.addressOf(3, QStringLiteral("10.3")));
    EXPECT_EQ(nullptr, driver.comCommunication(0)) << "nothing is set up";
}

TEST(DriverLibrary, ServesOneLineInItsLife)
{
    DriverLibrary driver(PLC_DRIVER_PATH);
    driver.claim();
    try {
        driver.claim();
        ADD_FAILURE() << "two lines have it";
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Driver, failure.kind());
        EXPECT_THAT(failure.what(), HasSubstr("another line needs a copy of its own"));
    }
}

TEST(DriverLibrary, ThatDoesNotExistIsNamedInTheError)
{
    EXPECT_THAT(refusal("/nowhere/libplcdriver.so"), HasSubstr("/nowhere/libplcdriver.so"));
    EXPECT_THAT(refusal("/nowhere/libplcdriver.so"), HasSubstr("setting 'driverFile'"));
}

TEST(DriverLibrary, ThatIsAnotherLibraryIsRefusedWithTheMissingName)
{
    EXPECT_THAT(refusal("libm.so.6"),
                HasSubstr("'libm.so.6' is not the driver: it has no entry point SetComInfo"));
}

} // namespace
