// How often each priority level is served, counted over two thousand calls of the cycle. The numbers are
// counted by hand from these rules: a level that is due is served until its list has gone round once (level 3
// counts each service twice, so half its list, rounded up, is enough); while none is due, the read list is
// served and four clocks run, which make level 1 due every 3 * (length of the read list) such calls, level 2
// every 6, level 3 every 3, level 4 every time.
#include <map>

#include "varlists/panel.h"

namespace plc::test {

namespace {

constexpr int kCalls = 2000;

/// What a good reply to the head transaction looks like: all values zero.
QByteArray goodReply(const Protocol &head)
{
    QByteArray reply;
    reply.append(static_cast<char>(head.var.station));
    reply.append(static_cast<char>(head.var.regType == 5   ? 3
                                   : head.var.regType == 4 ? 4
                                                           : head.var.regType + 1));
    reply.append(static_cast<char>(head.dataLen));
    reply.append(QByteArray(head.dataLen, '\0'));
    return withCrc(toHex(reply).c_str());
}

struct Services
{
    int cyclic = 0;
    int level[5] = {};
    std::map<int, int> perAddress; ///< requests sent, by start address
};

bool operator==(const Services &a, const Services &b)
{
    return a.cyclic == b.cyclic && std::equal(a.level, a.level + 5, b.level);
}

Services counted(int cyclic, int level1, int level2, int level3, int level4)
{
    Services services;
    services.cyclic = cyclic;
    services.level[1] = level1;
    services.level[2] = level2;
    services.level[3] = level3;
    services.level[4] = level4;
    return services;
}

void PrintTo(const Services &services, std::ostream *out)
{
    *out << services.cyclic << " cyclic, levels " << services.level[1] << " " << services.level[2] << " "
         << services.level[3] << " " << services.level[4];
}

} // namespace

/// Plain requests lie at 0, 1000, ...; those of level L at 100000 * L, 100000 * L + 1000, ...
/// The parameter is the link mode.
class Rates : public PanelTest, public ::testing::WithParamInterface<int>
{
protected:
    Rates() { info.linkMode = GetParam(); }

    bool overRelay() const { return GetParam() != 0; }

    /// Fills the read list with @p plain requests and the levels with the given numbers.
    void fill(int plain, int level1, int level2, int level3, int level4)
    {
        const int numbers[] = {0, level1, level2, level3, level4};
        for (int i = 0; i < plain; ++i)
            panel.add(5, 1000 * i);
        NameTable names;
        for (int level = 1; level <= 4; ++level) {
            for (int i = 0; i < numbers[level]; ++i) {
                const int address = 100000 * level + 1000 * i;
                panel.add(5, address);
                names.add(level, "4x" + std::to_string(address));
            }
        }
        PassVarName(names.rows());
        ASSERT_EQ(plain, rebuild());
        for (int level = 1; level <= 4; ++level)
            ASSERT_EQ(numbers[level], priorityReads(level).size()) << "level " << level;
    }

    /// One call of the cycle and its reply; the level that was served, 0 for none.
    int serveOnce(Services &services)
    {
        int before[5] = {};
        for (int level = 1; level <= 4; ++level)
            before[level] = clock(level).remaining;
        const Protocol *head = next();
        if (!head) {
            ADD_FAILURE() << "nothing to do";
            return 0;
        }
        const int address = head->var.address;
        ++services.perAddress[address];
        int served = 0;
        for (int level = 1; level <= 4; ++level) {
            if (clock(level).remaining < before[level])
                served = level;
        }
        // In Modbus form the address tells the level; over a relay only the head of the read list goes out.
        EXPECT_EQ(overRelay() ? 0 : served, address / 100000);
        const QByteArray reply = goodReply(*head);
        EXPECT_EQ(1, overRelay() ? receive(reply) : complete(reply));
        return served;
    }

    Services serve(int calls)
    {
        Services services;
        for (int i = 0; i < calls; ++i) {
            const int level = serveOnce(services);
            if (level == 0)
                ++services.cyclic;
            else
                ++services.level[level];
            if (HasFailure())
                break;
        }
        return services;
    }

    /// The levels served in @p calls calls, one digit each, 0 for the read list.
    std::string sequence(int calls)
    {
        std::string digits;
        Services services;
        for (int i = 0; i < calls; ++i)
            digits += static_cast<char>('0' + serveOnce(services));
        return digits;
    }

    /// Addresses of a list in its present order.
    static std::string order(const QList<RW_VAR> &list)
    {
        std::string text;
        for (const RW_VAR &var : list)
            text += (text.empty() ? "" : " ") + std::to_string(var.address);
        return text;
    }
};

INSTANTIATE_TEST_SUITE_P(In, Rates, ::testing::Values(0, 1),
                         [](const auto &param) { return param.param == 0 ? "ModbusForm" : "RelayForm"; });

// Level 1: 3 * 5 cyclic calls, then 2 services: 17 calls a round. 2000 = 117 * 17 + 11.
TEST_P(Rates, OfLevel1FollowTheLengthOfTheReadList)
{
    fill(5, 2, 0, 0, 0);
    EXPECT_EQ(counted(117 * 15 + 11, 117 * 2, 0, 0, 0), serve(kCalls));
}

// 3 * 8 and 2: 26 calls a round. 2000 = 76 * 26 + 24, and the 24th makes the level due for the call after.
TEST_P(Rates, OfLevel1FallAsTheReadListGrows)
{
    fill(8, 2, 0, 0, 0);
    EXPECT_EQ(counted(77 * 24, 76 * 2, 0, 0, 0), serve(kCalls));
    Services last;
    EXPECT_EQ(1, serveOnce(last));
}

// 3 * 1 and 4: 7 calls a round. 2000 = 285 * 7 + 5: three cyclic, two of level 1.
TEST_P(Rates, OfLevel1WithASingleCyclicRead)
{
    fill(1, 4, 0, 0, 0);
    EXPECT_EQ(counted(285 * 3 + 3, 285 * 4 + 2, 0, 0, 0), serve(kCalls));
}

// Level 2: 6 cyclic calls, then 3 services: 9 a round. 2000 = 222 * 9 + 2.
TEST_P(Rates, OfLevel2AreItsListEverySixCyclicReads)
{
    fill(7, 0, 3, 0, 0);
    EXPECT_EQ(counted(222 * 6 + 2, 0, 222 * 3, 0, 0), serve(kCalls));
}

// Level 3: 3 cyclic calls, then 3 services for a list of 5 (5, 3, 1 are left before each): 6 a round.
// 2000 = 333 * 6 + 2.
TEST_P(Rates, OfLevel3AreHalfItsListRoundedUpEveryThreeCyclicReads)
{
    fill(4, 0, 0, 5, 0);
    EXPECT_EQ(counted(333 * 3 + 2, 0, 0, 333 * 3, 0), serve(kCalls));
}

// A list of 4: 2 services, 5 calls a round.
TEST_P(Rates, OfLevel3AreExactlyHalfAnEvenList)
{
    fill(4, 0, 0, 4, 0);
    EXPECT_EQ(counted(400 * 3, 0, 0, 400 * 2, 0), serve(kCalls));
}

// A list of 1: 1 service, 4 calls a round.
TEST_P(Rates, OfLevel3AreOneForASingleRequest)
{
    fill(4, 0, 0, 1, 0);
    EXPECT_EQ(counted(500 * 3, 0, 0, 500, 0), serve(kCalls));
}

// Level 4: each cyclic call, then 2 services: 3 a round. 2000 = 666 * 3 + 2.
TEST_P(Rates, OfLevel4AreItsListAfterEveryCyclicRead)
{
    fill(2, 0, 0, 0, 2);
    EXPECT_EQ(counted(667, 0, 0, 0, 666 * 2 + 1), serve(kCalls));
}

// One request in each level, 7 cyclic: for each cyclic call one service of level 4, for every third one of
// level 3, for every sixth one of level 2, for every 21st one of level 1. 42 cyclic calls make 42 + 42 + 14 +
// 7 + 2 = 107 calls. 2000 = 18 * 107 + 74. Of the 74, 24 cyclic calls and what they make due are 24 + 24 + 8
// + 4 + 1 = 61; then 25, 26 (2 each), 27 (3), 28, 29 (2 each) and of the 30th the cyclic call and the service
// of level 2.
TEST_P(Rates, OfAllLevelsWithOneRequestEach)
{
    fill(7, 1, 1, 1, 1);
    EXPECT_EQ(counted(18 * 42 + 30, 18 * 2 + 1, 18 * 7 + 5, 18 * 14 + 9, 18 * 42 + 29), serve(kCalls));
}

// Levels of 2, 3, 5 and 2 requests, 8 cyclic: each cyclic call 2 of level 4, every third 3 of level 3, every
// sixth 3 of level 2, every 24th 2 of level 1. 24 cyclic calls make 24 + 48 + 24 + 12 + 2 = 110 calls. 2000 =
// 18 * 110 + 20. Of the 20: 3, 3, 6, 3, 3 calls for five cyclic ones, then the sixth and one service of
// level 2.
TEST_P(Rates, OfAllLevelsWithListsOfDifferentLengths)
{
    fill(8, 2, 3, 5, 2);
    EXPECT_EQ(counted(18 * 24 + 6, 18 * 2, 18 * 12 + 1, 18 * 24 + 3, 18 * 48 + 10), serve(kCalls));
}

// With no cyclic read left the lists that fold back are served as cyclic reads.
TEST_P(Rates, OfALevelThatFoldedBackAreThoseOfTheReadList)
{
    panel.add(5, 0).add(5, 200000);
    prioritise(2, "4x200000");
    ASSERT_EQ(2, rebuild());
    Services services;
    for (int i = 0; i < kCalls; ++i) {
        const Protocol *head = next();
        ++services.perAddress[head->var.address];
        const QByteArray reply = goodReply(*head);
        ASSERT_EQ(1, overRelay() ? receive(reply) : complete(reply));
    }
    EXPECT_EQ(kCalls / 2, services.perAddress[0]);
    EXPECT_EQ(kCalls / 2, services.perAddress[200000]);
}

TEST_P(Rates, BeginWithTheReadListAndServeALowerLevelFirst)
{
    fill(7, 1, 1, 1, 2);
    // Level 4 is due after each cyclic read, level 3 after every third, level 2 after every sixth.
    const std::string six = "044"
                            "044"
                            "0344"
                            "044"
                            "044"
                            "02344";
    // Level 1 after the 21st.
    EXPECT_EQ(six + six + six +
                  "044"
                  "044"
                  "01344",
              sequence(74));
}

TEST_P(Rates, BecomeDueOnTheSixthCallForLevel2AndAreServedFromTheNextOn)
{
    fill(7, 0, 3, 0, 0);
    EXPECT_EQ("000000222000000222", sequence(18));
}

TEST_P(Rates, GoOnAfterARebuildWhereTheyWere)
{
    fill(7, 0, 3, 0, 0);
    EXPECT_EQ("0000002", sequence(7));
    rebuild();
    EXPECT_EQ("22000000222", sequence(11));
}

// The clock of an empty level runs, so one that gets its first requests late is served soon.
TEST_P(Rates, BecomeDueAtOnceForALevelThatWasEmptyForLong)
{
    fill(8, 0, 0, 0, 0);
    EXPECT_EQ("0000000000", sequence(10));
    panel.add(5, 200000);
    prioritise(2, "4x200000");
    ASSERT_EQ(8, rebuild());
    EXPECT_EQ("0200000020", sequence(10));
}

// Sent requests of a level go round in the order of its list, which holds the last one first.
TEST_P(Rates, GoRoundEachLevelsListInItsOrder)
{
    fill(7, 0, 3, 0, 0);
    EXPECT_EQ("202000 201000 200000", order(priorityReads(2)));
    sequence(7);
    EXPECT_EQ("201000 200000 202000", order(priorityReads(2)));
    sequence(2);
    EXPECT_EQ("202000 201000 200000", order(priorityReads(2)));
}

// Half of the list at a time: the other half has its turn the next time.
TEST_P(Rates, OfLevel3ReachTheWholeListInTwoRounds)
{
    fill(4, 0, 0, 4, 0);
    EXPECT_EQ("303000 302000 301000 300000", order(priorityReads(3)));
    EXPECT_EQ("00033", sequence(5));
    EXPECT_EQ("301000 300000 303000 302000", order(priorityReads(3)));
    EXPECT_EQ("00033", sequence(5));
    EXPECT_EQ("303000 302000 301000 300000", order(priorityReads(3)));
}

// The read list goes round on cyclic reads alone in Modbus form, on every call over a relay.
TEST_P(Rates, GiveEachCyclicReadTheSameShare)
{
    fill(8, 2, 3, 5, 2);
    Services services = serve(kCalls);
    const int sent = overRelay() ? kCalls : services.cyclic;
    int total = 0;
    for (int i = 0; i < 8; ++i) {
        const int share = services.perAddress[1000 * i];
        EXPECT_GE(share, sent / 8) << "request " << i;
        EXPECT_LE(share, sent / 8 + 1) << "request " << i;
        total += share;
    }
    EXPECT_EQ(sent, total);
}

// 435 services of level 3 for a list of 5, and so on; over a relay no request of a level goes out at all.
TEST_P(Rates, GiveEachRequestOfALevelTheSameShareInModbusFormAndNoneOverARelay)
{
    fill(8, 2, 3, 5, 2);
    Services services = serve(kCalls);
    const int numbers[] = {0, 2, 3, 5, 2};
    for (int level = 1; level <= 4; ++level) {
        for (int i = 0; i < numbers[level]; ++i) {
            const int share = services.perAddress[100000 * level + 1000 * i];
            const int fair = services.level[level] / numbers[level];
            EXPECT_GE(share, overRelay() ? 0 : fair);
            EXPECT_LE(share, overRelay() ? 0 : fair + 1);
        }
    }
}

// A failure ends a read, the clocks go on as if it had come through.
TEST_P(Rates, StayTheSameWhenReadsFail)
{
    fill(7, 0, 3, 0, 0);
    info.retryLimit = 0;
    std::string digits;
    for (int i = 0; i < 18; ++i) {
        const int before = clock(2).remaining;
        ASSERT_NE(nullptr, next());
        digits += clock(2).remaining < before ? '2' : '0';
        EXPECT_EQ(kResultNoReply, silence());
    }
    EXPECT_EQ("000000222000000222", digits);
}

// A one-shot read takes its turn in front; the clocks do not run.
TEST_P(Rates, DoNotAdvanceWithWritesAndOnceReads)
{
    fill(7, 0, 1, 0, 0);
    sequence(5);
    for (int i = 0; i < 3; ++i)
        addOnceRead(holding(900000 + i).ids(i, 0));
    for (int i = 0; i < 3; ++i) {
        const Protocol *head = next();
        EXPECT_EQ(900000 + i, head->var.address);
        const QByteArray reply = goodReply(*head);
        EXPECT_EQ(1, overRelay() ? receive(reply) : complete(reply));
        EXPECT_EQ(5, clock(2).tick);
    }
    EXPECT_EQ("020", sequence(3));
}

} // namespace plc::test
