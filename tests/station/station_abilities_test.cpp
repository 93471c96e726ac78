#include "station/abilities.h"

#include <gmock/gmock.h>

#include "station/station.h"

namespace {

using namespace plc::station;

Bytes read(int function, int address, int count)
{
    Bytes pdu{static_cast<std::uint8_t>(function)};
    putBe16(&pdu, static_cast<std::uint16_t>(address));
    putBe16(&pdu, static_cast<std::uint16_t>(count));
    return pdu;
}

Bytes answerOf(const Abilities &abilities, const Bytes &pdu)
{
    Station station;
    station.setAbilities(abilities);
    return station.execute(pdu);
}

TEST(StationAbilities, FunctionsThatAreNotKnownGetException01)
{
    Abilities abilities;
    abilities.functions = {3};
    EXPECT_EQ((Bytes{0x84, 1}), answerOf(abilities, read(4, 0, 1)));
    EXPECT_EQ((Bytes{3, 2, 0, 0}), answerOf(abilities, read(3, 0, 1)));
    EXPECT_EQ((Bytes{0x91, 1}), answerOf(Abilities(), {17})) << "it has nothing to tell";
    EXPECT_EQ((Bytes{0xAB, 1}), answerOf(Abilities(), {43, 14, 1, 0}));
}

TEST(StationAbilities, BlocksThatAreTooLongGetException03)
{
    Abilities abilities;
    abilities.mostRegisters = 2;
    abilities.mostBits = 3;
    EXPECT_EQ((Bytes{3, 4, 0, 0, 0, 0}), answerOf(abilities, read(3, 0, 2)));
    EXPECT_EQ((Bytes{0x83, 3}), answerOf(abilities, read(3, 0, 3)));
    EXPECT_EQ((Bytes{1, 1, 0}), answerOf(abilities, read(1, 0, 3)));
    EXPECT_EQ((Bytes{0x81, 3}), answerOf(abilities, read(1, 0, 4)));
}

TEST(StationAbilities, WhatIsLackingIsRefusedOrPassedOverInSilenceOrReadAlong)
{
    Abilities abilities;
    ASSERT_EQ("", addPresent("4x:10-11", &abilities));
    EXPECT_EQ((Bytes{3, 4, 0, 0, 0, 0}), answerOf(abilities, read(3, 10, 2)));
    EXPECT_EQ((Bytes{0x83, 2}), answerOf(abilities, read(3, 11, 2)));
    EXPECT_EQ((Bytes{0x86, 2}), answerOf(abilities, {6, 0, 12, 0, 1})) << "writes, too";
    EXPECT_EQ((Bytes{4, 2, 0, 0}), answerOf(abilities, read(4, 12, 1))) << "other areas have everything";
    abilities.lacking = Lacking::IsSilent;
    EXPECT_EQ(Bytes(), answerOf(abilities, read(3, 11, 2)));
    abilities.lacking = Lacking::ReadsZeros;
    EXPECT_EQ((Bytes{3, 4, 0, 0, 0, 0}), answerOf(abilities, read(3, 11, 2)));
    EXPECT_EQ((Bytes{0x83, 2}), answerOf(abilities, read(3, 12, 2)));
    EXPECT_NE("", addPresent("4x:11-10", &abilities));
    EXPECT_NE("", addPresent("5x:1-2", &abilities));
}

TEST(StationAbilities, TellsItsServerId)
{
    Abilities abilities;
    abilities.serverId = "AB";
    EXPECT_EQ((Bytes{17, 3, 'A', 'B', 0xFF}), answerOf(abilities, {17}));
}

TEST(StationAbilities, TellsItsObjectsByCategoryAndOneByOne)
{
    Abilities abilities;
    ASSERT_EQ("", addObject("0=A", &abilities));
    ASSERT_EQ("", addObject("4=BC", &abilities));
    EXPECT_EQ((Bytes{43, 14, 1, 0x82, 0, 0, 1, 0, 1, 'A'}), answerOf(abilities, {43, 14, 1, 0}));
    EXPECT_EQ((Bytes{43, 14, 2, 0x82, 0, 0, 1, 4, 2, 'B', 'C'}), answerOf(abilities, {43, 14, 2, 4}));
    EXPECT_EQ((Bytes{43, 14, 4, 0x82, 0, 0, 1, 4, 2, 'B', 'C'}), answerOf(abilities, {43, 14, 4, 4}));
    EXPECT_EQ((Bytes{0xAB, 2}), answerOf(abilities, {43, 14, 4, 1}));
    EXPECT_EQ((Bytes{0xAB, 3}), answerOf(abilities, {43, 14, 5, 0}));
    EXPECT_NE("", addObject("256=A", &abilities));
    EXPECT_NE("", addObject("A", &abilities));
}

TEST(StationAbilities, SaysThatMoreFollowWhereOneReplyIsTooShort)
{
    Abilities abilities;
    abilities.objects = {{0, std::string(200, 'a')}, {1, std::string(200, 'b')}};
    const Bytes reply = answerOf(abilities, {43, 14, 1, 0});
    EXPECT_EQ((Bytes{43, 14, 1, 0x81, 0xFF, 1, 1}), Bytes(reply.begin(), reply.begin() + 7));
}

} // namespace
