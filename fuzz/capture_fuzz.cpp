// Any bytes as a capture: packets whose fields can be told in words, or one line that says where the mistake
// is. What is written of the packets reads as the same.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/support/claim.h"
#include "host/capture/frame_words.h"
#include "host/capture/heard_line.h"
#include "host/capture/pcapng.h"
#include "runtime/line/failure.h"
#include "runtime/line/rtu_layout.h"

namespace plc::fuzz {

namespace {

using host::CapturedPacket;
using host::CaptureReader;

std::vector<CapturedPacket> packetsOf(const std::string &bytes)
{
    std::size_t at = 0;
    CaptureReader reader("capture", [&](char *to, std::size_t count) {
        const std::size_t given = std::min(count, bytes.size() - at);
        std::memcpy(to, bytes.data() + at, given);
        at += given;
        return given;
    });
    std::vector<CapturedPacket> packets;
    CapturedPacket packet;
    while (reader.next(&packet))
        packets.push_back(packet);
    return packets;
}

void claimGood(const std::vector<CapturedPacket> &packets)
{
    host::HeardLine line(std::chrono::milliseconds(1));
    std::uint64_t bytes = 0;
    std::string again = host::captureBegin({"p", "l", 9600});
    for (const CapturedPacket &packet : packets) {
        host::HeardFrame frame = packet.frame;
        frame.end = runtime::Time(packet.time);
        claim(packet.time >= 0 && !frame.bytes.isEmpty(), "a packet has a time and bytes");
        if (frame.isGood()) {
            claim(runtime::crcFits(frame.bytes.constData(), frame.bytes.size(), false),
                  "a good frame has a good CRC");
            const host::FrameFields fields = host::fieldsOf(frame.bytes, frame.isReply(), frame.bytes);
            claim(!fields.words.empty() && fields.station == frame.station,
                  "a good frame can be told in words");
        }
        const host::Heard heard = line.add(frame);
        claim(!host::verdictOf(frame, heard).empty(), "every frame has a verdict");
        claim(!heard.replyTime || *heard.replyTime >= runtime::Time::zero(),
              "no reply comes before its request");
        bytes += static_cast<std::uint64_t>(frame.bytes.size());
        again += host::captureBlock(packet);
    }
    claim(line.bytes() == bytes, "the statistics have every byte");
    claim(line.duration() >= runtime::Time::zero(), "nothing takes less than no time");
    const std::vector<CapturedPacket> read = packetsOf(again);
    claim(read.size() == packets.size(), "what was written has as many packets");
    for (std::size_t i = 0; i < read.size(); ++i)
        claim(read[i].frame.bytes == packets[i].frame.bytes && read[i].time == packets[i].time &&
                  read[i].frame.kind == packets[i].frame.kind,
              "a capture that was written reads as the same");
}

void play(const std::string &bytes)
{
    std::vector<CapturedPacket> packets;
    try {
        packets = packetsOf(bytes);
    } catch (const runtime::Failure &failure) {
        claim(failure.kind() == runtime::FailureKind::Usage, "a bad capture is a mistake of the user");
        claim(std::strncmp(failure.what(), "capture: byte ", 14) == 0, "a complaint names the place");
        return;
    }
    claimGood(packets);
}

} // namespace

} // namespace plc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    plc::fuzz::play(std::string(reinterpret_cast<const char *>(data), size));
    return 0;
}
