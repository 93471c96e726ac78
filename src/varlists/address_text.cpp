#include "varlists/address_text.h"

#include "core/context.h"
#include "core/guarded.h"
#include "core/register_types.h"
#include "plcdriver.h"

namespace {

constexpr int kInvalid = -1;

// A number of at most nine plain digits, which is what nearly every address is; -1 for any other text.
int plainDigits(const QString &text)
{
    constexpr int kMostDigits = 9; // always fits an int
    const int length = text.size();
    if (length < 1 || length > kMostDigits)
        return -1;
    int number = 0;
    for (const QChar *at = text.constData(), *const end = at + length; at != end; ++at) {
        const unsigned digit = at->unicode() - static_cast<unsigned>('0');
        if (digit > 9)
            return -1;
        number = number * 10 + static_cast<int>(digit);
    }
    return number;
}

// QString::toInt() in base 10, which knows signs and spaces and costs 460 instructions; digits alone mean the
// same here.
int toNumber(const QString &text, bool *ok)
{
    const int digits = plainDigits(text);
    if (digits < 0)
        return text.toInt(ok, 10);
    *ok = true;
    return digits;
}

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
    const int number = toNumber(text, &ok);
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
