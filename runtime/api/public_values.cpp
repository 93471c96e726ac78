#include "runtime/api/public_values.h"

#include "runtime/line/failure.h"

namespace plc::api {

namespace {

using runtime::Failure;
using runtime::FailureKind;

plcruntime::Value publicValue(const runtime::Value &value)
{
    plcruntime::Value shown;
    switch (value.type) {
    case runtime::Value::Type::Unsigned:
        shown = plcruntime::Value(static_cast<unsigned long long>(value.whole));
        break;
    case runtime::Value::Type::Signed:
        shown = plcruntime::Value(static_cast<long long>(value.asSigned()));
        break;
    case runtime::Value::Type::Real:
        shown = plcruntime::Value(value.real);
        break;
    case runtime::Value::Type::Text:
        shown = plcruntime::Value(QString::fromUtf8(value.text.c_str()));
        break;
    }
    shown.isBad = value.isBad;
    return shown;
}

runtime::Value givenValue(const plcruntime::Value &value)
{
    switch (value.kind) {
    case plcruntime::ValueKind::Unsigned:
        return runtime::Value::ofUnsigned(value.number.asUnsigned);
    case plcruntime::ValueKind::Signed:
        return runtime::Value::ofSigned(value.number.asSigned);
    case plcruntime::ValueKind::Real:
        return runtime::Value::ofReal(value.number.asReal);
    case plcruntime::ValueKind::Text:
        return runtime::Value::ofText(value.text.toUtf8().constData());
    case plcruntime::ValueKind::None:
        break;
    }
    throw Failure(FailureKind::Usage, "a value that is none cannot be written");
}

} // namespace

QList<plcruntime::Value> publicValues(const runtime::Variable &variable, const QByteArray &bytes)
{
    const runtime::Values raw = runtime::decodeValues(bytes, variable.area->unit, variable.rawCount());
    QList<plcruntime::Value> values;
    for (int i = 0; i < variable.count; ++i)
        values.append(publicValue(runtime::valueOf(variable, raw, i)));
    return values;
}

runtime::Values writtenValues(const runtime::Variable &variable, const QList<plcruntime::Value> &values)
{
    if (values.size() != variable.count)
        throw Failure(FailureKind::Usage, "variable '" + variable.text + "' has " +
                                              std::to_string(variable.count) + " values, and " +
                                              std::to_string(values.size()) + " are given");
    runtime::Values written;
    try {
        for (const plcruntime::Value &value : values)
            runtime::appendValue(variable, givenValue(value), &written);
    } catch (const Failure &failure) {
        throw Failure(failure.kind(), "variable '" + variable.text + "': " + failure.what());
    }
    return written;
}

} // namespace plc::api
