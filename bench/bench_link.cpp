#include "bench_link.h"

namespace plc::bench {

namespace {

constexpr std::size_t kLocalWords = 50501; ///< the driver looks at the last of these for a station override

void appendBe16(QByteArray &bytes, int value)
{
    bytes.append(static_cast<char>((value >> 8) & 0xFF));
    bytes.append(static_cast<char>(value & 0xFF));
}

bool isBits(int regType)
{
    return regType == plc::kCoil || regType == plc::kDiscreteInput;
}

int readFunction(int regType)
{
    switch (regType) {
    case plc::kCoil:
        return 1;
    case plc::kDiscreteInput:
        return 2;
    case plc::kInputRegister:
        return 4;
    default:
        return 3;
    }
}

} // namespace

COM_INFO &setUpLink(int linkMode)
{
    static COM_INFO settings = {};
    static std::vector<unsigned short> words(kLocalWords, 0);
    settings = COM_INFO();
    settings.maxBlock = kMostRegisters;
    settings.retryLimit = 1;
    settings.stationMode = 1;
    settings.linkMode = linkMode;
    settings.writeMode = 2;
    SetComInfo(&settings);
    FlashLocalRegister(nullptr, words.data(), nullptr);
    RegistCallBackFuncIntf(nullptr, nullptr);
    return settings;
}

RW_VAR variable(int regType, int address, int count)
{
    RW_VAR var;
    var.varName = QStringLiteral("value");
    var.addrText = QString::number(address);
    var.regType = regType;
    var.address = address;
    var.station = kStation;
    var.count = count;
    return var;
}

QByteArray withCrc(QByteArray bytes)
{
    const unsigned short crc =
        CalCRC(reinterpret_cast<unsigned char *>(bytes.data()), static_cast<unsigned short>(bytes.size()));
    bytes.append(static_cast<char>(crc & 0xFF));
    bytes.append(static_cast<char>(crc >> 8));
    return bytes;
}

QByteArray readReply(int regType, int count, int firstValue)
{
    const int dataLen = isBits(regType) ? (count + 7) / 8 : 2 * count;
    QByteArray reply;
    reply.append(static_cast<char>(kStation));
    reply.append(static_cast<char>(readFunction(regType)));
    reply.append(static_cast<char>(dataLen));
    if (isBits(regType)) {
        reply.append(QByteArray(dataLen, (firstValue & 1) != 0 ? '\x55' : '\xAA'));
    } else {
        for (int i = 0; i < count; ++i)
            appendBe16(reply, firstValue + i);
    }
    return withCrc(reply);
}

QByteArray writeReply(const QByteArray &frame)
{
    return withCrc(frame.left(6)); // station, function, address and quantity or value come back
}

Protocol *nextRequest()
{
    Protocol *request = ComCommunication(0);
    return request != nullptr ? request : ComCommunication(0);
}

CyclicRead::CyclicRead(int regType, int count, int variables) : turn_(0)
{
    replies_.push_back(readReply(regType, count, 1000));
    replies_.push_back(readReply(regType, count, 31001));
    for (int i = 0; i < variables; ++i) {
        RW_VAR var = variable(regType, i * count, count);
        AddListReadVar(&var);
    }
    for (int i = 0; i < 2 * variables; ++i)
        serveNext();
}

bool CyclicRead::serveNext()
{
    QByteArray &reply = replies_[turn_++ & 1];
    const int size = reply.size();
    if (ComCommunication(0) == nullptr)
        return false;
    const bool accepted = DataCom(&reply, size)->status == plc::kResultDone && reply.size() == size;
    return DataCom(&reply, size)->status == plc::kResultDone && accepted;
}

} // namespace plc::bench
