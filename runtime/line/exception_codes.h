/// @file
/// What a station means by an exception reply.
#ifndef PLC_LINE_EXCEPTION_CODES_H
#define PLC_LINE_EXCEPTION_CODES_H

#include <string>

namespace plc::runtime {

constexpr int kExceptionFunction = 1;
constexpr int kExceptionAddress = 2;
constexpr int kExceptionValue = 3;
constexpr int kExceptionAcknowledge = 5;
constexpr int kExceptionBusy = 6;
constexpr int kExceptionGatewayPath = 10;
constexpr int kExceptionGatewayTarget = 11;

/// Name and advice for an exception code (MODBUS Application Protocol V1.1b3, 7).
struct ExceptionMeaning
{
    const char *name; ///< "illegal data address"
    const char *hint; ///< what to try
};

/// Meaning of @p code; a code without one is named "unknown exception".
ExceptionMeaning exceptionMeaning(int code);

/// "02 illegal data address".
std::string exceptionLabel(int code);

/// "exception 02 (illegal data address) to function 3, address 1000, count 20: ..." with the advice.
/// @param address  first register or bit of the refused request.
/// @param count    registers or bits of it; 0 when neither is known, which leaves both out.
std::string describeException(int function, int code, int address, int count);

} // namespace plc::runtime

#endif
