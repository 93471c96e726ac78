/// @file
/// What a station means by an exception reply.
#ifndef PLC_HOST_EXCEPTION_CODES_H
#define PLC_HOST_EXCEPTION_CODES_H

#include <string>

namespace plc::host {

constexpr int kExceptionBusy = 6;

/// Name and advice for an exception code (MODBUS Application Protocol V1.1b3, 7).
struct ExceptionMeaning
{
    const char *name; ///< "illegal data address"
    const char *hint; ///< what to try
};

/// Meaning of @p code; a code without one is named "unknown exception".
ExceptionMeaning exceptionMeaning(int code);

/// "exception 02 (illegal data address) to function 3: ..." with the advice.
std::string describeException(int function, int code);

} // namespace plc::host

#endif
