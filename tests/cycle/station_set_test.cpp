#include "cycle/station_set.h"

#include <climits>

#include "support/driver_fixture.h"
#include "support/lock_probe.h"

namespace plc::test {
namespace {

using StationSet = FreshDriver;

TEST_F(StationSet, ServesEveryStationAtFirst)
{
    for (const int station : {0, 1, 5, 247, 255, 256, -1, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(station);
        EXPECT_EQ(0, Ethernetcontains(station));
    }
}

TEST_F(StationSet, EnableZeroSwitchesAStationOff)
{
    EnCommStation(5, 0);
    EXPECT_EQ(1, Ethernetcontains(5));
}

TEST_F(StationSet, EnableOneSwitchesAStationOn)
{
    EnCommStation(5, 0);
    EnCommStation(5, 1);
    EXPECT_EQ(0, Ethernetcontains(5));
}

TEST_F(StationSet, SwitchingOffTwiceNeedsOnlyOneSwitchingOn)
{
    EnCommStation(5, 0);
    EnCommStation(5, 0);
    EnCommStation(5, 1);
    EXPECT_EQ(0, Ethernetcontains(5));
}

TEST_F(StationSet, OtherStationsAreNotTouched)
{
    EnCommStation(5, 0);
    EnCommStation(6, 0);
    EnCommStation(5, 1);
    EXPECT_EQ(1, Ethernetcontains(6));
    EXPECT_EQ(0, Ethernetcontains(4));
}

TEST_F(StationSet, StationZeroIsAStationLikeAnyOther)
{
    EnCommStation(0, 0);
    EXPECT_EQ(1, Ethernetcontains(0));
    EnCommStation(0, 1);
    EXPECT_EQ(0, Ethernetcontains(0));
}

TEST_F(StationSet, StationsAreNotCutToAByte)
{
    EnCommStation(257, 0);
    EXPECT_EQ(0, Ethernetcontains(1));
    EXPECT_EQ(1, Ethernetcontains(257));
}

TEST_F(StationSet, LargestNumberCanBeSwitchedOff)
{
    EnCommStation(INT_MAX, 0);
    EXPECT_EQ(1, Ethernetcontains(INT_MAX));
}

TEST_F(StationSet, SwitchingOnAStationThatIsOnDoesNothing)
{
    EnCommStation(6, 0);
    EnCommStation(5, 1);
    EXPECT_EQ(0, Ethernetcontains(5));
    EXPECT_EQ(1, Ethernetcontains(6));
}

TEST_F(StationSet, OtherEnableValuesDoNotSwitchOff)
{
    for (const int enable : {2, 3, 256, INT_MAX, -1, INT_MIN}) {
        SCOPED_TRACE(enable);
        EnCommStation(5, enable);
        EXPECT_EQ(0, Ethernetcontains(5));
    }
}

TEST_F(StationSet, OtherEnableValuesDoNotSwitchOn)
{
    EnCommStation(5, 0);
    for (const int enable : {2, 3, 257, INT_MAX, -1, INT_MIN}) {
        SCOPED_TRACE(enable);
        EnCommStation(5, enable);
        EXPECT_EQ(1, Ethernetcontains(5));
    }
}

TEST_F(StationSet, NegativeStationSwitchesAllOnWhateverEnableIs)
{
    for (const int enable : {0, 1, 2, 7, -1}) {
        SCOPED_TRACE(enable);
        EnCommStation(5, 0);
        EnCommStation(6, 0);
        EnCommStation(-1, enable);
        EXPECT_EQ(0, Ethernetcontains(5));
        EXPECT_EQ(0, Ethernetcontains(6));
    }
}

TEST_F(StationSet, EveryNegativeStationSwitchesAllOn)
{
    for (const int station : {-1, -2, -5, INT_MIN}) {
        SCOPED_TRACE(station);
        EnCommStation(5, 0);
        EnCommStation(station, 0);
        EXPECT_EQ(0, Ethernetcontains(5));
    }
}

TEST_F(StationSet, NegativeStationIsNeverAddedItself)
{
    EnCommStation(-1, 0);
    EXPECT_EQ(0, Ethernetcontains(-1));
    EXPECT_TRUE(PLC_driver.disabledStations.isEmpty());
}

TEST_F(StationSet, SwitchedOffStationIsKeptWithValueZero)
{
    EnCommStation(5, 0);
    ASSERT_EQ(1, PLC_driver.disabledStations.size());
    EXPECT_EQ(0, PLC_driver.disabledStations.value(5, 99));
}

TEST_F(StationSet, OnlyThePresenceOfAStationCounts)
{
    PLC_driver.disabledStations.insert(5, 1);
    EXPECT_EQ(1, Ethernetcontains(5));
}

TEST_F(StationSet, AskingAddsNothing)
{
    Ethernetcontains(5);
    EXPECT_TRUE(PLC_driver.disabledStations.isEmpty());
}

TEST_F(StationSet, SecondNameSwitchesOff)
{
    EnableEthernet(9, 0);
    EXPECT_EQ(1, Ethernetcontains(9));
}

TEST_F(StationSet, SecondNameSwitchesOn)
{
    EnCommStation(9, 0);
    EnableEthernet(9, 1);
    EXPECT_EQ(0, Ethernetcontains(9));
}

TEST_F(StationSet, SecondNameIgnoresOtherEnableValues)
{
    EnableEthernet(9, 2);
    EXPECT_EQ(0, Ethernetcontains(9));
    EnCommStation(9, 0);
    EnableEthernet(9, 2);
    EXPECT_EQ(1, Ethernetcontains(9));
}

TEST_F(StationSet, SecondNameSwitchesAllOn)
{
    EnCommStation(9, 0);
    EnableEthernet(-3, 0);
    EXPECT_EQ(0, Ethernetcontains(9));
}

TEST_F(StationSet, NeedsNoSettings)
{
    ASSERT_EQ(nullptr, PLC_driver.comInfo);
    EnCommStation(5, 0);
    EXPECT_EQ(1, Ethernetcontains(5));
}

TEST_F(StationSet, EverySwitchAndQuestionWaitsForTheStationLock)
{
    EXPECT_TRUE(waitsFor(PLC_driver.stationMutex, [] { EnCommStation(5, 0); }));
    EXPECT_TRUE(waitsFor(PLC_driver.stationMutex, [] { EnCommStation(5, 1); }));
    EXPECT_TRUE(waitsFor(PLC_driver.stationMutex, [] { EnCommStation(-1, 0); }));
    EXPECT_TRUE(waitsFor(PLC_driver.stationMutex, [] { EnableEthernet(5, 0); }));
    EXPECT_TRUE(waitsFor(PLC_driver.stationMutex, [] { Ethernetcontains(5); }));
}

TEST_F(StationSet, StationLockIsFreeAfterEveryCall)
{
    EnCommStation(5, 0);
    EXPECT_FALSE(isHeld(PLC_driver.stationMutex));
    EnCommStation(5, 1);
    EXPECT_FALSE(isHeld(PLC_driver.stationMutex));
    EnCommStation(5, 7);
    EXPECT_FALSE(isHeld(PLC_driver.stationMutex));
    EnCommStation(-1, 0);
    EXPECT_FALSE(isHeld(PLC_driver.stationMutex));
    EnableEthernet(5, 0);
    EXPECT_FALSE(isHeld(PLC_driver.stationMutex));
    Ethernetcontains(5);
    EXPECT_FALSE(isHeld(PLC_driver.stationMutex));
}

// A panel switches stations from its screens, and from callbacks, where the list lock is held.
TEST_F(StationSet, NeitherListLockNorMirrorLockIsTaken)
{
    for (QMutex *mutex : {&PLC_driver.listMutex, &PLC_driver.cacheMutex}) {
        EXPECT_TRUE(returnsDespite(*mutex, [] {
            EnCommStation(5, 0);
            EnableEthernet(5, 1);
            Ethernetcontains(5);
        }));
    }
}

} // namespace
} // namespace plc::test
