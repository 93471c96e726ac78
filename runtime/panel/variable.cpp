#include "runtime/panel/variable.h"

#include <algorithm>
#include <iterator>

#include "core/register_types.h"
#include "runtime/line/failure.h"
#include "runtime/line/setting_limits.h"
#include "runtime/panel/utf8.h"

namespace plc::runtime {

namespace {

constexpr int kAreaSize = 65536;
constexpr int kBitsPerRegister = 16;
constexpr int kTooLarge = 1000000; ///< for every number in a variable; ten times as much still is an int

constexpr Area kAreas[] = {
    {"0x", 0, 0, Unit::Bit, false, true, "coils"},
    {"1x", 1, 1, Unit::Bit, false, false, "discrete inputs"},
    {"3x", 4, 4, Unit::Register, false, false, "input registers"},
    {"4x", 5, 5, Unit::Register, false, true, "holding registers"},
    {"3x_bit", 2, 4, Unit::Bit, true, false, "bits inside input registers, address REGISTER.BIT"},
    {"4x_bit", 3, 5, Unit::Bit, true, true, "bits inside holding registers, address REGISTER.BIT"},
    {"3x_d", 6, 4, Unit::RegisterPair, false, false, "32-bit values in pairs of input registers"},
    {"4x_d", 7, 5, Unit::RegisterPair, false, true, "32-bit values in pairs of holding registers"},
    {"4x_single", 8, 5, Unit::Register, false, true,
     "holding registers, always written one by one (function 6)"},
    {"4x_block", 9, 5, Unit::Register, false, true, "holding registers, always written with function 16"},
};

std::string areaNames()
{
    std::string names;
    for (const Area &area : kAreas)
        names += std::string(names.empty() ? "" : ", ") + area.name;
    return names;
}

/// A part of a variable's text and where it stands in it.
struct Piece
{
    std::string text;
    std::size_t at;
};

[[noreturn]] void refuse(const std::string &variable, std::size_t at, const std::string &what)
{
    throw Failure(FailureKind::Usage,
                  "variable '" + variable + "', character " + std::to_string(at + 1) + ": " + what);
}

/// The decimal number @p piece, at most @p last.
int number(const std::string &variable, const Piece &piece, const char *what, int least, int last)
{
    const std::string allowed =
        std::string(what) + " must be a number from " + std::to_string(least) + " to " + std::to_string(last);
    if (piece.text.empty())
        refuse(variable, piece.at, allowed + ", but is missing");
    int value = 0;
    for (const char digit : piece.text) {
        if (digit < '0' || digit > '9')
            refuse(variable, piece.at, allowed + ", not '" + piece.text + "'");
        value = std::min(value * 10 + (digit - '0'), kTooLarge);
    }
    if (value < least || value > last)
        refuse(variable, piece.at, allowed + ", not '" + piece.text + "'");
    return value;
}

/// Takes what stands in front of the first @p mark off @p rest; all of it when the mark is missing.
Piece takeUntil(Piece *rest, char mark, bool *found)
{
    const std::size_t end = rest->text.find(mark);
    *found = end != std::string::npos;
    Piece front{rest->text.substr(0, end), rest->at};
    if (*found)
        *rest = {rest->text.substr(end + 1), rest->at + end + 1};
    else
        *rest = {"", rest->at + front.text.size()};
    return front;
}

/// Nobody who counts from 1 means address 0, which the driver would take for the first.
struct TypedLimits
{
    explicit TypedLimits(bool oneBased)
        : least(oneBased ? 1 : 0), last(least + kAreaSize - 1),
          what(oneBased ? " counts from 1 here (option one-based) and" : "")
    {}
    int least;
    int last;
    const char *what; ///< behind the subject of the complaint
};

void readAddress(Variable *variable, const Piece &piece, bool oneBased)
{
    const TypedLimits limits(oneBased);
    const auto typedNumber = [&](const Piece &typed, const char *what) {
        return number(variable->text, typed, (what + std::string(limits.what)).c_str(), limits.least,
                      limits.last) -
               limits.least;
    };
    variable->address = fromUtf8(piece.text);
    if (!variable->area->insideRegister) {
        variable->first = typedNumber(piece, "the address");
        return;
    }
    Piece bitPart = piece;
    bool hasBit = false;
    const Piece registerPart = takeUntil(&bitPart, '.', &hasBit);
    if (!hasBit)
        refuse(variable->text, piece.at,
               "an address in " + std::string(variable->area->name) + " is REGISTER.BIT, as 35.3");
    const int inRegister = typedNumber(registerPart, "the register");
    const int bit = number(variable->text, bitPart, "the bit", 0, kBitsPerRegister - 1);
    variable->first = inRegister * kBitsPerRegister + bit;
}

int areaEnd(const Area &area)
{
    return area.insideRegister ? kAreaSize * kBitsPerRegister : kAreaSize;
}

ValueFormat parsePlacedFormat(const std::string &variable, const Piece &piece)
{
    try {
        return parseFormat(piece.text);
    } catch (const Failure &failure) {
        refuse(variable, piece.at, failure.what());
    }
}

ValueFormat formatFor(const std::string &variable, const Piece &piece, const Area &area)
{
    const ValueFormat format = parsePlacedFormat(variable, piece);
    if (area.unit == Unit::Bit)
        refuse(variable, piece.at, std::string("values in ") + area.name + " are bits, which have no format");
    const bool isForPairs =
        format.kind == ValueKind::U32 || format.kind == ValueKind::I32 || format.kind == ValueKind::F32;
    if (area.unit == Unit::RegisterPair && !isForPairs)
        refuse(variable, piece.at,
               std::string("values in ") + area.name + " are u32, i32 or f32, not '" + piece.text + "'");
    return format;
}

std::string tooLarge(const Variable &variable, int room)
{
    if (!variable.format)
        return "a 32-bit value needs two registers, and this is the last one";
    return "a value in " + nameOf(*variable.format) + " needs " + std::to_string(variable.valueElements()) +
           " registers, and from here to the end there " +
           (room == 1 ? "is 1" : "are " + std::to_string(room));
}

} // namespace

std::vector<Area> areas()
{
    return std::vector<Area>(std::begin(kAreas), std::end(kAreas));
}

const Area *findArea(const std::string &name)
{
    const std::string wanted = inSmallLetters(name);
    for (const Area &area : kAreas) {
        if (wanted == area.name)
            return &area;
    }
    return nullptr;
}

int Variable::valueElements() const
{
    if (area->unit == Unit::RegisterPair)
        return 2;
    return format ? format->registers() : 1;
}

ValueFormat Variable::registerFormat() const
{
    if (format)
        return *format;
    return {area->unit == Unit::RegisterPair ? ValueKind::U32 : ValueKind::U16, ByteOrder::Abcd, 0};
}

std::string Variable::addressOf(int index) const
{
    const int behind = index * valueElements();
    if (!area->insideRegister)
        return std::to_string(address.toInt() + behind);
    const int typedRegister = address.left(address.indexOf(QLatin1Char('.'))).toInt();
    const int bit = first % kBitsPerRegister + behind;
    return std::to_string(typedRegister + bit / kBitsPerRegister) + "." +
           std::to_string(bit % kBitsPerRegister);
}

std::string Variable::nameOf(int index) const
{
    if (!label.empty())
        return count == 1 ? label : label + "[" + std::to_string(index) + "]";
    return area->name + (":" + addressOf(index)) + (format ? "/" + plc::runtime::nameOf(*format) : "");
}

Variable parseVariable(const std::string &text, bool oneBased)
{
    Variable variable;
    variable.text = text;
    Piece stationPart{text, 0};
    bool hasStation = false;
    Piece formatPart = takeUntil(&stationPart, '@', &hasStation);
    if (hasStation)
        variable.station = number(text, stationPart, "the station", 0, kStationLimits.most);
    bool hasFormat = false;
    Piece rest = takeUntil(&formatPart, '/', &hasFormat);

    bool hasAddress = false;
    const Piece areaPart = takeUntil(&rest, ':', &hasAddress);
    variable.area = findArea(areaPart.text);
    if (!variable.area)
        refuse(text, areaPart.at, "'" + areaPart.text + "' is no area; areas are " + areaNames());
    if (!hasAddress)
        refuse(text, rest.at,
               "an address must follow the area, as in " + std::string(variable.area->name) +
                   (variable.area->insideRegister ? ":35.3" : ":100"));
    if (hasFormat)
        variable.format = formatFor(text, formatPart, *variable.area);
    const Piece addressPart = takeUntil(&rest, ':', &variable.countGiven);
    readAddress(&variable, addressPart, oneBased);
    if (!variable.countGiven)
        rest = {"1", rest.at};
    const int room = areaEnd(*variable.area) - variable.first;
    const int most = std::min(room / variable.valueElements(), kAreaSize);
    if (most < 1)
        refuse(text, addressPart.at, tooLarge(variable, room));
    variable.count = number(text, rest, "the count", 1, most);
    return variable;
}

const char *areaName(int baseType)
{
    switch (baseType) {
    case kCoil:
        return "0x";
    case kDiscreteInput:
        return "1x";
    case kInputRegister:
        return "3x";
    default:
        return "4x";
    }
}

} // namespace plc::runtime
