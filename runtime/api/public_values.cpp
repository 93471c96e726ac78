#include "runtime/api/public_values.h"

#include "runtime/line/failure.h"

namespace plc::api {

using runtime::Failure;
using runtime::FailureKind;

QList<plcruntime::Value> publicValues(const runtime::Variable &variable, const QByteArray &bytes)
{
    QList<plcruntime::Value> values;
    for (const std::uint32_t value : runtime::decodeValues(bytes, variable.area->unit, variable.count))
        values.append(plcruntime::Value(static_cast<quint64>(value)));
    return values;
}

runtime::Values writtenValues(const runtime::Variable &variable, const QList<plcruntime::Value> &values)
{
    runtime::Values written;
    for (const plcruntime::Value &value : values)
        written.push_back(static_cast<std::uint32_t>(value.toInteger()));
    if (values.size() != variable.count)
        throw Failure(FailureKind::Usage, "variable '" + variable.text + "' has " +
                                              std::to_string(variable.count) + " values, and " +
                                              std::to_string(values.size()) + " are given");
    return written;
}

int unitsOfOneValue(const runtime::Variable &variable)
{
    return variable.area->unit == runtime::Unit::RegisterPair ? 2 : 1;
}

} // namespace plc::api
