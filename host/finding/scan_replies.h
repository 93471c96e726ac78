/// @file
/// Replies among the bytes that come back to the requests of a scan.
#ifndef PLC_FINDING_SCAN_REPLIES_H
#define PLC_FINDING_SCAN_REPLIES_H

#include <QByteArray>

#include <cstdint>
#include <deque>
#include <vector>

#include "host/runtime_names.h"
#include "runtime/line/link_time.h"

namespace plc::host {

/// A reply with a good CRC.
struct ScanReply
{
    int station = 0;
    int exceptionCode = 0; ///< 0 = a value
    QByteArray frame;
    Time from{0}; ///< when its first byte began, as far as the port tells
};

/// Bytes that are neither a reply nor an echo.
struct ScanRubbish
{
    QByteArray bytes; ///< the first of them
    int count = 0;
    Time from{0};
};

/// Takes any byte for nothing but a byte: a find is a frame that answers the requests, of whatever station. A
/// request that comes back is the echo of the line. The length of a reply is known, so that pauses between
/// bytes play no part.
class ScanReplies
{
public:
    /// @param function   of the requests.
    /// @param dataBytes  of a reply.
    ScanReplies(int function, int dataBytes) : function_(function), dataBytes_(dataBytes) {}

    /// A request goes out; it may come back, also behind others.
    void sent(const QByteArray &request);
    /// Takes bytes.
    /// @param at         when they came.
    /// @param character  time of a byte on the wire.
    std::vector<ScanReply> take(const QByteArray &bytes, Time at, Time character);
    /// Whether bytes wait for others.
    bool isHolding() const { return !bytes_.isEmpty(); }
    /// The line has fallen silent: nothing goes on any more.
    /// @return what was left over since the call before.
    ScanRubbish drop();
    /// Whether requests have come back.
    bool hasEcho() const { return hasEcho_; }

private:
    bool takeEcho(int at);
    bool isEchoBegun(int at) const;
    int replyLengthAt(int at) const;
    void remove(int at, int count);
    void discard(int count);

    int function_;
    int dataBytes_;
    std::deque<QByteArray> requests_; ///< the last ones
    QByteArray bytes_;
    std::vector<Time> from_; ///< one for each of bytes_
    ScanRubbish rubbish_;
    bool hasEcho_ = false;
};

} // namespace plc::host

#endif
