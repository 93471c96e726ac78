/// @file
/// Into how many requests the driver divides what is too long for one.
#ifndef PLC_PANEL_PIECES_H
#define PLC_PANEL_PIECES_H

#include "runtime/master/link_settings.h"
#include "runtime/panel/variable.h"

namespace plc::runtime {

/// Number of requests that reading @p variable takes.
int readPieces(const Variable &variable, const LinkSettings &settings);

/// Number of requests that writing @p variable takes, a read-modify-write counted once.
int writePieces(const Variable &variable, const LinkSettings &settings);

} // namespace plc::runtime

#endif
