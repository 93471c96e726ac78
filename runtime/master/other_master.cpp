#include "runtime/master/other_master.h"

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
    std::vector<int> asked;
    if (splitter_.held() > 0)
        asked = askedIn(splitter_.finish());
    splitter_.markGap();
    own_ = frame;
    return asked;
}

std::vector<int> OtherMaster::askedIn(const std::vector<Piece> &pieces) const
{
    std::vector<int> asked;
    for (const Piece &piece : pieces) {
        const bool isFrame = piece.kind == PieceKind::Frame && piece.bytes != own_;
        const bool isSingle = piece.function == kWriteSingleCoil || piece.function == kWriteSingleRegister;
        const bool isRequest =
            isSingle ? piece.requestAt >= 0 : piece.role == FrameRole::Request && !mayBeReply(piece.bytes);
        if (isFrame && isRequest)
            asked.push_back(piece.station);
    }
    return asked;
}

} // namespace plc::runtime
