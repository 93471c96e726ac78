#include "runtime/master/link_settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/line/failure.h"

namespace {

using namespace plc::runtime;
using ::testing::HasSubstr;

struct Row
{
    const char *name;
    quint32 mask;
};

void PrintTo(const Row &row, std::ostream *out)
{
    *out << row.name;
}

class DriverOptions : public ::testing::TestWithParam<Row>
{};

TEST_P(DriverOptions, SetTheirBit)
{
    EXPECT_EQ(GetParam().mask, optionMask(GetParam().name));
    EXPECT_THAT(optionHelp(), HasSubstr(std::string("  ") + GetParam().name + " "));
}

INSTANTIATE_TEST_SUITE_P(Names, DriverOptions,
                         ::testing::Values(Row{"one-based", 0x001}, Row{"fc16-single", 0x002},
                                           Row{"bit-from-mirror", 0x010}, Row{"single-registers", 0x020},
                                           Row{"single-coils", 0x040}, Row{"crc-swap-requests", 0x080},
                                           Row{"crc-swap-replies", 0x100}, Row{"no-reply-single", 0x200},
                                           Row{"no-reply-block", 0x400}, Row{"no-bit-packing", 0x800}),
                         [](const auto &test) { return "Row" + std::to_string(test.index); });

TEST(DriverOption, ThatIsUnknownIsRefusedWithTheNames)
{
    try {
        optionMask("one_based");
        FAIL();
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Usage, failure.kind());
        EXPECT_THAT(failure.what(),
                    HasSubstr("--option 'one_based' is unknown; options are one-based, fc16-single"));
    }
}

TEST(Defaults, AreThoseOfTheStandard)
{
    // MODBUS over Serial Line V1.02, 2.4.1, 2.5.1 and 3.2.
    const LinkSettings settings;
    EXPECT_EQ(19200, settings.baud);
    EXPECT_EQ(Parity::Even, settings.parity);
    EXPECT_EQ(1, settings.effectiveStopBits());
    EXPECT_EQ(std::chrono::seconds(1), settings.timeout);
    EXPECT_EQ(std::chrono::milliseconds(100), settings.turnaround);
    EXPECT_LT(settings.turnaround, settings.timeout);
    EXPECT_EQ(0, settings.linkMode);
    EXPECT_EQ(0u, settings.options) << "CRC low byte first";
}

TEST(StopBits, AreTwoWithoutParityUnlessAskedOtherwise)
{
    LinkSettings settings;
    EXPECT_EQ(1, settings.effectiveStopBits());
    settings.parity = Parity::Odd;
    EXPECT_EQ(1, settings.effectiveStopBits());
    settings.parity = Parity::None;
    EXPECT_EQ(2, settings.effectiveStopBits());
    settings.stopBits = 1;
    EXPECT_EQ(1, settings.effectiveStopBits());
}

TEST(BitLimit, IsEightTimesTheWordLimitOrOne)
{
    LinkSettings settings;
    settings.maxBlock = 100;
    EXPECT_EQ(800, settings.bitLimit());
    settings.options = plc::kOptionNoBitPacking;
    EXPECT_EQ(1, settings.bitLimit());
}

} // namespace
