#include "host/finding/identification.h"

#include <gmock/gmock.h>

#include "host/virtual_port.h"

namespace {

using namespace plc;
using namespace plc::host;
using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::Pair;

constexpr int kStation = 5;

class IdentifierTest : public ::testing::Test
{
protected:
    Identification identify(bool hasEcho = false)
    {
        station::StationBus bus({kStation});
        bus.station(kStation)->setAbilities(abilities);
        station::LineSettings line;
        line.baud = 19200;
        test::VirtualPort port(line, &bus);
        port.hasEcho = hasEcho;
        FindingGround ground = port.ground();
        Asking asking(test::askingAt(19200));
        Identifier identifier(asked);
        EXPECT_TRUE(carryOut(ground, asking, identifier));
        EXPECT_TRUE(port.hasOnlyRead());
        for (const QByteArray &frame : port.sent())
            identificationRequests += frame.at(1) == 43 ? 1 : 0;
        return identifier.result();
    }

    station::Abilities abilities;
    int asked = kStation;
    int identificationRequests = 0;
};

TEST_F(IdentifierTest, TellsTheBasicObjects)
{
    abilities.objects = {{0, "Acme"}, {1, "PUMP-7"}, {2, "V1.4"}};
    const Identification found = identify();
    EXPECT_THAT(found.objects, ElementsAre(Pair(0, "Acme"), Pair(1, "PUMP-7"), Pair(2, "V1.4")));
    EXPECT_EQ("basic, single objects too", levelName(found.level));
    EXPECT_FALSE(found.isCut);
    EXPECT_EQ(1, identificationRequests);
}

TEST_F(IdentifierTest, TellsRegularAndExtendedObjectsWhereTheStationHasThem)
{
    abilities.objects = {{0, "Acme"}, {1, "PUMP-7"}, {2, "V1.4"}, {4, "Pump"}, {0x80, "own"}, {0x91, "more"}};
    const Identification found = identify();
    EXPECT_EQ(6u, found.objects.size());
    EXPECT_EQ("own", found.objects.at(0x80));
    EXPECT_EQ("more", found.objects.at(0x91));
    EXPECT_EQ("extended, single objects too", levelName(found.level));
}

TEST_F(IdentifierTest, FollowsWhatMoreThereIs)
{
    for (const int number : {0, 1, 2})
        abilities.objects[number] = std::string(150, static_cast<char>('a' + number));
    const Identification found = identify();
    ASSERT_EQ(3u, found.objects.size());
    EXPECT_EQ(QByteArray(150, 'c'), found.objects.at(2));
    EXPECT_EQ(3, identificationRequests);
    EXPECT_FALSE(found.isCut);
}

TEST_F(IdentifierTest, AStationWithoutEndCostsEightRequests)
{
    abilities.objects = {{0, "Acme"}, {1, "PUMP-7"}, {2, "V1.4"}, {4, "Pump"}};
    abilities.endlessObjects = true;
    const Identification found = identify();
    EXPECT_EQ(8, identificationRequests);
    EXPECT_TRUE(found.isCut);
    EXPECT_EQ("Acme", found.objects.at(0));
}

TEST_F(IdentifierTest, TellsTheServerIdAndTheEchoTest)
{
    abilities.serverId = "station of Acme";
    const Identification found = identify();
    EXPECT_EQ(QByteArray("station of Acme\xFF"), found.serverIdData());
    EXPECT_TRUE(found.echoTest.answer.isReply());
    EXPECT_EQ("exception 01 illegal function", describe(found.identification.answer));
    EXPECT_EQ(1, identificationRequests) << "what is no function has no single objects";
    EXPECT_TRUE(found.isKnown());
}

TEST_F(IdentifierTest, AnEchoOfTheLineIsNoEchoOfTheStation)
{
    abilities.functions = {3};
    const Identification found = identify(true);
    EXPECT_EQ(AnswerKind::Exception, found.echoTest.answer.kind);
    EXPECT_TRUE(found.isThere());
    EXPECT_FALSE(found.isKnown());
}

TEST_F(IdentifierTest, WhereNobodyIsNobodyIsFound)
{
    asked = 9;
    const Identification found = identify(true);
    EXPECT_FALSE(found.isThere());
    EXPECT_EQ("nothing but the request itself", describe(found.echoTest.answer));
}

} // namespace
