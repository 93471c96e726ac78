/// @file
/// One exchange per function code, typed by hand: what is asked, the frames on the line, what the mirror
/// shows after it. The same table is replayed whole, in pieces, in noise and damaged.
#ifndef PLC_TESTS_MODBUS_EXCHANGES_H
#define PLC_TESTS_MODBUS_EXCHANGES_H

#include <ostream>
#include <string>
#include <vector>

#include "support/driver_fixture.h"
#include "support/records.h"

namespace plc::test {

/// One entry of the mirror.
struct Element
{
    int address;
    const char *bytes; ///< in hexadecimal
};

/// One request and its good reply, station 0x11.
struct Exchange
{
    const char *name;
    RW_VAR variable;
    const char *request;
    const char *reply;
    int headerLen;
    int dataLen;
    std::vector<Element> elements; ///< in the mirror once the exchange is over

    bool isRead() const { return variable.direction == 0; }
    uchar function() const { return static_cast<uchar>(hex(request).at(1)); }
};

inline void PrintTo(const Exchange &exchange, std::ostream *out)
{
    *out << exchange.name << " (" << exchange.request << ")";
}

inline std::string exchangeName(const ::testing::TestParamInfo<Exchange> &info)
{
    return info.param.name;
}

inline std::vector<Exchange> readExchanges()
{
    return {
        {"Function1",
         coil(0x20).station(0x11).count(13),
         "11 01 0020 000D FE95",
         "11 01 02 A51C 02A6",
         3,
         2,
         {{32, "01"},
          {33, "00"},
          {34, "01"},
          {35, "00"},
          {36, "00"},
          {37, "01"},
          {38, "00"},
          {39, "01"},
          {40, "00"},
          {41, "00"},
          {42, "01"},
          {43, "01"},
          {44, "01"}}},
        {"Function2",
         discreteInput(0x40).station(0x11).count(9),
         "11 02 0040 0009 BB48",
         "11 02 02 8101 D9EB",
         3,
         2,
         {{64, "01"},
          {65, "00"},
          {66, "00"},
          {67, "00"},
          {68, "00"},
          {69, "00"},
          {70, "00"},
          {71, "01"},
          {72, "01"}}},
        {"Function3",
         holding(100).station(0x11).count(2),
         "11 03 0064 0002 8744",
         "11 03 04 1234 ABCD 11E1",
         3,
         4,
         {{100, "3412"}, {101, "CDAB"}}},
        {"Function4",
         inputRegister(7).station(0x11).count(1),
         "11 04 0007 0001 829B",
         "11 04 02 002A F92C",
         3,
         2,
         {{7, "2A00"}}},
    };
}

inline std::vector<Exchange> writeExchanges()
{
    return {
        {"Function5",
         coil(0x13).station(0x11).count(1).ids(21, 22).data("01"),
         "11 05 0013 FF00 7F6F",
         "11 05 0013 FF00 7F6F",
         0,
         0,
         {{19, "01"}}},
        {"Function6",
         holding(100).station(0x11).count(1).ids(21, 22).data("3412"),
         "11 06 0064 1234 C7F2",
         "11 06 0064 1234 C7F2",
         0,
         0,
         {{100, "3412"}}},
        {"Function15",
         coil(0x13).station(0x11).count(10).ids(21, 22).data("A503"),
         "11 0F 0013 000A 02 A503 110A",
         "11 0F 0013 000A 2699",
         0,
         0,
         {{19, "01"},
          {20, "00"},
          {21, "01"},
          {22, "00"},
          {23, "00"},
          {24, "01"},
          {25, "00"},
          {26, "01"},
          {27, "01"},
          {28, "01"}}},
        {"Function16",
         holding(100).station(0x11).count(2).ids(21, 22).data("3412 CDAB"),
         "11 10 0064 0002 04 1234 ABCD 5AA7",
         "11 10 0064 0002 0287",
         0,
         0,
         {{100, "3412"}, {101, "CDAB"}}},
    };
}

inline std::vector<Exchange> allExchanges()
{
    std::vector<Exchange> all = readExchanges();
    for (const Exchange &write : writeExchanges())
        all.push_back(write);
    return all;
}

/// A transaction at the end of the send queue whose frame and expectations are typed, not built by the
/// driver.
inline Protocol &expectReplyTo(const char *request, const RW_VAR &var, int headerLen = 3, int dataLen = 0,
                               int replyLen = -1)
{
    Protocol transaction;
    transaction.frame = hex(request);
    transaction.sendLen = transaction.frame.size();
    transaction.replyLen = replyLen;
    transaction.headerLen = headerLen;
    transaction.dataLen = dataLen;
    transaction.var = var;
    PLC_driver.sendQueue.append(transaction);
    return PLC_driver.sendQueue.last();
}

inline Protocol &expectReplyTo(const Exchange &exchange)
{
    return expectReplyTo(exchange.request, exchange.variable, exchange.headerLen, exchange.dataLen);
}

/// The CRC at the end, bytes exchanged.
inline QByteArray crcSwapped(const QByteArray &frame)
{
    QByteArray swapped = frame.left(frame.size() - 2);
    swapped.append(frame.at(frame.size() - 1));
    swapped.append(frame.at(frame.size() - 2));
    return swapped;
}

/// One bit inverted.
inline QByteArray bitFlipped(const QByteArray &frame, int bit)
{
    QByteArray flipped = frame;
    flipped.data()[bit / 8] = static_cast<char>(flipped.at(bit / 8) ^ (1 << (bit % 8)));
    return flipped;
}

/// A record whose fifteen fields all differ from one another and from the defaults.
inline RW_VAR everyFieldSet()
{
    RW_VAR var;
    var.hostId = 21;
    var.hostSubId = 22;
    var.direction = 1;
    var.linkMode = 23;
    var.linkId = 24;
    var.status = 25;
    var.varName = QString::fromLatin1("tank level");
    var.addrText = QString::fromLatin1("27");
    var.regType = 5;
    var.address = 27;
    var.station = 28;
    var.count = 1;
    var.relayArg1 = 29;
    var.relayArg2 = 30;
    var.data = hex("3412");
    return var;
}

} // namespace plc::test

#endif
