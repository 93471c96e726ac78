/// @file
/// The trace for people. Programs get the frames, and the text is made only where somebody reads it.
#ifndef PLC_MASTER_TRACE_LINE_H
#define PLC_MASTER_TRACE_LINE_H

#include <string>

#include "runtime/master/link.h"

namespace plc::runtime {

/// What a frame of the news is: "-> 11 03 00 64 00 02 86 84  (attempt 2)", "-- time-out".
std::string frameText(const FrameNews &frame);

/// The same behind its time: "     0.012345 -> 11 03 00 64 00 02 86 84".
std::string traceLine(const FrameNews &frame);

} // namespace plc::runtime

#endif
