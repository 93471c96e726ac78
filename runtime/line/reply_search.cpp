#include "runtime/line/reply_search.h"

#include "core/register_types.h"
#include "runtime/line/rtu_layout.h"

namespace plc::runtime {

namespace {

constexpr int kRelayDirectionAt = 2;
constexpr int kRelayStationAt = 4;
constexpr int kRelayTypeAt = 6;
constexpr int kRelayAddressAt = 7;
constexpr int kRelayCountAt = 11;
constexpr int kRelayHead = 21;
constexpr unsigned kBitsPerRegister = 16;
constexpr int kCoilOn = 0xFF;

int byteAt(const QByteArray &bytes, int at)
{
    return static_cast<unsigned char>(bytes.at(at));
}

bool crcMatches(const QByteArray &bytes, int at, int length, bool highFirst)
{
    return crcFits(bytes.constData() + at, length, highFirst);
}

bool isOurs(int function, const ReplyShape &shape)
{
    return shape.function < 0 ? function < kExceptionBit : function == shape.function;
}

bool isOurException(int function, const ReplyShape &shape)
{
    return shape.function < 0 ? function >= kExceptionBit : function == (shape.function | kExceptionBit);
}

bool repeatsRequest(const QByteArray &bytes, int at, const ReplyShape &shape)
{
    const int function = byteAt(bytes, at + 1);
    const bool isSingle = function == 5 || function == 6;
    const QByteArray &due = isSingle && !shape.repeatsSingle.isEmpty() ? shape.repeatsSingle : shape.repeats;
    return due.isEmpty() || bytes.mid(at + 2, due.size()) == due;
}

/// Bytes of the normal reply that begins at @p at; of a read its third byte must be there.
int replyLengthAt(const QByteArray &bytes, int at, const ReplyShape &shape)
{
    return shape.isRead ? countedReplyLength(byteAt(bytes, at + 2)) : kWriteReplyLen;
}

bool isOwnEcho(const QByteArray &bytes, int at, const ReplyShape &shape)
{
    return shape.isRead && !shape.request.isEmpty() && bytes.mid(at, shape.request.size()) == shape.request;
}

/// What the replies to the write in a relay frame repeat. The frame has register values low byte first.
void setRelayRepeats(const QByteArray &frame, ReplyShape *shape)
{
    const int type = byteAt(frame, kRelayTypeAt);
    unsigned address = 0;
    for (int i = 0; i < 4; ++i)
        address = address << 8 | static_cast<unsigned>(byteAt(frame, kRelayAddressAt + i));
    if (type == kHoldingRegisterBit)
        address /= kBitsPerRegister;
    QByteArray place;
    place.append(static_cast<char>(address >> 8 & 0xFFu)).append(static_cast<char>(address & 0xFFu));
    shape->repeats = shape->repeatsSingle = place;
    if (type == kHoldingRegisterBit)
        return;
    const int count = byteAt(frame, kRelayCountAt) * 256 + byteAt(frame, kRelayCountAt + 1);
    const int registers = type == kHoldingRegisterPair ? 2 * count : count;
    shape->repeats.append(static_cast<char>(registers >> 8)).append(static_cast<char>(registers & 0xFF));
    const int dataSize = frame.size() - kRelayHead - 1; // the last byte is the sum
    if (count != 1 || type == kHoldingRegisterPair || dataSize < (type == kCoil ? 1 : 2))
        return;
    if (type == kCoil)
        shape->repeatsSingle.append(static_cast<char>(byteAt(frame, kRelayHead) != 0 ? kCoilOn : 0))
            .append('\0');
    else
        shape->repeatsSingle.append(frame.at(kRelayHead + 1)).append(frame.at(kRelayHead));
}

/// The frame that stands at @p at, if there is one.
Sighting frameAt(const QByteArray &bytes, int at, const ReplyShape &shape)
{
    const int available = bytes.size() - at;
    Sighting sighting;
    sighting.at = at;
    if (byteAt(bytes, at) != (shape.station & 0xFF))
        return sighting;
    if (available < 3) {
        const bool mayBeReply = available < 2 || isOurs(byteAt(bytes, at + 1), shape);
        sighting.found = mayBeReply ? Found::Beginning : Found::Nothing;
        return sighting;
    }
    const int function = byteAt(bytes, at + 1);
    if (isOurException(function, shape)) {
        sighting.length = kExceptionLen;
        if (available >= kExceptionLen && crcMatches(bytes, at, kExceptionLen, shape.crcHighFirst)) {
            sighting.found = Found::Exception;
            sighting.exceptionCode = byteAt(bytes, at + 2);
            sighting.function = function;
        }
        return sighting;
    }
    if (!isOurs(function, shape))
        return sighting;
    sighting.length = replyLengthAt(bytes, at, shape);
    const bool fits = sighting.length == shape.length;
    if (available < sighting.length) {
        sighting.found = fits ? Found::Beginning : Found::Nothing;
        return sighting;
    }
    if (!crcMatches(bytes, at, sighting.length, shape.crcHighFirst))
        return sighting;
    const bool isAnswer = fits && repeatsRequest(bytes, at, shape);
    sighting.isLikeRequest = isAnswer && isOwnEcho(bytes, at, shape);
    sighting.found = isAnswer && !sighting.isLikeRequest ? Found::Reply : Found::WrongReply;
    return sighting;
}

/// Whether the bytes at @p at have station, function, byte count and repeated bytes of the reply; all but its
/// CRC.
bool looksLikeReply(const QByteArray &bytes, int at, const ReplyShape &shape)
{
    if (byteAt(bytes, at) != (shape.station & 0xFF) || !isOurs(byteAt(bytes, at + 1), shape))
        return false;
    return replyLengthAt(bytes, at, shape) == shape.length && repeatsRequest(bytes, at, shape);
}

} // namespace

ReplyShape modbusReplyShape(const QByteArray &frame, bool crcHighFirst, bool strict)
{
    ReplyShape shape;
    shape.crcHighFirst = crcHighFirst;
    if (frame.size() < kRequestHead)
        return shape;
    shape.station = byteAt(frame, 0);
    shape.function = byteAt(frame, 1);
    shape.isRead = isReadFunction(shape.function);
    shape.request = frame;
    if (shape.isRead || isWriteFunction(shape.function))
        shape.length = replyLengthTo(frame);
    if (!shape.isRead && strict)
        shape.repeats = frame.mid(2, kRequestHead - 2);
    return shape;
}

ReplyShape relayReplyShape(const QByteArray &frame, int replyLen, bool crcHighFirst, bool strict)
{
    ReplyShape shape;
    shape.crcHighFirst = crcHighFirst;
    if (frame.size() <= kRelayHead)
        return shape;
    shape.station = byteAt(frame, kRelayStationAt);
    shape.isRead = byteAt(frame, kRelayDirectionAt) == 0;
    shape.length = replyLen;
    if (!shape.isRead && strict)
        setRelayRepeats(frame, &shape);
    return shape;
}

Sighting findReply(const QByteArray &bytes, const ReplyShape &shape, bool lookPastBeginnings)
{
    if (shape.length <= 0)
        return Sighting();
    Sighting begun;
    for (int at = 0; at < bytes.size(); ++at) {
        const Sighting here = frameAt(bytes, at, shape);
        if (here.found == Found::Nothing)
            continue;
        if (here.found != Found::Beginning)
            return here;
        if (!lookPastBeginnings)
            return here;
        if (begun.found == Found::Nothing)
            begun = here;
    }
    return begun;
}

bool endWithDamagedReply(const QByteArray &bytes, const ReplyShape &shape)
{
    const int at = bytes.size() - shape.length;
    return shape.length >= kExceptionLen && at >= 0 && looksLikeReply(bytes, at, shape) &&
           !crcMatches(bytes, at, shape.length, shape.crcHighFirst);
}

} // namespace plc::runtime
