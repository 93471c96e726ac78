#include "host/finding/frame_fields.h"

#include <algorithm>

#include "host/finding/identification.h"
#include "host/finding/reading.h"
#include "runtime/line/exception_codes.h"
#include "runtime/line/number_text.h"
#include "runtime/line/rtu_layout.h"
#include "runtime/panel/value_text.h"

namespace plc::host {

namespace {

struct FunctionName
{
    int code;
    const char *name;
};

constexpr FunctionName kFunctions[] = {{1, "read coils"},
                                       {2, "read discrete inputs"},
                                       {3, "read holding registers"},
                                       {4, "read input registers"},
                                       {5, "write single coil"},
                                       {6, "write single register"},
                                       {7, "read exception status"},
                                       {8, "diagnostics"},
                                       {11, "get event counter"},
                                       {12, "get event log"},
                                       {15, "write multiple coils"},
                                       {16, "write multiple registers"},
                                       {17, "report server id"},
                                       {20, "read file record"},
                                       {21, "write file record"},
                                       {22, "mask write register"},
                                       {23, "read/write multiple registers"},
                                       {24, "read FIFO queue"},
                                       {43, "encapsulated interface"}};

/// Takes a frame apart from its front.
class Fields
{
public:
    explicit Fields(const QByteArray &frame) : frame_(frame), end_(std::max(0, frame.size() - kCrcLen)) {}

    int left() const { return end_ - at_; }
    int byte(int ahead = 0) const
    {
        return at_ + ahead < end_ ? static_cast<unsigned char>(frame_.at(at_ + ahead)) : 0;
    }
    int word(int ahead = 0) const { return byte(ahead) * 256 + byte(ahead + 1); }

    void add(const std::string &name, int count, const std::string &text)
    {
        const int taken = std::min(count, left());
        if (taken <= 0)
            return;
        fields_.push_back({name, hex(at_, taken), text});
        at_ += taken;
    }
    void addByte(const std::string &name) { add(name, 1, std::to_string(byte())); }
    void addWord(const std::string &name) { add(name, 2, std::to_string(word())); }
    void addText(const std::string &name, int count)
    {
        add(name, count, textOf(frame_.mid(at_, std::min(count, left()))));
    }

    std::vector<FrameField> finished()
    {
        add("data", left(), "");
        const int crc = frame_.size() - end_;
        if (crc > 0) {
            const bool isLong = frame_.size() > kCrcLen;
            const std::string verdict = !isLong                                                      ? ""
                                        : runtime::crcFits(frame_.constData(), frame_.size(), false) ? "good"
                                        : runtime::crcFits(frame_.constData(), frame_.size(), true)
                                            ? "good, high byte first"
                                            : "wrong";
            fields_.push_back({"CRC", hex(end_, crc), verdict});
        }
        return std::move(fields_);
    }

private:
    std::string hex(int at, int count) const
    {
        return runtime::hexText(frame_.constData() + at, static_cast<std::size_t>(count));
    }
    static std::string textOf(const QByteArray &bytes)
    {
        const bool isText =
            std::all_of(bytes.begin(), bytes.end(), [](char c) { return c >= ' ' && c <= '~'; });
        return isText && !bytes.isEmpty() ? "\"" + bytes.toStdString() + "\"" : std::string();
    }

    const QByteArray &frame_;
    int at_ = 0;
    int end_; ///< where the CRC begins
    std::vector<FrameField> fields_;
};

int wordOf(const QByteArray &bytes, int at)
{
    return at + 1 < bytes.size()
               ? static_cast<unsigned char>(bytes.at(at)) * 256 + static_cast<unsigned char>(bytes.at(at + 1))
               : 0;
}

void addBits(Fields *fields, int first, int count)
{
    fields->addByte("byte count");
    for (int bit = 0; bit < count && fields->left() > 0; bit += 8) {
        std::string bits;
        for (int i = 0; i < 8 && bit + i < count; ++i)
            bits += (bits.empty() ? "" : " ") + std::to_string((fields->byte() >> i) & 1);
        const int last = std::min(bit + 7, count - 1);
        fields->add("bits " + std::to_string(first + bit) + " to " + std::to_string(first + last), 1, bits);
    }
}

void addRegisters(Fields *fields, int first)
{
    fields->addByte("byte count");
    for (int at = first; fields->left() >= 2; ++at)
        fields->addWord("register " + std::to_string(at));
}

void addIdentification(Fields *fields)
{
    fields->add("interface", 1, fields->byte() == kReadIdentification ? "read device identification" : "");
    fields->addByte("category");
    fields->add("conformity", 1, levelName(fields->byte()));
    fields->add("more follow", 1, fields->byte() == 0 ? "no" : "yes");
    fields->addByte("next object");
    fields->addByte("objects");
    while (fields->left() >= 2) {
        const int number = fields->byte();
        const std::string name = objectName(number);
        fields->add("object", 1, std::to_string(number) + (name.empty() ? "" : " (" + name + ")"));
        const int length = fields->byte();
        fields->addByte("length");
        fields->addText("value", length);
    }
}

void addBody(Fields *fields, int function, const QByteArray &request)
{
    switch (function) {
    case 1:
    case 2:
        addBits(fields, wordOf(request, 2), wordOf(request, 4));
        break;
    case 3:
    case 4:
    case 23:
        addRegisters(fields, wordOf(request, 2));
        break;
    case 5:
    case 6:
        fields->addWord("address");
        fields->addWord("value");
        break;
    case 15:
    case 16:
        fields->addWord("address");
        fields->addWord("quantity");
        break;
    case 7:
        fields->addByte("status");
        break;
    case kFunctionDiagnostics:
        fields->addWord("sub-function");
        while (fields->left() >= 2)
            fields->addWord("data");
        break;
    case 11:
        fields->addWord("status");
        fields->addWord("events");
        break;
    case kFunctionServerId:
        fields->addByte("byte count");
        fields->addText("server id", fields->left() - 1);
        fields->add("run status", 1, fields->byte() == 0xFF ? "on" : fields->byte() == 0 ? "off" : "");
        break;
    case 22:
        fields->addWord("address");
        fields->addWord("AND mask");
        fields->addWord("OR mask");
        break;
    case kFunctionEncapsulated:
        addIdentification(fields);
        break;
    default:
        break;
    }
}

} // namespace

std::string functionLabel(int function)
{
    for (const FunctionName &known : kFunctions) {
        if (known.code == function)
            return std::string(known.name) + " (" + std::to_string(function) + ")";
    }
    return "function " + std::to_string(function);
}

std::vector<FrameField> fieldsOf(const QByteArray &reply, const QByteArray &request)
{
    Fields fields(reply);
    fields.addByte("station");
    const int function = fields.byte();
    const bool isException = (function & kExceptionBit) != 0;
    const int base = function & ~kExceptionBit;
    fields.add("function", 1, (isException ? "exception to " : "") + functionLabel(base));
    if (isException)
        fields.add("exception code", 1, exceptionLabel(fields.byte()));
    else
        addBody(&fields, base, request);
    return fields.finished();
}

} // namespace plc::host
