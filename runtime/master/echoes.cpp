#include "runtime/master/echoes.h"

namespace plc::runtime {

void Echoes::sent(const QByteArray &frame)
{
    frame_ = frame;
    hasCome_ = false;
    due_ += lineHasEchoes_ ? 1 : 0;
}

std::optional<int> Echoes::take(const QByteArray &received)
{
    if (due_ == 0)
        return std::nullopt;
    const int at = received.indexOf(frame_);
    if (at < 0 || (hasCome_ && at > 0))
        return std::nullopt;
    --due_;
    hasCome_ = true;
    return at;
}

bool Echoes::takeAt(const QByteArray &received, int at, int length)
{
    if (due_ == 0 || received.mid(at, length) != frame_)
        return false;
    --due_;
    return true;
}

} // namespace plc::runtime
