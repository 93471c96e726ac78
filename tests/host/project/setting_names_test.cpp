#include "host/project/setting_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/line/failure.h"

namespace {

using namespace plc::host;
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
                    HasSubstr("option 'one_based' is unknown; options are one-based, fc16-single"));
    }
}

struct NamedPolicy
{
    const char *name;
    bool Policies::*flag;
};

constexpr NamedPolicy kAll[] = {
    {"discard-input", &Policies::discardInput},
    {"late-reply-guard", &Policies::lateReplyGuard},
    {"reply-check", &Policies::checkReplies},
    {"strict-writes", &Policies::strictWrites},
    {"exception-end", &Policies::endOnException},
    {"damage-end", &Policies::endOnDamage},
    {"absolute-deadline", &Policies::absoluteDeadline},
    {"offline", &Policies::offline},
    {"echo-check", &Policies::echoCheck},
};

TEST(Policy, AreTurnedOffOneByOne)
{
    for (const NamedPolicy &off : kAll) {
        Policies policies;
        turnOff(&policies, off.name);
        for (const NamedPolicy &policy : kAll)
            EXPECT_EQ(policy.flag != off.flag, policies.*policy.flag) << off.name << ", " << policy.name;
    }
}

TEST(Policy, UnknownNameIsAnsweredWithTheKnownOnes)
{
    Policies policies;
    try {
        turnOff(&policies, "echo");
        FAIL();
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Usage, failure.kind());
        EXPECT_THAT(failure.what(), HasSubstr("no policy 'echo'"));
        for (const NamedPolicy &policy : kAll)
            EXPECT_THAT(failure.what(), HasSubstr(policy.name));
    }
}

TEST(Policy, HelpNamesEachOfThem)
{
    for (const NamedPolicy &policy : kAll)
        EXPECT_THAT(policyHelp(), HasSubstr("  " + std::string(policy.name) + " ")) << policy.name;
}

TEST(ParityName, StandsForAParity)
{
    EXPECT_EQ(Parity::Even, parityNamed("even"));
    EXPECT_EQ(Parity::Odd, parityNamed("odd"));
    EXPECT_EQ(Parity::None, parityNamed("none"));
    EXPECT_THAT(parityNames(), ::testing::ElementsAre("even", "odd", "none"));
}

TEST(ParityName, ThatIsUnknownIsRefused)
{
    EXPECT_THROW(parityNamed("mark"), Failure);
    EXPECT_THROW(parityNamed("Even"), Failure);
}

TEST(Rs485Names, TakeADirectionAndTwoDelays)
{
    const Rs485 plain = rs485Named("rts-on-send");
    EXPECT_TRUE(plain.rtsOnSend);
    EXPECT_EQ(0, plain.beforeMs);
    EXPECT_EQ(0, plain.afterMs);
    const Rs485 delayed = rs485Named("rts-after-send,1,1000");
    EXPECT_FALSE(delayed.rtsOnSend);
    EXPECT_EQ(1, delayed.beforeMs);
    EXPECT_EQ(1000, delayed.afterMs);
}

TEST(Rs485Names, RefuseEverythingElse)
{
    for (const char *text :
         {"", "rts", "rts-on-send,", "rts-on-send,1", "rts-on-send,1,", "rts-on-send,1,2,3",
          "rts-on-send,-1,2", "rts-on-send,1,1001", "rts-on-send,1,99999", "rts-on-send, 1,2"})
        EXPECT_THROW(rs485Named(text), Failure) << text;
}

} // namespace
