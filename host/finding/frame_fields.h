/// @file
/// A frame, field by field, for people.
#ifndef PLC_FINDING_FRAME_FIELDS_H
#define PLC_FINDING_FRAME_FIELDS_H

#include <QByteArray>

#include <string>
#include <vector>

#include "host/runtime_names.h"

namespace plc::host {

struct FrameField
{
    std::string name;  ///< "byte count"
    std::string bytes; ///< "04"
    std::string text;  ///< what the bytes mean; may be empty
};

/// "read holding registers (3)", "function 100".
std::string functionLabel(int function);

/// The fields of @p reply, which is one to @p request; both with their CRC. Every byte stands in one field,
/// those that nobody knows as "data".
std::vector<FrameField> fieldsOf(const QByteArray &reply, const QByteArray &request);

} // namespace plc::host

#endif
