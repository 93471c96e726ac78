#include "runtime/master/other_master.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/hex.h"

namespace {

using plc::runtime::OtherMaster;
using plc::test::hex;
using plc::test::withCrc;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const QByteArray kOurs = withCrc("11 03 0064 0002");

/// Whom somebody else asks in what is heard up to our next request.
std::vector<int> askedIn(const std::vector<QByteArray> &heard, const QByteArray &ours = kOurs)
{
    OtherMaster other;
    std::vector<int> asked = other.sent(ours);
    for (const QByteArray &bytes : heard) {
        for (const int station : other.heard(bytes))
            asked.push_back(station);
    }
    for (const int station : other.sent(ours))
        asked.push_back(station);
    return asked;
}

TEST(OtherMaster, IsKnownByItsRequests)
{
    EXPECT_THAT(askedIn({withCrc("04 03 0000 000A")}), ElementsAre(4));
    EXPECT_THAT(askedIn({withCrc("04 10 0000 0001 02 0007")}), ElementsAre(4));
    EXPECT_THAT(askedIn({withCrc("04 03 0000 000A") + withCrc("05 04 0000 0001")}), ElementsAre(4, 5));
}

TEST(OtherMaster, IsKnownWhereItsRequestComesInPieces)
{
    const QByteArray request = withCrc("04 03 0000 000A");
    EXPECT_THAT(askedIn({request.left(1), request.mid(1, 4), request.mid(5)}), ElementsAre(4));
}

TEST(OtherMaster, IsNotWhoseRepliesAreHeard)
{
    EXPECT_THAT(askedIn({withCrc("04 03 04 1234 ABCD")}), IsEmpty());
    EXPECT_THAT(askedIn({withCrc("04 03 0000 0002") + withCrc("04 03 04 1234 ABCD")}), ElementsAre(4))
        << "once";
    EXPECT_THAT(askedIn({withCrc("04 83 02"), hex("55 55 55")}), IsEmpty());
}

TEST(OtherMaster, WritesOneRegisterWhereRequestAndReplyHaveCome)
{
    const QByteArray write = withCrc("04 06 0000 0007");
    EXPECT_THAT(askedIn({write}), IsEmpty()) << "it may be a reply";
    EXPECT_THAT(askedIn({write + write}), ElementsAre(4));
}

TEST(OtherMaster, IsNotWeOurselves)
{
    EXPECT_THAT(askedIn({kOurs}), IsEmpty()) << "an echo";
    const QByteArray write = withCrc("11 06 0064 0002");
    EXPECT_THAT(askedIn({write + write}, write), IsEmpty()) << "an echo and a late reply";
}

TEST(OtherMaster, IsNotWeOurselvesHoweverLateADoubledReplyComes)
{
    OtherMaster other;
    const QByteArray write = withCrc("11 06 0064 0002");
    other.sent(write);
    other.sent(kOurs);
    other.sent(withCrc("12 03 0000 0001"));
    EXPECT_THAT(other.heard(write + write), IsEmpty());
    EXPECT_THAT(other.sent(kOurs), IsEmpty());
    const QByteArray theirs = withCrc("11 06 0064 0003");
    EXPECT_THAT(other.heard(theirs + theirs), ElementsAre(0x11));
}

TEST(OtherMaster, AsksNothingAcrossWhatLiesBetween)
{
    OtherMaster other;
    const QByteArray request = withCrc("04 03 0000 000A");
    EXPECT_THAT(other.heard(request.left(3)), IsEmpty());
    EXPECT_THAT(other.interrupted(), IsEmpty());
    EXPECT_THAT(other.heard(request.mid(3)), IsEmpty());
    EXPECT_THAT(other.sent(kOurs), IsEmpty());
}

} // namespace
