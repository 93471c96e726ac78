#include "runtime/line/exception_codes.h"

#include <cstdio>

namespace plc::runtime {

namespace {

struct Row
{
    int code;
    ExceptionMeaning meaning;
};

constexpr Row kRows[] = {
    {kExceptionFunction,
     {"illegal function", "the station does not offer this function, or not in its present state"}},
    {kExceptionAddress,
     {"illegal data address", "the range lies outside the station's map; read fewer registers at once, or "
                              "try setting 'driverOptions' one-based"}},
    {kExceptionValue,
     {"illegal data value", "the station does not take that many at once; try a smaller setting 'maxBlock'"}},
    {4,
     {"server device failure", "the station failed while it carried the request out; look at the station"}},
    {kExceptionAcknowledge,
     {"acknowledge", "the station has begun a long job and will answer later; ask again"}},
    {kExceptionBusy, {"server device busy", "the station is at work on something else; ask again"}},
    {7, {"negative acknowledge", "the station cannot carry the request out"}},
    {8, {"memory parity error", "the station's extended memory is damaged"}},
    {kExceptionGatewayPath,
     {"gateway path unavailable", "the gateway is badly set up or overloaded; look at the gateway"}},
    {kExceptionGatewayTarget,
     {"gateway target failed to respond", "the station behind the gateway is silent"}},
};

/// A write that has begun must not begin again.
constexpr const char *kWriteHasBegun = "the station has begun the write and needs long for it; do not send "
                                       "it again, but see later what it has done";

bool isWriteFunction(int function)
{
    return function == 5 || function == 6 || function == 15 || function == 16;
}

constexpr ExceptionMeaning kUnknown = {"unknown exception", "see the station's manual"};

} // namespace

ExceptionMeaning exceptionMeaning(int code)
{
    for (const Row &row : kRows) {
        if (row.code == code)
            return row.meaning;
    }
    return kUnknown;
}

std::string exceptionLabel(int code)
{
    char number[16];
    std::snprintf(number, sizeof number, "%02X ", code);
    return number + std::string(exceptionMeaning(code).name);
}

std::string describeException(int function, int code, int address, int count)
{
    const ExceptionMeaning meaning = exceptionMeaning(code);
    char number[48];
    std::snprintf(number, sizeof number, "exception %02X (", code);
    const std::string place =
        count > 0 ? ", address " + std::to_string(address) + ", count " + std::to_string(count) : "";
    return number + std::string(meaning.name) + ") to function " + std::to_string(function) + place + ": " +
           (code == kExceptionAcknowledge && isWriteFunction(function) ? kWriteHasBegun : meaning.hint);
}

} // namespace plc::runtime
