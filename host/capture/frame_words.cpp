#include "host/capture/frame_words.h"

#include <algorithm>
#include <utility>

#include "runtime/line/exception_codes.h"
#include "runtime/line/number_text.h"
#include "runtime/line/rtu_layout.h"

namespace plc::host {

namespace {

constexpr int kDiagnostics = 8;
constexpr int kReportServerId = 17;
constexpr int kMaskWrite = 22;
constexpr int kReadWrite = 23;
constexpr int kEncapsulated = 43;

constexpr std::pair<int, const char *> kFunctions[] = {{kReadCoils, "read coils"},
                                                       {kReadDiscreteInputs, "read discrete inputs"},
                                                       {kReadHoldingRegisters, "read holding registers"},
                                                       {kReadInputRegisters, "read input registers"},
                                                       {kWriteSingleCoil, "write single coil"},
                                                       {kWriteSingleRegister, "write single register"},
                                                       {7, "read exception status"},
                                                       {kDiagnostics, "diagnostics"},
                                                       {11, "get comm event counter"},
                                                       {12, "get comm event log"},
                                                       {kWriteMultipleCoils, "write multiple coils"},
                                                       {kWriteMultipleRegisters, "write multiple registers"},
                                                       {kReportServerId, "report server id"},
                                                       {20, "read file record"},
                                                       {21, "write file record"},
                                                       {kMaskWrite, "mask write register"},
                                                       {kReadWrite, "read/write multiple registers"},
                                                       {24, "read fifo queue"},
                                                       {kEncapsulated, "encapsulated interface"}};

/// As Area::baseType; -1 for none.
int baseTypeOf(int function)
{
    switch (function) {
    case kReadCoils:
    case kWriteSingleCoil:
    case kWriteMultipleCoils:
        return 0;
    case kReadDiscreteInputs:
        return 1;
    case kReadInputRegisters:
        return 4;
    case kReadHoldingRegisters:
    case kWriteSingleRegister:
    case kWriteMultipleRegisters:
        return 5;
    default:
        return -1;
    }
}

const char *elementName(int baseType, bool isOne)
{
    switch (baseType) {
    case 0:
        return isOne ? "coil" : "coils";
    case 1:
        return isOne ? "discrete input" : "discrete inputs";
    case 4:
        return isOne ? "input register" : "input registers";
    default:
        return isOne ? "holding register" : "holding registers";
    }
}

/// The data of a frame: what stands between function and CRC.
class Data
{
public:
    explicit Data(const QByteArray &frame)
        : bytes_(reinterpret_cast<const unsigned char *>(frame.constData()) + 2),
          size_(std::max(frame.size() - 2 - kCrcLen, 0))
    {}

    int size() const { return size_; }
    int byte(int at) const { return at < size_ ? bytes_[at] : 0; }
    int word(int at) const { return byte(at) << 8 | byte(at + 1); }
    std::string hex() const
    {
        return hexText(reinterpret_cast<const char *>(bytes_), static_cast<std::size_t>(size_));
    }
    /// At most @p most bits or registers from @p at on.
    std::vector<std::uint16_t> values(int at, bool areBits, int most) const
    {
        std::vector<std::uint16_t> result;
        const int held = areBits ? 8 * (size_ - at) : (size_ - at) / 2;
        for (int i = 0; i < std::min(most, held); ++i)
            result.push_back(
                static_cast<std::uint16_t>(areBits ? byte(at + i / 8) >> (i % 8) & 1 : word(at + 2 * i)));
        return result;
    }

private:
    const unsigned char *bytes_;
    int size_;
};

std::string listed(const std::vector<std::uint16_t> &values)
{
    std::string text;
    for (const std::uint16_t value : values)
        text += " " + std::to_string(value);
    return text;
}

/// "10 holding registers from 100", "coil 5".
std::string placeWords(const FrameFields &fields)
{
    const bool isOne = fields.count == 1;
    std::string text = isOne ? "" : std::to_string(*fields.count) + " ";
    text += elementName(fields.baseType, isOne);
    if (fields.address)
        text += (isOne ? " " : " from ") + std::to_string(*fields.address);
    return text;
}

void takeRead(const Data &data, bool isReply, const QByteArray &request, FrameFields *fields)
{
    if (!isReply) {
        fields->address = data.word(0);
        fields->count = data.word(2);
        fields->words = "read " + placeWords(*fields);
        return;
    }
    const bool areBits = fields->baseType <= 1;
    int most = areBits ? 8 * data.byte(0) : data.byte(0) / 2;
    if (!request.isEmpty() && static_cast<unsigned char>(request.at(1)) == fields->function) {
        const Data asked(request);
        fields->address = asked.word(0);
        most = std::min(most, asked.word(2));
    }
    fields->values = data.values(1, areBits, most);
    fields->count = static_cast<int>(fields->values.size());
    fields->words = placeWords(*fields) + ":" + listed(fields->values);
}

void takeWrite(const Data &data, bool isReply, FrameFields *fields)
{
    const bool isSingle = fields->function == kWriteSingleCoil || fields->function == kWriteSingleRegister;
    fields->address = data.word(0);
    fields->count = isSingle ? 1 : data.word(2);
    if (isSingle && fields->baseType == 0)
        fields->values = {static_cast<std::uint16_t>(data.word(2) == kCoilOn ? 1 : 0)};
    else if (isSingle)
        fields->values = {static_cast<std::uint16_t>(data.word(2))};
    else if (!isReply)
        fields->values = data.values(5, fields->baseType == 0, *fields->count);
    fields->words = (isReply ? "wrote " : "write ") + placeWords(*fields) +
                    (fields->values.empty() ? "" : ":" + listed(fields->values));
}

std::uint16_t bitOf(unsigned word, int bit)
{
    return static_cast<std::uint16_t>(word >> bit & 1u);
}

} // namespace

std::string functionName(int function)
{
    for (const auto &[code, name] : kFunctions) {
        if (code == function)
            return name;
    }
    return "function " + std::to_string(function);
}

FrameFields fieldsOf(const QByteArray &frame, bool isReply, const QByteArray &request)
{
    FrameFields fields;
    const Data data(frame);
    fields.station = static_cast<unsigned char>(frame.at(0));
    fields.function = static_cast<unsigned char>(frame.at(1)) & ~kExceptionBit;
    if (isReply && (static_cast<unsigned char>(frame.at(1)) & kExceptionBit) != 0) {
        fields.exceptionCode = data.byte(0);
        fields.words =
            "exception " + exceptionLabel(fields.exceptionCode) + " to " + functionName(fields.function);
        return fields;
    }
    fields.function = static_cast<unsigned char>(frame.at(1));
    fields.baseType = baseTypeOf(fields.function);
    const bool hasLayout = data.size() >= (isReply && isReadFunction(fields.function) ? 1 : 4);
    if (hasLayout && isReadFunction(fields.function))
        takeRead(data, isReply, request, &fields);
    else if (hasLayout && isWriteFunction(fields.function))
        takeWrite(data, isReply, &fields);
    else
        fields.words = functionName(fields.function) + (data.size() > 0 ? ": " + data.hex() : "");
    return fields;
}

std::vector<NamedValues> namedValues(const FrameFields &fields, const std::vector<Variable> &variables)
{
    std::vector<NamedValues> named;
    if (!fields.address || fields.baseType < 0 || fields.values.empty())
        return named;
    const int end = *fields.address + static_cast<int>(fields.values.size());
    for (const Variable &variable : variables) {
        const int first = variable.baseFirst();
        if (variable.station != fields.station || variable.area->baseType != fields.baseType ||
            first < *fields.address || first + variable.baseCount() > end)
            continue;
        NamedValues found;
        found.variable = &variable;
        const auto element = [&](int at) {
            return fields.values[static_cast<std::size_t>(at - *fields.address)];
        };
        for (int i = 0; i < variable.rawCount(); ++i) {
            if (variable.area->insideRegister)
                found.values.push_back(bitOf(element((variable.first + i) / 16), (variable.first + i) % 16));
            else if (variable.area->unit == Unit::RegisterPair)
                found.values.push_back(static_cast<std::uint32_t>(element(first + 2 * i)) << 16 |
                                       element(first + 2 * i + 1));
            else
                found.values.push_back(element(first + i));
        }
        named.push_back(std::move(found));
    }
    return named;
}

} // namespace plc::host
