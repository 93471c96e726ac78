/// @file
/// What a frame says, field by field, in words.
#ifndef PLC_CAPTURE_FRAME_WORDS_H
#define PLC_CAPTURE_FRAME_WORDS_H

#include <QByteArray>

#include <optional>
#include <string>
#include <vector>

#include "host/runtime_names.h"
#include "runtime/panel/values.h"
#include "runtime/panel/variable.h"

namespace plc::host {

/// "read holding registers"; "function 65" for a code without a name.
std::string functionName(int function);

/// The fields of a frame with a good CRC.
struct FrameFields
{
    int station = -1;
    int function = -1;                 ///< of an exception reply without its flag
    int exceptionCode = 0;             ///< of an exception reply
    int baseType = -1;                 ///< area of the values: 0, 1, 4 or 5 as Area::baseType; -1 for none
    std::optional<int> address;        ///< of the first element; in a reply to a read, that of its request
    std::optional<int> count;          ///< of elements that are asked for, written or read
    std::vector<std::uint16_t> values; ///< bits, 0 or 1, or registers: those that the frame carries
    std::string words; ///< "read holding registers: 10 from 100", "holding registers from 100: 1 2 3"
};

/// @param frame    kShortestFrame bytes or more.
/// @param isReply  which of the two it is.
/// @param request  of a reply: what it answers; empty where that is not known.
FrameFields fieldsOf(const QByteArray &frame, bool isReply, const QByteArray &request = QByteArray());

/// A variable and what a frame says of it.
struct NamedValues
{
    const Variable *variable = nullptr;
    Values values;
};

/// Those of the variables that lie whole within the values that the frame carries.
/// @param variables  each with its station; outlives the result.
std::vector<NamedValues> namedValues(const FrameFields &fields, const std::vector<Variable> &variables);

} // namespace plc::host

#endif
