// What a line tells of a variable besides its values, and what it refuses before anything is sent.

#include <gmock/gmock.h>

#include "line_fixture.h"

namespace {

using namespace plcruntime;
using plc::test::LineTest;
using ::testing::HasSubstr;

class LineDetails : public LineTest
{
protected:
    /// First register and number of each read that was sent, as "0+2".
    std::vector<std::string> reads() const
    {
        std::vector<std::string> found;
        for (const QByteArray &frame : world.frames) {
            const auto word = [&](int at) {
                return static_cast<unsigned char>(frame.at(at)) * 256 +
                       static_cast<unsigned char>(frame.at(at + 1));
            };
            const std::string read = std::to_string(word(2)) + "+" + std::to_string(word(4));
            if (frame.at(1) == 3 && std::count(found.begin(), found.end(), read) == 0)
                found.push_back(read);
        }
        std::sort(found.begin(), found.end());
        return found;
    }
};

TEST_F(LineDetails, GiveTheRegistersOfAValueAsTheyCame)
{
    world.registers[{1, 10}] = 0xC148;
    world.registers[{1, 11}] = 0x0102;
    const VariableId real = shown("4x:10/f32.cdab@1");
    const VariableId pair = shown("4x_d:10@1");
    open();
    run(200);
    EXPECT_EQ("c1480102", value(real).raw.toHex().toStdString()) << "in the order of addresses";
    EXPECT_EQ("c1480102", value(pair).raw.toHex().toStdString());
    const OrderResult result = line().wait(line().readOnce(real));
    EXPECT_EQ("c1480102", result.raw.toHex().toStdString());
    EXPECT_TRUE(line().wait(line().write(real, Value(1.0))).raw.isEmpty());
}

TEST_F(LineDetails, SayHowTheLastReadingEnded)
{
    settings.offlineFailures = 1;
    const VariableId id = shown("4x:10@1");
    const VariableId refused = shown("4x:10@2");
    world.refusing = {2};
    EXPECT_EQ(OrderEnd::Open, value(id).lastRead);
    EXPECT_EQ(0u, value(id).readings);
    open();
    run(500);
    EXPECT_EQ(OrderEnd::Good, value(id).lastRead);
    EXPECT_EQ(OrderEnd::Refused, value(refused).lastRead);
    EXPECT_GT(value(refused).readings, 0u) << "with any result";
    const quint64 readings = value(id).readings;
    world.dead = {1};
    run(500);
    EXPECT_EQ(Quality::Offline, value(id).quality);
    EXPECT_EQ(OrderEnd::NoAnswer, value(id).lastRead);
    EXPECT_GT(value(id).readings, readings);
    EXPECT_THAT(value(id).reason.toStdString(),
                HasSubstr("station 1 is offline, and tried now and then: no answer from station 1 after 1 "
                          "attempt of 100 ms"));
}

TEST_F(LineDetails, VariablesShareARequestUnlessTheyAreReadSeparately)
{
    shown("4x:0:2@1");
    shown("4x:2@1");
    open();
    run(500);
    EXPECT_EQ(std::vector<std::string>{"0+3"}, reads());
}

TEST_F(LineDetails, VariablesAreReadInRequestsOfTheirOwnWhereThatIsAskedFor)
{
    settings.separateReads = true;
    settings.maxBlock = 5;
    const VariableId first = shown("4x:0:2@1");
    const VariableId second = shown("4x:2@1");
    const VariableId again = shown("4x:2@1");
    const VariableId longOne = shown("4x:20:7@1");
    open();
    run(1000);
    EXPECT_EQ((std::vector<std::string>{"0+2", "2+1", "20+5", "25+2"}), reads());
    for (const VariableId id : {first, second, again, longOne})
        EXPECT_EQ(Quality::Good, value(id).quality) << id;
}

TEST_F(LineDetails, ThePaceOfSeparateReadsIsKeptFromTheFirstScanOn)
{
    settings.separateReads = true;
    settings.pollIntervalMs = 1000;
    shown("4x:0@1");
    shown("4x:50@1");
    open();
    run(3500);
    EXPECT_EQ(8u, world.frames.size()) << "two reads at 0, 1, 2 and 3 s";
}

TEST_F(LineDetails, AProgramCanCheckAnOrderBeforeTheLineIsOpen)
{
    const QList<Value> one = QList<Value>() << Value(1);
    const VariableId good = add("4x:10@1");
    const VariableId input = add("3x:10@1");
    const VariableId broadcast = add("4x:10@0");
    const VariableId bit = add("4x_bit:10.3@0");
    EXPECT_FALSE(line().checkWrite(good, one));
    EXPECT_FALSE(line().checkRead(input));
    EXPECT_THAT(line().checkWrite(input, one).text.toStdString(), HasSubstr("cannot be written"));
    EXPECT_THAT(line().checkRead(broadcast).text.toStdString(),
                HasSubstr("nobody answers a read of station 0"));
    EXPECT_FALSE(line().checkWrite(broadcast, one));
    EXPECT_THAT(line().checkWrite(bit, one).text.toStdString(), HasSubstr("write the whole register"));
    EXPECT_TRUE(line().checkWrite(good, QList<Value>())) << "not as many as the variable counts";
    EXPECT_TRUE(line().checkWrite(good, QList<Value>() << Value(65536)));
    EXPECT_EQ(ErrorKind::Usage, line().checkRead(77).kind) << "there is no such variable";
    EXPECT_TRUE(world.frames.empty());
}

TEST_F(LineDetails, ErrorsNameAVariableAsItsUserDoes)
{
    VariableSettings named("3x:10@1");
    named.name = QString::fromLatin1("Oil level");
    const VariableId id = line().addVariable(named);
    EXPECT_THAT(line().checkWrite(id, QList<Value>() << Value(1)).text.toStdString(),
                HasSubstr("variable 'Oil level': "));
    EXPECT_EQ("3x:10@1", line().variableSettings(id).place.toStdString());
}

TEST_F(LineDetails, OfAClosedLineTheReasonOfALossIsKept)
{
    shown("4x:0@1");
    open();
    run(100);
    world.isPortThere = false;
    run(500);
    EXPECT_EQ("the port is gone.", line().portReason().toStdString());
    line().close();
    EXPECT_EQ("the port is gone.", line().portReason().toStdString());
    EXPECT_EQ(PortState::Closed, line().portState());
    world.isPortThere = true;
    open();
    EXPECT_EQ("", line().portReason().toStdString());
}

TEST_F(LineDetails, AWriteThatNobodyConfirmedIsNeverShownAsRead)
{
    world.registers[{1, 10}] = 1234;
    const VariableId id = shown("4x:10@1");
    const VariableId beside = shown("4x:9:3@1");
    settings.offlineFailures = 1000;
    open();
    run(200);
    world.refusing = {1};
    // At each moment of a scan, so that a reading is under way at some of them.
    for (int i = 0; i < 40; ++i) {
        world.refusing.clear();
        run(23 + i);
        const OrderId order = line().write(id, Value(55), 30);
        world.refusing = {1};
        while (line().result(order).end == OrderEnd::Open) {
            run(1);
            ASSERT_EQ(1234, number(id)) << "in round " << i;
        }
        if (line().result(order).end == OrderEnd::Good) // the request had gone out before
            break;
        run(100);
        ASSERT_EQ(1234, number(id)) << "in round " << i;
        ASSERT_EQ(1234, value(beside).values[1].toInteger()) << "the same register, in round " << i;
    }
}

TEST_F(LineDetails, AReadingThatMetAWriteIsTakenWhenTheWriteIsConfirmed)
{
    settings.pollIntervalMs = 60000;
    const VariableId id = shown("4x:10:2@1");
    open();
    run(200);
    EXPECT_EQ(0, number(id));
    world.registers[{1, 11}] = 7;
    // The second scan begins at 60 s, and the write comes while its answer is on its way.
    while (world.frames.back().at(1) != 3 || world.frames.size() < 2 || value(id).ageMs < 59990) {
        run(1);
        if (value(id).ageMs >= 59995)
            break;
    }
    const std::size_t frames = world.frames.size();
    while (world.frames.size() == frames)
        run(1);
    const OrderId order = line().write(add("4x:10@1"), Value(3));
    EXPECT_EQ(OrderEnd::Good, line().wait(order).end);
    run(5);
    ASSERT_EQ(2, value(id).values.size());
    EXPECT_EQ(3, value(id).values[0].toInteger());
    EXPECT_EQ(7, value(id).values[1].toInteger()) << "long before the next scan";
    EXPECT_LE(value(id).ageMs, 200);
}

TEST_F(LineDetails, AReadingOfThePageBeforeStillTellsOfItsVariables)
{
    settings.offlineFailures = 1000;
    world.dead = {2};
    world.registers[{1, 10}] = 9;
    const VariableId dead = add("4x:10@2");
    const VariableId alive = add("4x:10@1");
    open();
    // Pages are turned while the answer is still waited for.
    for (int turn = 0; turn < 6; ++turn) {
        EXPECT_FALSE(line().showScreen(QList<VariableId>() << (turn % 2 == 0 ? dead : alive)));
        run(60);
    }
    EXPECT_EQ(Quality::NoAnswer, value(dead).quality);
    EXPECT_EQ(OrderEnd::NoAnswer, value(dead).lastRead);
    EXPECT_EQ(9, number(alive));
}

TEST_F(LineDetails, TheStationAndThePortAreToldBeforeTheirVariables)
{
    settings.offlineFailures = 1;
    const VariableId id = shown("4x:10@1");
    open();
    run(200);
    world.dead = {1};
    run(500);
    const auto place = [&](const std::string &text) {
        return std::find(heard.begin(), heard.end(), text) - heard.begin();
    };
    const auto offline = std::to_string(static_cast<int>(StationState::Offline));
    EXPECT_LT(place("station 1 " + offline), place(plc::test::became(id, Quality::Offline)));
    EXPECT_EQ(1, timesHeard("station 1 " + offline));
    world.isPortThere = false;
    run(500);
    EXPECT_LT(place("port " + std::to_string(static_cast<int>(PortState::Lost))),
              place(plc::test::became(id, Quality::PortLost)));
}

TEST_F(LineDetails, AValueThatWasReadIsNeverSaidToBeUnreadHoweverLateItIsAskedFor)
{
    world.tick = std::chrono::microseconds(1);
    const VariableId id = shown("4x:10@1");
    open();
    run(500);
    EXPECT_EQ(Quality::Good, value(id).quality);
    world.now += std::chrono::milliseconds(3500); // nobody has polled
    EXPECT_EQ(Quality::Stale, value(id).quality);
    EXPECT_EQ(0, number(id));
}

} // namespace
