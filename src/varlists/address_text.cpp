#include "varlists/address_text.h"

#include "core/context.h"
#include "core/guarded.h"
#include "core/register_types.h"
#include "plcdriver.h"

namespace {

constexpr int kInvalid = -1;

// Numbers typed one-based count from 1; a typed 0 stays 0.
int zeroBased(int number)
{
    return plc::addressesAreOneBased() && number >= 1 ? number - 1 : number;
}

// "register.bit". Deliberate: a part that is no number counts as 0, and the bit may reach into the following
// registers.
int bitNumber(const QString &text)
{
    const QChar point = QLatin1Char('.');
    if (text.count(point) != 1)
        return kInvalid;
    const int at = text.indexOf(point);
    const int word = zeroBased(text.left(at).toInt());
    const int bit = text.mid(at + 1).toInt();
    return static_cast<int>(static_cast<unsigned>(word) * 16u + static_cast<unsigned>(bit));
}

int plainNumber(const QString &text)
{
    bool ok = false;
    const int number = text.toInt(&ok, 10);
    return ok ? zeroBased(number) : kInvalid;
}

} // namespace

int StringAddressToInt(int regType, QString text)
{
    if (!plc::isKnownRegType(regType))
        return kInvalid;
    const bool bitInRegister = regType == plc::kInputRegisterBit || regType == plc::kHoldingRegisterBit;
    return bitInRegister ? bitNumber(text) : plainNumber(text);
}

int PLCAddressChangeIntef(int regType, QString text)
{
    return plc::guarded(kInvalid, [&] { return StringAddressToInt(regType, text); });
}
