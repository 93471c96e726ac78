#include "runtime/line/exception_codes.h"

#include <cstdio>

#include "runtime/line/rtu_layout.h"

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

/// @name What to try where the request leaves only some of it
/// @{
constexpr const char *kNoSuchPlace =
    "the station has no such address; look it up in its manual, or try setting 'driverOptions' one-based";
constexpr const char *kNotWritable =
    "the station has no such address, or it cannot be written; look it up in "
    "its manual, or try setting 'driverOptions' one-based";
constexpr const char *kNotWritableAtOnce =
    "not all of these addresses can be written; write them one by one to see which, or try setting "
    "'driverOptions' one-based";
constexpr const char *kRefusedValue = "the station does not take this value; look up its range in its manual";
constexpr const char *kRefusedValues =
    "the station does not take one of these values, or not that many at once; try a smaller setting "
    "'maxBlock'";
constexpr const char *kRefusedRead = "the station does not take this request; see its manual";
/// @}

/// @param count  0 = not known.
const char *hintFor(int function, int code, int count)
{
    const bool isWrite = isWriteFunction(function);
    switch (code) {
    case kExceptionAcknowledge:
        if (isWrite)
            return kWriteHasBegun;
        break;
    case kExceptionAddress:
        if (isWrite)
            return count > 1 ? kNotWritableAtOnce : kNotWritable;
        if (count == 1)
            return kNoSuchPlace;
        break;
    case kExceptionValue:
        if (isWrite)
            return count > 1 ? kRefusedValues : kRefusedValue;
        if (count == 1)
            return kRefusedRead;
        break;
    default:
        break;
    }
    return exceptionMeaning(code).hint;
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
           hintFor(function, code, count);
}

} // namespace plc::runtime
