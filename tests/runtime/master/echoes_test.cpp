#include <gtest/gtest.h>

#include "runtime/master/echoes.h"
#include "support/hex.h"

namespace {

using plc::runtime::Echoes;
using plc::test::hex;

const QByteArray kWrite = hex("11 06 0064 1234 C7F2");

class EchoesOnALineThatHasThem : public ::testing::Test
{
protected:
    Echoes echoes{true};
};

TEST(EchoesOnALineWithoutThem, AreNeitherDueNorMissing)
{
    Echoes echoes(false);
    echoes.sent(kWrite);
    EXPECT_FALSE(echoes.areDue());
    EXPECT_FALSE(echoes.isMissing());
    EXPECT_EQ(std::nullopt, echoes.take(kWrite));
    EXPECT_FALSE(echoes.takeAt(kWrite, 0, 8)) << "it is the reply";
}

TEST_F(EchoesOnALineThatHasThem, AreMissingUntilTheyHaveComeCompletely)
{
    echoes.sent(kWrite);
    EXPECT_TRUE(echoes.areDue());
    EXPECT_EQ(std::nullopt, echoes.take(kWrite.left(7)));
    EXPECT_TRUE(echoes.isMissing());
    EXPECT_EQ(0, echoes.take(kWrite));
    EXPECT_FALSE(echoes.isMissing());
    EXPECT_FALSE(echoes.areDue());
}

TEST_F(EchoesOnALineThatHasThem, AreTakenOnceForEachTransmission)
{
    echoes.sent(kWrite);
    EXPECT_EQ(0, echoes.take(kWrite + kWrite));
    EXPECT_EQ(std::nullopt, echoes.take(kWrite)) << "the second is the reply";
    EXPECT_FALSE(echoes.takeAt(kWrite, 0, 8));
}

TEST_F(EchoesOnALineThatHasThem, OfEarlierTransmissionsAreDueAsWell)
{
    echoes.sent(kWrite);
    echoes.sent(kWrite);
    EXPECT_EQ(0, echoes.take(kWrite + kWrite));
    EXPECT_EQ(0, echoes.take(kWrite));
    EXPECT_FALSE(echoes.areDue());
}

TEST_F(EchoesOnALineThatHasThem, AreMissingAnewAfterEachTransmission)
{
    echoes.sent(kWrite);
    echoes.take(kWrite);
    echoes.sent(kWrite);
    EXPECT_TRUE(echoes.isMissing());
}

TEST_F(EchoesOnALineThatHasThem, MayStandBehindNoiseWhereTheyAreTheFirst)
{
    echoes.sent(kWrite);
    EXPECT_EQ(2, echoes.take(hex("55 AA") + kWrite));
}

TEST_F(EchoesOnALineThatHasThem, ButTheFirstStandAtTheVeryFrontSinceAReplyMayHoldTheSameBytes)
{
    echoes.sent(kWrite);
    echoes.sent(kWrite);
    EXPECT_EQ(0, echoes.take(kWrite));
    EXPECT_EQ(std::nullopt, echoes.take(hex("11 03 08") + kWrite));
    EXPECT_TRUE(echoes.areDue());
}

TEST_F(EchoesOnALineThatHasThem, AreTakenForThatWhereverACompleteFrameIsLikeTheRequest)
{
    echoes.sent(kWrite);
    echoes.sent(kWrite);
    EXPECT_EQ(0, echoes.take(kWrite));
    EXPECT_FALSE(echoes.takeAt(hex("55 11 06 0065 1234 9632"), 1, 8));
    EXPECT_TRUE(echoes.takeAt(hex("55") + kWrite, 1, 8));
    EXPECT_FALSE(echoes.areDue());
}

TEST_F(EchoesOnALineThatHasThem, OfEarlierTransmissionsCanBeForgotten)
{
    echoes.sent(kWrite);
    echoes.forgetEarlier();
    EXPECT_FALSE(echoes.areDue());
    EXPECT_EQ(std::nullopt, echoes.take(kWrite));
}

} // namespace
