/// @file
/// Why an attempt has brought no good reply: what was heard instead, in a few words for people.
#ifndef PLC_LINE_MISS_H
#define PLC_LINE_MISS_H

#include <QByteArray>

#include <string>
#include <vector>

#include "runtime/line/reply_search.h"

namespace plc::runtime {

constexpr int kMostShown = 16; ///< bytes of Miss::shown

struct Miss
{
    /// Of what is heard together, the kind that stands further down tells more.
    enum class Kind
    {
        None,          ///< there was a good reply, or none was due
        NothingHeard,  ///< not a byte came, but for an echo that was taken off
        NoFrame,       ///< bytes came that are no frame
        OtherMaster,   ///< somebody else asks `station`
        Echo,          ///< the request came back
        MayBeEcho,     ///< bytes that are the request as well as a reply, too soon to tell which
        EchoMissing,   ///< the line was said to have echoes, and this one did not come as it went out
        OtherStation,  ///< a good frame of `station`
        OtherFunction, ///< the station has answered `function`
        OtherLength,   ///< a reply of `heard` bytes, where `due` were due
        OtherPlace,    ///< the reply to a write of something else
        WrongCrc,      ///< the reply in all but its CRC
        SwappedCrc,    ///< the reply with its CRC the other way round
        NotAccepted,   ///< the driver does not take the reply
        Refused,       ///< an exception reply with code `exceptionCode`
        LineBusy       ///< nothing was sent, since the line never fell silent
    };
    Kind kind = Kind::None;
    int station = 0;           ///< whose frame it is, or who is asked by somebody else
    int asked = 0;             ///< the station that was asked; for OtherFunction the function
    int function = 0;          ///< see OtherFunction
    int heard = 0;             ///< bytes
    int due = 0;               ///< bytes, for OtherLength
    int exceptionCode = 0;     ///< for Refused
    bool crcHighFirst = false; ///< for SwappedCrc: how it came
    bool alsoEcho = false;     ///< the request came back, too
    QByteArray shown;          ///< the first of the bytes that it is about
};

/// "nothing heard", "a good frame of station 2; station 1 was asked". Names no setting: what to try is told
/// by whoever reports it.
std::string describe(const Miss &miss);

/// "a second master asks station 4".
std::string describeOtherMaster(int station);

/// What @p heard is, which is all that came behind a request and was no good reply to it.
/// @param shape    of the reply that was due.
/// @param request  the frame that was sent. One that equals it is its echo.
Miss missOf(const QByteArray &heard, const ReplyShape &shape, const QByteArray &request);

/// Attempts in a row that ended alike, whatever the bytes were; `miss` is that of the first.
struct MissedAttempts
{
    int first = 1; ///< number of the first of them, from 1 on
    int last = 1;
    Miss miss;
};

/// One more attempt has ended so. Keeps the first few and the last.
void add(const Miss &miss, int attempt, std::vector<MissedAttempts> *missed);

/// "nothing heard"; where attempts differ "attempts 1 and 2: nothing heard; attempt 3: ...".
std::string describe(const std::vector<MissedAttempts> &missed);

} // namespace plc::runtime

#endif
