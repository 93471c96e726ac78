#include "host/finding/scan_replies.h"

#include <algorithm>

#include "runtime/line/rtu_layout.h"

namespace plc::host {

namespace {

/// A converter may hold an echo back behind that many further requests.
constexpr std::size_t kRequestsKept = 16;
constexpr int kRubbishKept = 32;
/// A line that never falls silent: what is held beyond this is left over.
constexpr int kMostHeld = 512;
constexpr int kMostExceptionCode = 0x0B; // MODBUS Application Protocol V1.1b3, 7

int byteAt(const QByteArray &bytes, int at)
{
    return static_cast<unsigned char>(bytes.at(at));
}

} // namespace

void ScanReplies::sent(const QByteArray &request)
{
    requests_.push_back(request);
    if (requests_.size() > kRequestsKept)
        requests_.pop_front();
}

std::vector<ScanReply> ScanReplies::take(const QByteArray &bytes, Time at, Time character)
{
    bytes_ += bytes;
    for (int i = 0; i < bytes.size(); ++i)
        from_.push_back(at - (bytes.size() - i) * character);
    std::vector<ScanReply> replies;
    for (int place = 0; place < bytes_.size();) {
        const int length = isEchoBegun(place) ? 0 : replyLengthAt(place);
        if (length > 0) {
            const QByteArray frame = bytes_.mid(place, length);
            const bool isException = (byteAt(frame, 1) & kExceptionBit) != 0;
            replies.push_back({byteAt(frame, 0), isException ? byteAt(frame, 2) : 0, frame,
                               from_[static_cast<std::size_t>(place)]});
            remove(place, length);
            discard(place); // what stood before it does not go on behind it
            place = 0;
        } else if (takeEcho(place)) {
            place = 0;
        } else {
            ++place;
        }
    }
    discard(std::max(bytes_.size() - kMostHeld, 0));
    return replies;
}

ScanRubbish ScanReplies::drop()
{
    discard(bytes_.size());
    ScanRubbish dropped;
    std::swap(dropped, rubbish_);
    return dropped;
}

/// Removes a whole request that has come back.
bool ScanReplies::takeEcho(int at)
{
    for (const QByteArray &request : requests_) {
        if (bytes_.size() - at >= request.size() && bytes_.mid(at, request.size()) == request) {
            remove(at, request.size());
            hasEcho_ = true;
            return true;
        }
    }
    return false;
}

/// Whether all bytes from here on are the beginning of a request, or the whole of it and more: an echo is
/// never a reply, even where the bytes allow both.
bool ScanReplies::isEchoBegun(int at) const
{
    const int available = bytes_.size() - at;
    return std::any_of(requests_.begin(), requests_.end(), [&](const QByteArray &request) {
        const int common = std::min<int>(available, request.size());
        return common > kShortestFrame && bytes_.mid(at, common) == request.left(common);
    });
}

/// Length of the reply that stands here; 0 for none.
int ScanReplies::replyLengthAt(int at) const
{
    const int available = bytes_.size() - at;
    if (available < kExceptionLen || byteAt(bytes_, at) == 0)
        return 0;
    int length = 0;
    if (byteAt(bytes_, at + 1) == function_ && byteAt(bytes_, at + 2) == dataBytes_)
        length = countedReplyLength(dataBytes_);
    const int code = byteAt(bytes_, at + 2);
    if (byteAt(bytes_, at + 1) == (function_ | kExceptionBit) && code > 0 && code <= kMostExceptionCode)
        length = kExceptionLen;
    return length > 0 && length <= available && crcFits(bytes_.constData() + at, length, false) ? length : 0;
}

void ScanReplies::remove(int at, int count)
{
    bytes_.remove(at, count);
    from_.erase(from_.begin() + at, from_.begin() + at + count);
}

/// The first bytes are left over.
void ScanReplies::discard(int count)
{
    if (count == 0)
        return;
    if (rubbish_.count == 0)
        rubbish_.from = from_.front();
    rubbish_.count += count;
    rubbish_.bytes += bytes_.left(std::min<int>(count, kRubbishKept - rubbish_.bytes.size()));
    remove(0, count);
}

} // namespace plc::host
