// A process with functions and data of its own that have the library's names and are visible to what it
// loads.
#include "lines/line.h"

#include <algorithm>

namespace {

int callsOfOurs = 0;

} // namespace

// Of other types than the library's, as names that are the same by accident are.
extern "C" {

int LB = 11;
int LW = 22;
int RWI = 33;

int EnCommStation()
{
    return ++callsOfOurs;
}

int SetComInfo()
{
    return ++callsOfOurs;
}

} // extern "C"

extern unsigned char PLC_driver[8192];
unsigned char PLC_driver[8192];

int getPlcReg(int);
int getPlcReg(int)
{
    return ++callsOfOurs;
}

int check_data(QByteArray *);
int check_data(QByteArray *)
{
    return ++callsOfOurs;
}

namespace plc::test {

class ProcessWithSameNames : public Lines
{};

TEST_P(ProcessWithSameNames, TheProcessShowsItsOwn)
{
    EXPECT_EQ(static_cast<void *>(&LW), dlsym(RTLD_DEFAULT, "LW"));
    EXPECT_EQ(static_cast<void *>(PLC_driver), dlsym(RTLD_DEFAULT, "PLC_driver"));
    EXPECT_EQ(reinterpret_cast<void *>(&getPlcReg), dlsym(RTLD_DEFAULT, "_Z9getPlcRegi"));
}

TEST_P(ProcessWithSameNames, LinesLeaveTheProcesssDataAlone)
{
    {
        const Line first(file(1), GetParam());
        const Line second(file(2), GetParam());
        first.addRead(7);
        first.nextFrame();
        first.receive("0103021234b533");
    }
    EXPECT_EQ(11, LB);
    EXPECT_EQ(22, LW);
    EXPECT_EQ(33, RWI);
    EXPECT_TRUE(std::all_of(std::begin(PLC_driver), std::end(PLC_driver),
                            [](unsigned char byte) { return byte == 0; }));
}

TEST_P(ProcessWithSameNames, LinesCallTheirOwnFunctions)
{
    const int before = callsOfOurs;
    const Line line(file(1), GetParam());
    line.enable(1, 0);
    line.enable(1, 1);
    line.function<void(int, int)>("EnableEthernet")(2, 0); // ends in EnCommStation
    EXPECT_EQ(1, line.function<int(int)>("_Z16Ethernetcontainsi")(2));
    line.write(1, "16");
    line.nextFrame();
    EXPECT_EQ(1, line.receive("0106001012348578"));
    EXPECT_EQ("3412", line.value("16"));
    EXPECT_EQ(before, callsOfOurs);
}

INSTANTIATE_TEST_SUITE_P(SameNames, ProcessWithSameNames, ::testing::Values(RTLD_LOCAL, RTLD_GLOBAL),
                         howLoaded);

} // namespace plc::test
