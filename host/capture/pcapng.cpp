#include "host/capture/pcapng.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "runtime/line/failure.h"
#include "runtime/line/rtu_layout.h"

namespace plc::host {

namespace {

constexpr std::uint32_t kSectionBlock = 0x0A0D0D0A;
constexpr std::uint32_t kInterfaceBlock = 1;
constexpr std::uint32_t kPacketBlock = 6;
constexpr std::uint32_t kByteOrderMagic = 0x1A2B3C4D;
constexpr std::uint32_t kSwappedMagic = 0x4D3C2B1A;
constexpr int kExportedUnit = 252;
constexpr std::uint32_t kBlockFrame = 12; ///< bytes of a block besides its body

constexpr int kOptionEnd = 0;
constexpr int kOptionComment = 1;
constexpr int kProgramOption = 4;
constexpr int kNameOption = 2;
constexpr int kDescriptionOption = 3;
constexpr int kSpeedOption = 8;
constexpr int kResolutionOption = 9;
constexpr int kFlagsOption = 2;

constexpr const char *kToStations = "tx";

constexpr std::uint32_t kInbound = 1;
constexpr std::uint32_t kOutbound = 2;
constexpr std::uint32_t kDirections = 3;
constexpr std::uint32_t kCrcError = 1u << 24;
constexpr std::uint32_t kUnaligned = 1u << 28; ///< what is no frame

constexpr int kTagEnd = 0;
constexpr int kDissectorTag = 12;
constexpr int kPortKindTag = 24;
constexpr int kFromTag = 25;
constexpr int kToTag = 26;
constexpr std::uint32_t kTcp = 2;
/// By these ports a dissector tells a request from the reply that repeats it.
constexpr std::uint32_t kStationsPort = 502;
constexpr std::uint32_t kMasterPort = 49152;

constexpr std::size_t kMostInterfaces = 1000;
constexpr unsigned kNanosecondDigits = 9;
constexpr std::uint64_t kNanoseconds = 1000000000;
/// Of any two such times, less some characters, the difference is a number too.
constexpr std::uint64_t kLatestStamp = INT64_MAX / 2;

std::string little(std::uint64_t value, int bytes)
{
    std::string text;
    for (int i = 0; i < bytes; ++i)
        text += static_cast<char>(value >> (8 * i));
    return text;
}

std::string padded(std::string bytes)
{
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

std::string option(int code, const std::string &value)
{
    constexpr std::size_t kLongest = 60000;
    const std::string cut = value.substr(0, kLongest);
    return little(static_cast<unsigned>(code), 2) + little(cut.size(), 2) + padded(cut);
}

std::string block(std::uint32_t type, const std::string &body)
{
    const std::string length = little(body.size() + kBlockFrame, 4);
    return little(type, 4) + length + body + length;
}

std::string interfaceBlock(const char *name, const std::string &description, int baud)
{
    std::string body = little(kExportedUnit, 2) + little(0, 2) + little(0, 4);
    body += option(kNameOption, name) + option(kDescriptionOption, description);
    if (baud > 0)
        body += option(kSpeedOption, little(static_cast<std::uint64_t>(baud), 8));
    return block(kInterfaceBlock,
                 body + option(kResolutionOption, little(kNanosecondDigits, 1)) + option(kOptionEnd, ""));
}

/// A tag of an exported unit has its numbers high byte first.
std::string tag(int code, const std::string &value)
{
    const auto length = static_cast<char>(value.size());
    return std::string{'\0', static_cast<char>(code), '\0', length} + value;
}

std::string numberTag(int code, std::uint32_t value)
{
    return tag(code, {static_cast<char>(value >> 24), static_cast<char>(value >> 16),
                      static_cast<char>(value >> 8), static_cast<char>(value)});
}

/// What the content of a frame with a good CRC says.
void tellContent(HeardFrame *frame)
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(frame->bytes.constData());
    const int length = frame->bytes.size();
    const auto fits = [length](ContentLength known) {
        return known.kind == ContentLength::Kind::Known && known.bytes == length;
    };
    frame->kind = PieceKind::Unknown;
    if ((bytes[1] & kExceptionBit) != 0 && length == kExceptionLen) {
        frame->kind = PieceKind::Exception;
        frame->function &= ~kExceptionBit;
        frame->exceptionCode = bytes[2];
    } else if (fits(requestLengthAt(bytes, length)) || fits(replyLengthAt(bytes, length))) {
        frame->kind = PieceKind::Frame;
    }
}

bool isWhole(const QByteArray &bytes)
{
    return bytes.size() >= kShortestFrame && bytes.size() <= kLongestFrame &&
           crcFits(bytes.constData(), bytes.size(), false);
}

} // namespace

std::string captureBegin(const CaptureHead &head)
{
    std::string section = little(kByteOrderMagic, 4) + little(1, 2) + little(0, 2) + little(UINT64_MAX, 8);
    section += option(kProgramOption, head.program) + option(kOptionEnd, "");
    return block(kSectionBlock, section) +
           interfaceBlock(kToStations, "to the stations, " + head.line, head.baud) +
           interfaceBlock("rx", "from the stations, " + head.line, head.baud);
}

std::string captureBlock(const CapturedPacket &packet)
{
    const HeardFrame &frame = packet.frame;
    const bool isNoise = frame.kind == PieceKind::Noise;
    const bool isInbound = isNoise || frame.isReply();
    std::uint32_t flags = isInbound ? kInbound : frame.role == FrameRole::Request ? kOutbound : 0;
    if (!frame.isGood())
        flags |= kCrcError | (isNoise ? kUnaligned : 0);
    // Dissector names are filled up to whole words of four bytes.
    const std::string unit = tag(kDissectorTag, padded(isNoise ? "data" : "mbrtu")) +
                             numberTag(kPortKindTag, kTcp) +
                             numberTag(kFromTag, isInbound ? kStationsPort : kMasterPort) +
                             numberTag(kToTag, isInbound ? kMasterPort : kStationsPort) + tag(kTagEnd, "") +
                             frame.bytes.toStdString();
    const auto time = static_cast<std::uint64_t>(packet.time);
    std::string body = little(isInbound ? 1 : 0, 4) + little(time >> 32, 4) + little(time & UINT32_MAX, 4);
    body += little(unit.size(), 4) + little(unit.size(), 4) + padded(unit);
    body += option(kOptionComment, packet.comment) + option(kFlagsOption, little(flags, 4)) +
            option(kOptionEnd, "");
    return block(kPacketBlock, body);
}

CaptureReader::CaptureReader(std::string name, Source source)
    : name_(std::move(name)), source_(std::move(source))
{}

void CaptureReader::refuse(const std::string &reason) const
{
    throw Failure(
        FailureKind::Usage,
        name_ + ": byte " + std::to_string(position_) + ": " + reason +
            "; a capture of a line is made by --capture, or in its format, pcapng with link type 252");
}

/// @return false where the capture ends before.
bool CaptureReader::fill(std::size_t count, std::string *bytes)
{
    const std::size_t before = bytes->size();
    bytes->resize(before + count);
    std::size_t done = 0;
    while (done < count) {
        const std::size_t got = source_(&(*bytes)[before + done], count - done);
        if (got == 0)
            break;
        done += got;
    }
    read_ += done;
    bytes->resize(before + done);
    return done == count;
}

std::uint16_t CaptureReader::word(std::size_t at) const
{
    const auto byte = [this](std::size_t i) { return static_cast<unsigned char>(body_[i]); };
    return static_cast<std::uint16_t>(isBigEndian_ ? byte(at) << 8 | byte(at + 1)
                                                   : byte(at + 1) << 8 | byte(at));
}

std::uint32_t CaptureReader::number(std::size_t at) const
{
    const std::uint32_t first = word(at);
    const std::uint32_t second = word(at + 2);
    return isBigEndian_ ? first << 16 | second : second << 16 | first;
}

/// Sets body_ to that of the next block.
/// @return false at the end.
bool CaptureReader::readBlock(std::uint32_t *type)
{
    position_ = read_;
    body_.clear();
    const bool hasHead = fill(8, &body_);
    if (body_.empty())
        return false;
    *type = hasHead ? number(0) : 0;
    if (hasHead && *type == kSectionBlock) {
        if (!fill(4, &body_)) {
            isCut_ = true;
            return false;
        }
        isBigEndian_ = false;
        const std::uint32_t magic = number(8);
        if (magic != kByteOrderMagic && magic != kSwappedMagic)
            refuse("this is no pcapng");
        isBigEndian_ = magic == kSwappedMagic;
    } else if (!hasSection_) {
        refuse("this is no pcapng");
    }
    if (!hasHead) {
        isCut_ = true;
        return false;
    }
    const std::uint32_t length = number(4);
    if (length < kBlockFrame || length % 4 != 0 || length > kMostBlock || length < body_.size() + 4)
        refuse("a block of " + std::to_string(length) + " bytes cannot be");
    if (!fill(length - body_.size(), &body_)) {
        isCut_ = true;
        return false;
    }
    if (number(length - 4) != length)
        refuse("a block ends with another length than it begins with");
    body_.resize(length - 4);
    body_.erase(0, 8);
    return true;
}

/// @param take  of code, place in body_ and length.
template <typename Take>
void CaptureReader::eachOption(std::size_t at, Take take) const
{
    while (at + 4 <= body_.size()) {
        const int code = word(at);
        const std::size_t length = word(at + 2);
        at += 4;
        if (code == kOptionEnd)
            return;
        if (length > body_.size() - at)
            refuse("an option is longer than its block");
        take(code, at, length);
        at += (length + 3) / 4 * 4;
    }
}

void CaptureReader::takeInterface()
{
    constexpr std::size_t kFixed = 8;
    if (body_.size() < kFixed || interfaces_.size() >= kMostInterfaces)
        refuse("an interface is too short, or there are too many");
    Interface added;
    added.linkType = word(0);
    eachOption(kFixed, [&](int code, std::size_t at, std::size_t length) {
        if (code == kNameOption) {
            added.isToStations = body_.compare(at, length, kToStations) == 0;
        } else if (code == kSpeedOption && length == 8) {
            const std::uint32_t low = number(isBigEndian_ ? at + 4 : at);
            const std::uint32_t high = number(isBigEndian_ ? at : at + 4);
            constexpr std::uint32_t kMostBaud = 100000000;
            added.baud = high == 0 && low <= kMostBaud ? static_cast<int>(low) : 0;
        } else if (code == kResolutionOption && length == 1) {
            const auto digits = static_cast<unsigned char>(body_[at]);
            if (digits > kNanosecondDigits)
                refuse("time stamps are finer than nanoseconds, or in powers of two");
            added.unitsPerSecond = 1;
            for (unsigned i = 0; i < digits; ++i)
                added.unitsPerSecond *= 10;
        }
    });
    interfaces_.push_back(added);
}

/// @return false for a packet without a byte.
bool CaptureReader::takePacket(CapturedPacket *packet)
{
    constexpr std::size_t kFixed = 20;
    if (body_.size() < kFixed || number(0) >= interfaces_.size())
        refuse("a packet is too short, or of an interface that is not there");
    const Interface &origin = interfaces_[number(0)];
    if (origin.linkType != kExportedUnit)
        refuse("a packet is of link type " + std::to_string(origin.linkType));
    const std::size_t length = number(12);
    if (length > body_.size() - kFixed)
        refuse("a packet is longer than its block");
    *packet = CapturedPacket();
    baud_ = origin.baud;
    const std::uint64_t stamp = std::uint64_t(number(4)) << 32 | number(8);
    const std::uint64_t unit = kNanoseconds / origin.unitsPerSecond;
    if (stamp > kLatestStamp / unit)
        refuse("a time stamp lies behind the year 2116");
    packet->time = static_cast<std::int64_t>(stamp * unit);

    const std::size_t end = kFixed + length;
    std::size_t at = kFixed;
    for (bool isTag = true; isTag;) {
        if (end - at < 4)
            refuse("a packet ends among its tags");
        const auto byte = [this](std::size_t i) { return static_cast<unsigned char>(body_[i]); };
        isTag = byte(at) != 0 || byte(at + 1) != kTagEnd;
        const std::size_t size = std::size_t(byte(at + 2)) << 8 | byte(at + 3);
        if (size > end - at - 4)
            refuse("a tag is longer than its packet");
        at += 4 + size;
    }
    std::uint32_t flags = 0;
    eachOption(kFixed + (length + 3) / 4 * 4, [&](int code, std::size_t place, std::size_t size) {
        if (code == kFlagsOption && size == 4)
            flags = number(place);
        else if (code == kOptionComment)
            packet->comment = body_.substr(place, size);
    });
    if (at == end)
        return false;
    HeardFrame &frame = packet->frame;
    frame.bytes = QByteArray(body_.data() + at, static_cast<int>(end - at));
    // A frame that may be either goes over tx, without a direction.
    packet->hasDirection = origin.isToStations || (flags & kDirections) != 0;
    if ((flags & kDirections) == kInbound)
        frame.role = FrameRole::Reply;
    else if ((flags & kDirections) == kOutbound)
        frame.role = FrameRole::Request;
    const bool isNoise = (flags & kUnaligned) != 0 || frame.bytes.size() < kShortestFrame ||
                         frame.bytes.size() > kLongestFrame;
    if (isNoise) {
        frame.role = FrameRole::Either;
        return true;
    }
    frame.station = static_cast<unsigned char>(frame.bytes.at(0));
    frame.function = static_cast<unsigned char>(frame.bytes.at(1));
    if ((flags & kCrcError) != 0 || !isWhole(frame.bytes))
        frame.kind = PieceKind::Damaged;
    else
        tellContent(&frame);
    return true;
}

bool CaptureReader::next(CapturedPacket *packet)
{
    std::uint32_t type = 0;
    while (readBlock(&type)) {
        if (type == kSectionBlock) {
            constexpr std::size_t kFixed = 16;
            if (body_.size() < kFixed)
                refuse("a section is too short");
            interfaces_.clear();
            hasSection_ = true;
        } else if (type == kInterfaceBlock) {
            takeInterface();
        } else if (type == kPacketBlock && takePacket(packet)) {
            return true;
        }
    }
    if (!hasSection_)
        refuse("this is no pcapng");
    return false;
}

} // namespace plc::host
