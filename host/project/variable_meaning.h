/// @file
/// What a project says of the values of a variable: scale, unit, limits, texts.
#ifndef PLC_PROJECT_VARIABLE_MEANING_H
#define PLC_PROJECT_VARIABLE_MEANING_H

#include <json/value.h>

#include <memory>

#include "host/project/located_json.h"
#include "runtime/panel/variable.h"

namespace plc::host {

/// The members of a variable that say what its values mean; null where they are not there.
struct MeaningMembers
{
    const Json::Value *scale = nullptr;
    const Json::Value *offset = nullptr;
    const Json::Value *unit = nullptr;
    const Json::Value *least = nullptr;
    const Json::Value *most = nullptr;
    const Json::Value *texts = nullptr;
    const Json::Value *description = nullptr;
};

/// Reads what the members say.
/// @param variable  with its area and format, which say what is possible.
/// @return null where none of them is there.
/// @throw Failure   (wrong usage) with line and column of the first mistake.
std::shared_ptr<const runtime::Meaning> readMeaning(const LocatedJson &json, const MeaningMembers &members,
                                                    const runtime::Variable &variable);

/// The value that a text stands for, as readMeaning() understands it.
std::string keyOf(const runtime::Variable &variable, const runtime::ValueName &name);

} // namespace plc::host

#endif
