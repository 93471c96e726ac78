/// @file
/// Requests on the line that are not ours.
#ifndef PLC_MASTER_OTHER_MASTER_H
#define PLC_MASTER_OTHER_MASTER_H

#include <QByteArray>

#include <array>
#include <cstddef>
#include <vector>

#include "runtime/line/frame_splitter.h"

namespace plc::runtime {

/// Finds the requests of a second master among the bytes that belong to no answer of ours. A write of one
/// register or coil has the form of its reply, so that it counts when it has come twice; any other request
/// that may be a late reply does not count. Told the bytes; no clock inside. Not locked.
class OtherMaster
{
public:
    /// A frame of ours goes out behind a silence.
    /// @return as heard(), of what had been undecided.
    std::vector<int> sent(const QByteArray &frame);
    /// Received bytes are thrown away.
    /// @return the stations that requests among these bytes, and those before, are to.
    std::vector<int> heard(const QByteArray &bytes) { return askedIn(splitter_.push(bytes)); }
    /// Something else was on the line between the bytes before and those behind: no frame goes across.
    /// @return as heard(), of what had been undecided.
    std::vector<int> interrupted();

private:
    /// Late replies are to one of the last few requests: each waits out its time-out before the next.
    static constexpr std::size_t kOwnKept = 8;

    std::vector<int> askedIn(const std::vector<Piece> &pieces) const;
    bool isOwn(const QByteArray &frame) const;

    FrameSplitter splitter_;
    /// The last frames that we sent, without repeats, each of which may come back as echo or reply.
    std::array<QByteArray, kOwnKept> own_;
    std::size_t oldest_ = 0; ///< of own_
};

} // namespace plc::runtime

#endif
