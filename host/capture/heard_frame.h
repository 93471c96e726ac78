/// @file
/// A frame, or what is left over, as it went over a line.
#ifndef PLC_CAPTURE_HEARD_FRAME_H
#define PLC_CAPTURE_HEARD_FRAME_H

#include <QByteArray>

#include "host/runtime_names.h"
#include "runtime/line/frame_splitter.h"
#include "runtime/line/link_time.h"

namespace plc::host {

struct HeardFrame
{
    PieceKind kind = PieceKind::Noise;
    FrameRole role = FrameRole::Either; ///< a good frame that may be either counts as a request
    QByteArray bytes;
    int station = -1;      ///< -1 of noise
    int function = -1;     ///< of an exception reply without its flag; -1 of noise
    int exceptionCode = 0; ///< of an exception reply
    Time end{0};           ///< of the last character, as exactly as is known
    Time uncertain{0};     ///< the true end may be so much earlier

    bool isGood() const { return kind != PieceKind::Damaged && kind != PieceKind::Noise; }
    bool isReply() const { return role == FrameRole::Reply; }
};

} // namespace plc::host

#endif
