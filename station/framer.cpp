#include "framer.h"

#include "modbus_codes.h"

#include <utility>

namespace plc::station {

namespace {

constexpr std::size_t kFixedRequest = 8;
constexpr std::size_t kMaskRequest = 10;
constexpr std::size_t kIdentificationRequest = 7;
constexpr std::size_t kByteCountAt = 6;
constexpr std::size_t kBlockOverhead = 9; ///< station, function, address, quantity, byte count, CRC

FrameLength requestLength(ByteView bytes)
{
    if (bytes.size < 2)
        return {FrameLength::Kind::NeedsMore, 0};
    switch (bytes[1]) {
    case kReadCoils:
    case kReadDiscreteInputs:
    case kReadHoldingRegisters:
    case kReadInputRegisters:
    case kWriteSingleCoil:
    case kWriteSingleRegister:
    case kDiagnostics:
        return {FrameLength::Kind::Known, kFixedRequest};
    case kReportServerId:
        return {FrameLength::Kind::Known, kShortestFrame};
    case kEncapsulated:
        return {FrameLength::Kind::Known, kIdentificationRequest};
    case kMaskWriteRegister:
        return {FrameLength::Kind::Known, kMaskRequest};
    case kWriteMultipleCoils:
    case kWriteMultipleRegisters:
        if (bytes.size <= kByteCountAt)
            return {FrameLength::Kind::NeedsMore, 0};
        return {FrameLength::Kind::Known, kBlockOverhead + bytes[kByteCountAt]};
    default:
        return {FrameLength::Kind::NoFrame, 0};
    }
}

} // namespace

FrameRule modbusRequestRule(CrcOrder order)
{
    FrameRule rule;
    rule.length = requestLength;
    rule.isIntact = [order](ByteView frame) {
        return frame.size >= kShortestFrame && hasGoodCrc(frame, order);
    };
    rule.silenceFrames = true;
    return rule;
}

Framer::Framer(FrameRule rule) : rule_(std::move(rule)) {}

std::vector<Bytes> Framer::push(ByteView bytes)
{
    buffer_.insert(buffer_.end(), bytes.data, bytes.data + bytes.size);
    std::vector<Bytes> frames;
    Bytes frame;
    while (takeNext(false, &frame))
        frames.push_back(frame);
    if (buffer_.size() > kMaxBuffer)
        dropAll();
    return frames;
}

std::vector<Bytes> Framer::silence()
{
    if (rule_.silenceFrames && rule_.isIntact(buffer_)) {
        std::vector<Bytes> whole(1);
        whole.front().swap(buffer_);
        scanFrom_ = 0;
        return whole;
    }
    std::vector<Bytes> frames;
    Bytes frame;
    while (takeNext(true, &frame))
        frames.push_back(frame);
    dropAll();
    return frames;
}

/// Finds the first good frame. An unfinished one before it is waited for, unless the line is silent.
bool Framer::takeNext(bool lineIsSilent, Bytes *frame)
{
    for (; scanFrom_ < buffer_.size(); ++scanFrom_) {
        const ByteView rest(buffer_.data() + scanFrom_, buffer_.size() - scanFrom_);
        const FrameLength length = rule_.length(rest);
        if (length.kind == FrameLength::Kind::NoFrame)
            continue;
        if (length.kind == FrameLength::Kind::NeedsMore || length.bytes > rest.size) {
            if (lineIsSilent)
                continue;
            return false;
        }
        if (!rule_.isIntact(ByteView(rest.data, length.bytes)))
            continue;
        *frame = Bytes(rest.data, rest.data + length.bytes);
        if (scanFrom_ > 0)
            ++badFrames_;
        buffer_.erase(buffer_.begin(),
                      buffer_.begin() + static_cast<std::ptrdiff_t>(scanFrom_ + length.bytes));
        scanFrom_ = 0;
        return true;
    }
    return false;
}

void Framer::dropAll()
{
    if (!buffer_.empty())
        ++badFrames_;
    buffer_.clear();
    scanFrom_ = 0;
}

} // namespace plc::station
