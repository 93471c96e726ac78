// What the standard allows on the line: stations 1 to 247, frames of at most 256 bytes, quantities, byte
// counts and addresses of each function (MODBUS over Serial Line V1.02, 2.2 and 2.5.1; Application Protocol
// V1.1b3, 4.1 and 6).

#include "support/driver_fixture.h"

namespace {

using namespace plc::test;

constexpr int kWholeArea = 65536;

int byteOf(const QByteArray &frame, int at)
{
    return static_cast<unsigned char>(frame.at(at));
}

int wordOf(const QByteArray &frame, int at)
{
    return byteOf(frame, at) * 256 + byteOf(frame, at + 1);
}

QByteArray closed(QByteArray frame)
{
    const quint16 crc = witnessCrc(frame);
    frame.append(static_cast<char>(crc & 0xFF));
    frame.append(static_cast<char>(crc >> 8));
    return frame;
}

bool isRead(const QByteArray &request)
{
    return byteOf(request, 1) <= 4;
}

/// The reply of a station whose items are all 0.
QByteArray answerTo(const QByteArray &request)
{
    if (!isRead(request))
        return closed(request.left(6));
    const int quantity = wordOf(request, 4);
    const int size = byteOf(request, 1) <= 2 ? (quantity + 7) / 8 : 2 * quantity;
    QByteArray reply = request.left(2);
    reply.append(static_cast<char>(size));
    reply.append(QByteArray(size, '\0'));
    return closed(reply);
}

/// Most items that a request of this function may ask for or carry; 0 for a function that is not to be sent.
int mostItems(int function)
{
    switch (function) {
    case 1:
    case 2:
        return 2000;
    case 3:
    case 4:
        return 125;
    case 5:
    case 6:
        return 1;
    case 15:
        return 1968;
    case 16:
        return 123;
    default:
        return 0;
    }
}

void expectBlockFits(const QByteArray &request, int quantity)
{
    const bool coils = byteOf(request, 1) == 15;
    const int size = coils ? (quantity + 7) / 8 : 2 * quantity;
    EXPECT_EQ(size, byteOf(request, 6)) << "byte count";
    EXPECT_EQ(9 + size, request.size());
    if (coils && quantity % 8 != 0) {
        EXPECT_EQ(0, byteOf(request, request.size() - 3) >> quantity % 8) << "spare bits";
    }
}

/// A request as the standard allows it, with the CRC that a witness computes.
void expectAllowed(const QByteArray &request)
{
    SCOPED_TRACE(toHex(request));
    ASSERT_GE(request.size(), 8);
    EXPECT_LE(request.size(), 256);
    EXPECT_EQ(closed(request.left(request.size() - 2)), request);
    const int function = byteOf(request, 1);
    const bool isSingle = function == 5 || function == 6;
    const int quantity = isSingle ? 1 : wordOf(request, 4);
    EXPECT_GE(quantity, 1);
    EXPECT_LE(quantity, mostItems(function));
    EXPECT_LE(wordOf(request, 2) + quantity, kWholeArea);
    if (function == 5) {
        EXPECT_TRUE(wordOf(request, 4) == 0xFF00 || wordOf(request, 4) == 0);
    }
    if (function == 15 || function == 16)
        expectBlockFits(request, quantity);
    else
        EXPECT_EQ(8, request.size());
}

struct Case
{
    const char *name;
    int regType;
    int count;    ///< elements, from address 0 on
    int maxBlock; ///< registers in a request
    int requests; ///< that it takes
};

void PrintTo(const Case &limits, std::ostream *out)
{
    *out << limits.name;
}

std::string caseName(const ::testing::TestParamInfo<Case> &info)
{
    return info.param.name;
}

class LineLimits : public SetUpDriver, public ::testing::WithParamInterface<Case>
{
protected:
    LineLimits() { info.maxBlock = GetParam().maxBlock; }

    static QString firstAddress()
    {
        const bool insideRegister = GetParam().regType == 2 || GetParam().regType == 3;
        return QString::fromLatin1(insideRegister ? "0.0" : "0");
    }

    /// Has the next request answered, if there is one.
    bool serveOne()
    {
        const Protocol *head = next();
        if (!head)
            return false;
        const QByteArray request = head->frame.left(head->sendLen);
        expectAllowed(request);
        complete(answerTo(request));
        ++served;
        return true;
    }

    int served = 0;
};

class HostWrites : public LineLimits
{};

TEST_P(HostWrites, OfAWholeAreaStayWithinWhatAFrameMayCarry)
{
    QByteArray ones(4 * GetParam().count, '\1');
    SetRegisterData(QString(), GetParam().regType, firstAddress(), 17, &ones, GetParam().count, 1, 1);
    while (!PLC_driver.writeList.isEmpty() && !HasFailure())
        serveOne();
    EXPECT_EQ(GetParam().requests, served);
    EXPECT_EQ((std::vector<Outcome>{{77, 1, 1, 1}}), outcomes);
}

INSTANTIATE_TEST_SUITE_P(
    Types, HostWrites,
    ::testing::Values(Case{"Coils", 0, kWholeArea, 100, 82}, Case{"OddCoils", 0, 805, 100, 2},
                      Case{"BitsInRegisters", 3, 40, 100, 80}, Case{"Registers", 5, kWholeArea, 100, 656},
                      Case{"RegistersBySeven", 5, 700, 7, 100}, Case{"Pairs", 7, kWholeArea, 100, 547},
                      Case{"PairsWithoutPacking", 7, 240, 1, 2}, Case{"Single", 8, 100, 100, 100},
                      Case{"Block", 9, 100, 100, 100}),
    caseName);

class CyclicReads : public LineLimits
{};

TEST_P(CyclicReads, OfAWholeAreaStayWithinWhatAFrameMayCarry)
{
    HostVariable variable{};
    variable.regType = static_cast<quint8>(GetParam().regType);
    variable.station = 17;
    variable.addrText = firstAddress();
    variable.count = GetParam().count;
    QList<HostVariable *> list;
    list.append(&variable);
    EXPECT_EQ(GetParam().requests, ReCreatReadVarList(&list));
    while (served < GetParam().requests && !HasFailure())
        ASSERT_TRUE(serveOne());
}

class OneShotReads : public LineLimits
{};

TEST_P(OneShotReads, OfAWholeAreaStayWithinWhatAFrameMayCarry)
{
    RW_VAR read;
    read.regType = GetParam().regType;
    read.station = 17;
    read.addrText = firstAddress();
    read.count = GetParam().count;
    EXPECT_EQ(GetParam().requests, AddListOnceReadVar(&read, 0));
    while (!PLC_driver.onceReadList.isEmpty() && !HasFailure())
        serveOne();
    EXPECT_EQ(GetParam().requests, served);
}

const Case kReads[] = {{"Coils", 0, kWholeArea, 100, 82},
                       {"Inputs", 1, kWholeArea, 100, 82},
                       {"BitsInInputRegisters", 2, kWholeArea, 100, 41},
                       {"BitsInRegisters", 3, kWholeArea, 100, 41},
                       {"InputRegisters", 4, kWholeArea, 100, 656},
                       {"Registers", 5, kWholeArea, 100, 656},
                       {"RegistersBySeven", 5, 700, 7, 100},
                       {"InputPairs", 6, kWholeArea, 100, 656},
                       {"Pairs", 7, kWholeArea, 100, 656}};

INSTANTIATE_TEST_SUITE_P(Types, CyclicReads, ::testing::ValuesIn(kReads), caseName);
INSTANTIATE_TEST_SUITE_P(Types, OneShotReads, ::testing::ValuesIn(kReads), caseName);

class Stations : public SetUpDriver
{};

TEST_F(Stations, From1To247AreEachAskedAndHeard)
{
    for (int station = 1; station <= 247; ++station) {
        addOnceRead(holding(100).station(station));
        const Protocol *head = next();
        while (!head)
            head = next();
        ASSERT_EQ(station, byteOf(head->frame, 0));
        QByteArray reply = hex("00 03 02 0000");
        reply[0] = static_cast<char>(station);
        reply[4] = static_cast<char>(station);
        ASSERT_EQ(plc::kResultDone, complete(closed(reply)));
        QByteArray entry(2, '\0');
        entry[0] = static_cast<char>(station);
        EXPECT_EQ(entry, mirrored(station, 5, 100));
    }
}

} // namespace
