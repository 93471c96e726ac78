#include "runtime/master/other_master.h"

#include <algorithm>

namespace plc::runtime {

namespace {

/// A late reply of eight bytes may look like a request.
bool mayBeReply(const QByteArray &frame)
{
    const auto *const bytes = reinterpret_cast<const unsigned char *>(frame.constData());
    const ContentLength length = replyLengthAt(bytes, frame.size());
    return length.kind == ContentLength::Kind::Known && length.bytes == frame.size();
}

} // namespace

std::vector<int> OtherMaster::sent(const QByteArray &frame)
{
    std::vector<int> asked = interrupted();
    if (!isOwn(frame)) {
        // Bytes of our own: those of the request go on to another thread, with its report.
        QByteArray kept(frame.constData(), frame.size());
        own_[oldest_].swap(kept);
        oldest_ = (oldest_ + 1) % own_.size();
    }
    return asked;
}

std::vector<int> OtherMaster::interrupted()
{
    std::vector<int> asked;
    if (splitter_.held() > 0)
        asked = askedIn(splitter_.finish());
    splitter_.markGap();
    return asked;
}

bool OtherMaster::isOwn(const QByteArray &frame) const
{
    return std::find(own_.begin(), own_.end(), frame) != own_.end();
}

std::vector<int> OtherMaster::askedIn(const std::vector<Piece> &pieces) const
{
    std::vector<int> asked;
    for (const Piece &piece : pieces) {
        const bool isFrame = piece.kind == PieceKind::Frame && !isOwn(piece.bytes);
        const bool isSingle = piece.function == kWriteSingleCoil || piece.function == kWriteSingleRegister;
        const bool isRequest =
            isSingle ? piece.requestAt >= 0 : piece.role == FrameRole::Request && !mayBeReply(piece.bytes);
        if (isFrame && isRequest)
            asked.push_back(piece.station);
    }
    return asked;
}

} // namespace plc::runtime
