/// @file
/// Into how many requests the driver divides what is too long for one.
#ifndef PLC_PANEL_PIECES_H
#define PLC_PANEL_PIECES_H

#include "runtime/master/link_settings.h"
#include "runtime/panel/variable.h"

namespace plc::runtime {

/// Most bits or registers of one request that reads a part of @p variable: where a value fits into a request,
/// none is cut.
int readPieceSize(const Variable &variable, const LinkSettings &settings);

/// True where a single value is longer than a request may be, so that it is read in two pieces or more.
bool cutsValues(const Variable &variable, const LinkSettings &settings);

/// Number of requests that reading @p variable takes.
int readPieces(const Variable &variable, const LinkSettings &settings);

/// Most registers of one request that writes a part of @p variable, which is one of holding registers that go
/// out in blocks. Where a value fits into a request, none is cut.
int writeBlockSize(const Variable &variable, const LinkSettings &settings);

/// Number of requests that writing @p variable takes, a read-modify-write counted once.
int writePieces(const Variable &variable, const LinkSettings &settings);

} // namespace plc::runtime

#endif
