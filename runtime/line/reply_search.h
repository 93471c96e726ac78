/// @file
/// The search for the reply to one request among the received bytes.
///
/// What a frame's bytes say of its length and CRC comes from rtu_layout.h, as it does for frame_splitter.h,
/// which takes a whole line apart. The search does not go through the splitter, because its results would
/// change. Here a request is under way and only its reply counts. A frame of that length is taken at once, at
/// any place, with odd values and with the CRC either way round. What begins like the reply hides the rest.
/// The splitter weighs all frames of a line against each other, so that a longer foreign frame may win over
/// the reply or delay it.
#ifndef PLC_LINE_REPLY_SEARCH_H
#define PLC_LINE_REPLY_SEARCH_H

#include <QByteArray>

#include "runtime/line/rtu_layout.h"

namespace plc::runtime {

/// Everything that tells the reply to one request from other bytes.
struct ReplyShape
{
    int station = 0;          ///< first byte
    int function = -1;        ///< second byte; -1 = any normal function (replies to relay frames)
    int length = 0;           ///< exact number of bytes; 0 = no reply is recognised
    bool isRead = false;      ///< the third byte counts the data bytes
    QByteArray repeats;       ///< bytes behind the function that the reply must repeat; empty = not looked at
    QByteArray repeatsSingle; ///< the same for functions 5 and 6 where the function is not known beforehand
    QByteArray request; ///< a reply to a read is never these bytes, which may be its echo; empty = may be
    bool crcHighFirst = false; ///< CRC with its high byte first
};

/// Shape of the reply to the Modbus request @p frame. `length` is 0 for a frame too short to be a request,
/// and for functions other than 1 to 6, 15 and 16.
/// @param strict  a reply to a write must repeat address and value (or quantity) of the request
///                (MODBUS Application Protocol V1.1b3, 6.5, 6.6, 6.11, 6.12).
ReplyShape modbusReplyShape(const QByteArray &frame, bool crcHighFirst, bool strict);

/// Shape of the Modbus reply to the relay frame @p frame, of which @p replyLen bytes are expected.
/// @param strict  as in modbusReplyShape(). Of a bit inside a register only the address is looked at, since
///                the frame does not tell the register's new value.
ReplyShape relayReplyShape(const QByteArray &frame, int replyLen, bool crcHighFirst, bool strict);

enum class Found
{
    Nothing,    ///< no reply, not even the beginning of one
    Beginning,  ///< a reply of the right shape has begun and is not complete
    Reply,      ///< a complete reply of the right shape
    WrongReply, ///< a complete reply of this station and function with another length or other repeated bytes
    Exception   ///< a complete exception reply
};

struct Sighting
{
    Found found = Found::Nothing;
    int at = 0;                 ///< first byte of the frame
    int length = 0;             ///< bytes of the frame
    int exceptionCode = 0;      ///< for Found::Exception
    int function = 0;           ///< second byte, for Found::Exception
    bool isLikeRequest = false; ///< for Found::WrongReply: a reply but for being ReplyShape::request
};

/// Looks for the first frame in @p bytes that concerns a request.
///
/// A reply that has begun hides whatever looks like a frame inside it, since register values may look like
/// anything;
/// @p lookPastBeginnings is for the end of the wait, when what has begun will not be completed any more.
Sighting findReply(const QByteArray &bytes, const ReplyShape &shape, bool lookPastBeginnings);

/// True when @p bytes end with what is the reply in everything that @p shape tells but its CRC: it has come
/// and was damaged on the way.
bool endWithDamagedReply(const QByteArray &bytes, const ReplyShape &shape);

} // namespace plc::runtime

#endif
