/// @file
/// Values between the driver's bytes and the public interface.
#ifndef PLC_API_PUBLIC_VALUES_H
#define PLC_API_PUBLIC_VALUES_H

#include "plcruntime/plcruntime.h"
#include "runtime/panel/values.h"

namespace plc::api {

/// @param bytes  as Session::bytes().
QList<plcruntime::Value> publicValues(const runtime::Variable &variable, const QByteArray &bytes);

/// What Session::write() takes.
/// @throw runtime::Failure  (wrong usage) when a value does not fit the variable, or when they are not as
/// many.
runtime::Values writtenValues(const runtime::Variable &variable, const QList<plcruntime::Value> &values);

} // namespace plc::api

#endif
