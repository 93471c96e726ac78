#include "threads/stations.h"

#include "support/hex.h"

namespace plc::test {

namespace {

constexpr int kFunctionAt = 1;
constexpr int kDataAt = 7;

int byteAt(const QByteArray &bytes, int index)
{
    return static_cast<unsigned char>(bytes.at(index));
}

int wordAt(const QByteArray &bytes, int index)
{
    return byteAt(bytes, index) * 256 + byteAt(bytes, index + 1);
}

void appendWord(QByteArray &bytes, int word)
{
    bytes.append(static_cast<char>(word >> 8));
    bytes.append(static_cast<char>(word & 0xFF));
}

QByteArray withChecksum(QByteArray bytes)
{
    const quint16 crc = witnessCrc(bytes);
    bytes.append(static_cast<char>(crc & 0xFF));
    bytes.append(static_cast<char>(crc >> 8));
    return bytes;
}

template <typename Map>
quint16 valueIn(const Map &area, int station, int address)
{
    const auto found = area.find({station, address});
    return found == area.end() ? quint16(0) : found->second;
}

} // namespace

QByteArray Stations::answer(const QByteArray &request)
{
    ++requests_;
    if (loss_ != 0 && requests_ % loss_ == 0)
        return QByteArray();
    switch (byteAt(request, kFunctionAt)) {
    case 1:
        return withChecksum(readBits(request, coils_));
    case 2:
        return withChecksum(readBits(request, Area()));
    case 3:
    case 4:
        return withChecksum(readRegisters(request));
    default:
        take(request);
        return withChecksum(request.left(6));
    }
}

quint16 Stations::holdingRegister(int station, int address) const
{
    return valueIn(registers_, station, address);
}

QByteArray Stations::readBits(const QByteArray &request, const Area &area) const
{
    const int first = wordAt(request, 2);
    const int count = wordAt(request, 4);
    QByteArray packed((count + 7) / 8, '\0');
    for (int i = 0; i < count; ++i) {
        const int bit = valueIn(area, byteAt(request, 0), first + i);
        packed[i / 8] = static_cast<char>(packed.at(i / 8) | bit << i % 8);
    }
    return request.left(2) + static_cast<char>(packed.size()) + packed;
}

QByteArray Stations::readRegisters(const QByteArray &request) const
{
    const int first = wordAt(request, 2);
    const int count = wordAt(request, 4);
    const bool inputs = byteAt(request, kFunctionAt) == 4;
    QByteArray reply = request.left(2) + static_cast<char>(2 * count);
    for (int address = first; address < first + count; ++address) {
        const int told = address % 2 == 0 ? requests_ & 0xFFFF : ~requests_ & 0xFFFF;
        appendWord(reply, inputs ? told : valueIn(registers_, byteAt(request, 0), address));
    }
    return reply;
}

void Stations::take(const QByteArray &request)
{
    const int station = byteAt(request, 0);
    const int address = wordAt(request, 2);
    const int word = wordAt(request, 4); // the value itself, or the quantity
    switch (byteAt(request, kFunctionAt)) {
    case 5:
        coils_[{station, address}] = word == 0xFF00 ? 1 : 0;
        return;
    case 6:
        takeRegister(station, address, static_cast<quint16>(word));
        return;
    case 15:
        for (int i = 0; i < word; ++i)
            coils_[{station, address + i}] = byteAt(request, kDataAt + i / 8) >> i % 8 & 1;
        return;
    case 16:
        for (int i = 0; i < word; ++i)
            takeRegister(station, address + i, static_cast<quint16>(wordAt(request, kDataAt + 2 * i)));
        return;
    default:
        return;
    }
}

void Stations::takeRegister(int station, int address, quint16 value)
{
    registers_[{station, address}] = value;
    taken_.push_back({station, address, value});
}

} // namespace plc::test
