// Address texts as typed on a panel, against a second reading of the same rules: every text gives a number,
// the right one, whatever it is.
#include "fuzz/support/claim.h"
#include "fuzz/support/input.h"
#include "fuzz/support/runtime.h"
#include "varlists/address_text.h"

namespace plc::fuzz {

namespace {

constexpr int kNoAddress = -1;

int zeroBased(int typed, bool oneBased)
{
    return oneBased && typed > 0 ? typed - 1 : typed;
}

/// Registers are counted in 16 bits each; what does not fit 32 bits wraps.
int bitAddress(const QString &text, bool oneBased)
{
    const QStringList parts = text.split(QLatin1Char('.'));
    if (parts.size() != 2)
        return kNoAddress;
    int word = 0;
    int bit = 0;
    parseDecimal(parts.at(0), &word);
    parseDecimal(parts.at(1), &bit);
    return static_cast<int>(static_cast<quint32>(qint64(zeroBased(word, oneBased)) * 16 + bit));
}

int expectedAddress(int regType, const QString &text, bool oneBased)
{
    if (regType < 0 || regType > 9)
        return kNoAddress;
    if (regType == 2 || regType == 3)
        return bitAddress(text, oneBased);
    int typed = 0;
    return parseDecimal(text, &typed) ? zeroBased(typed, oneBased) : kNoAddress;
}

QString textFrom(Input &input)
{
    const bool wide = input.below(4) == 3;
    const std::string bytes = input.rest();
    if (!wide)
        return QString::fromLatin1(bytes.data(), static_cast<int>(bytes.size()));
    QString text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const unsigned high = static_cast<unsigned char>(bytes[i]);
        text.append(QChar(static_cast<ushort>(high << 8 | static_cast<unsigned char>(bytes[i + 1]))));
    }
    return text;
}

/// A number written in the one plain way comes back as itself.
void claimPlainNumbers(int regType, int number, bool oneBased)
{
    const QString text = QString::number(number);
    if (regType == 2 || regType == 3 || regType < 0 || regType > 9)
        return;
    claim(StringAddressToInt(regType, text) == zeroBased(number, oneBased), "a plain number is itself");
    const QString bit = QString::number(number & 0xFFFF) + QLatin1String(".7");
    claim(StringAddressToInt(3, bit) == zeroBased(number & 0xFFFF, oneBased) * 16 + 7,
          "register and bit are 16 times the register and the bit");
}

void play(Input &input)
{
    Runtime runtime;
    const bool oneBased = input.flag();
    runtime.info.options = oneBased ? kOptionOneBased : 0u;
    runtime.applySettings();
    const int regType = input.below(8) == 7 ? input.number() : input.below(10);
    claimPlainNumbers(regType, input.number(), oneBased);

    const QString text = textFrom(input);
    const int address = StringAddressToInt(regType, text);
    claim(address == PLCAddressChangeIntef(regType, text), "both names give the same number");
    if (isPlainText(text))
        claim(address == expectedAddress(regType, text, oneBased),
              "a text gives the number that it stands for");
    if (regType < 0 || regType > 9)
        claim(address == kNoAddress, "an unknown type has no address");
    claimLocksFree();
}

} // namespace

} // namespace plc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    plc::fuzz::Input input(data, size);
    plc::fuzz::play(input);
    return 0;
}
