// Relay frames into the far end of a relay: the simulated stations answer good frames for their own numbers,
// in Modbus form, with what their registers hold, and a write changes what it names and nothing else.
#include <algorithm>
#include <vector>

#include "fuzz/support/claim.h"
#include "fuzz/support/input.h"
#include "fuzz/support/station_world.h"
#include "station/relay.h"

namespace plc::fuzz {

namespace {

constexpr std::size_t kHeader = 21;
constexpr int kMostFrames = 24;

/// What a relay frame says, read by the offsets of its picture.
struct Order
{
    bool writes;
    int station;
    int regType;
    std::uint32_t address;
    int count;
    Bytes data;
};

bool isGood(const Bytes &frame)
{
    if (frame.size() <= kHeader || frame[0] != frame.size() % 256)
        return false;
    unsigned sum = 0;
    for (std::size_t i = 0; i + 1 < frame.size(); ++i)
        sum += frame[i];
    return frame.back() == sum % 256;
}

Order orderOf(const Bytes &frame)
{
    Order order;
    order.writes = frame[2] != 0;
    order.station = frame[4];
    order.regType = frame[5] * 256 + frame[6];
    order.address = 0;
    for (std::size_t i = 7; i < 11; ++i)
        order.address = order.address * 256 + frame[i];
    order.count = frame[11] * 256 + frame[12];
    order.data = Bytes(frame.begin() + kHeader, frame.end() - 1);
    return order;
}

Area areaOf(int regType)
{
    static const Area kAreas[] = {Area::Coils,
                                  Area::DiscreteInputs,
                                  Area::InputRegisters,
                                  Area::HoldingRegisters,
                                  Area::InputRegisters,
                                  Area::HoldingRegisters,
                                  Area::InputRegisters,
                                  Area::HoldingRegisters,
                                  Area::HoldingRegisters,
                                  Area::HoldingRegisters};
    return kAreas[regType];
}

/// Items of the area that the order names: first and number.
bool rangeOf(const Order &order, std::size_t *first, std::size_t *items)
{
    const bool inside = order.regType == 2 || order.regType == 3;
    const bool pairs = order.writes && (order.regType == 6 || order.regType == 7);
    *first = inside ? order.address / 16 : order.address;
    *items = static_cast<std::size_t>(order.count) * (pairs ? 2 : 1);
    return order.count > 0 && std::uint64_t(*first) + *items <= std::uint64_t(kItems);
}

void claimReadReply(const Order &order, const Bytes &reply, const Picture &before)
{
    std::size_t first = 0;
    std::size_t items = 0;
    claim(order.regType <= 9 && rangeOf(order, &first, &items), "only what exists is read");
    const std::vector<std::uint16_t> &values = before.area(order.station, areaOf(order.regType));
    const bool bits = order.regType < 2;
    const std::size_t bytes = bits ? (items + 7) / 8 : items * 2;
    claim(reply.size() == bytes + 5 && reply[2] == bytes, "a read gives the bytes that were asked for");
    for (std::size_t i = 0; i < items; ++i) {
        const unsigned bit = static_cast<unsigned>(reply[3 + i / 8]) >> i % 8 & 1u;
        const unsigned found = bits ? bit : getBe16(reply, 3 + 2 * i);
        claim(found == values[first + i], "a read gives what the registers hold");
    }
}

/// The values that a write must leave behind, by a second reading of the layout.
std::vector<std::uint16_t> valuesOf(const Order &order, const std::vector<std::uint16_t> &before,
                                    std::size_t first)
{
    std::vector<std::uint16_t> values;
    const Bytes &data = order.data;
    const auto at = [&data](std::size_t low) {
        return static_cast<std::uint16_t>(data[low] + 256 * data[low + 1]);
    };
    if (order.regType == 0) {
        for (std::size_t i = 0; i < static_cast<std::size_t>(order.count); ++i)
            values.push_back(data[i / 8] >> i % 8 & 1);
        if (order.count == 1)
            values[0] = data[0] != 0;
    } else if (order.regType == 3) {
        const unsigned mask = 1u << order.address % 16;
        values.push_back(
            static_cast<std::uint16_t>(data[0] != 0 ? before[first] | mask : before[first] & ~mask));
    } else if (order.regType == 7) {
        for (std::size_t i = 0; i < data.size(); i += 4) {
            values.push_back(at(i + 2));
            values.push_back(at(i));
        }
    } else {
        for (std::size_t i = 0; i < data.size(); i += 2)
            values.push_back(at(i));
    }
    return values;
}

void applyWrite(const Order &order, int station, Picture *picture)
{
    std::size_t first = 0;
    std::size_t items = 0;
    claim(order.regType <= 9 && rangeOf(order, &first, &items), "only what exists is written");
    std::vector<std::uint16_t> &area = picture->area(station, areaOf(order.regType));
    const std::vector<std::uint16_t> values = valuesOf(order, area, first);
    std::copy(values.begin(), values.end(), area.begin() + static_cast<std::ptrdiff_t>(first));
}

void claimReply(const Order &order, const Answer &answer, const Picture &before)
{
    claimReplyFrame(answer.reply, order.station, CrcOrder::LowFirst);
    const int function = answer.reply[1] & 0x7F;
    claim(function == 3 || function == 4 || function == 1 || function == 2 || (order.writes && function >= 5),
          "the reply has a function of the order's direction");
    claim((answer.outcome == Outcome::Refused) == (answer.reply[1] >= 0x80),
          "a refusal is an exception reply");
    if (answer.outcome == Outcome::Refused)
        claim(answer.reply.size() == 5 && answer.reply[2] >= 1 && answer.reply[2] <= 3,
              "an exception has a code");
    else if (order.writes)
        claim(answer.reply.size() == 8, "a write is answered with 8 bytes");
    else
        claimReadReply(order, answer.reply, before);
}

/// A broadcast may be carried out by some stations and refused by none: all are alike.
void claimEffect(const Order &order, const Answer &answer, const Picture &before, const Picture &after)
{
    if (answer.outcome == Outcome::Answered && order.writes) {
        Picture expected = before;
        applyWrite(order, order.station, &expected);
        claim(expected == after, "a write changes what it names, and nothing else");
    } else if (answer.outcome != Outcome::Broadcast || !order.writes) {
        claim(before == after, "what is no write changes nothing");
    } else if (!(before == after)) {
        Picture expected = before;
        for (const int station : kStations)
            applyWrite(order, station, &expected);
        claim(expected == after, "a broadcast changes what it names at every station");
    }
}

void hand(StationBus *bus, RelayResponder *relay, const Bytes &frame)
{
    const Picture before(*bus);
    const bool expected = relay->expectsReply(frame);
    const Answer answer = relay->answer(frame);
    const Picture after(*bus);
    const bool replies = answer.outcome == Outcome::Answered || answer.outcome == Outcome::Refused;
    claim(replies == !answer.reply.empty() && replies == expected, "a reply comes where one is due");
    claim((answer.outcome == Outcome::Damaged) == !isGood(frame),
          "damaged frames, and only those, are known as such");
    if (!isGood(frame))
        return claim(before == after, "a damaged frame does nothing");
    const Order order = orderOf(frame);
    if (replies) {
        claim(order.station != 0 && bus->station(order.station), "only stations that are there answer");
        claimReply(order, answer, before);
        const Bytes busy = relay->refuse(frame, 6).reply;
        claimReplyFrame(busy, order.station, CrcOrder::LowFirst);
        claim(busy.size() == 5 && busy[2] == 6, "a busy station says so");
    }
    claimEffect(order, answer, before, after);
}

Bytes makeFrame(Input &input)
{
    Bytes frame(kHeader, 0);
    frame[1] = static_cast<std::uint8_t>(input.byte());
    frame[2] = static_cast<std::uint8_t>(input.below(16) == 15 ? input.byte() : input.below(2));
    frame[4] = static_cast<std::uint8_t>(input.below(8) == 7 ? input.byte() : input.below(3));
    frame[6] = static_cast<std::uint8_t>(input.below(11));
    const unsigned address = static_cast<unsigned>(input.flag() ? input.below(80) : input.number());
    for (std::size_t i = 0; i < 4; ++i)
        frame[7 + i] = static_cast<std::uint8_t>(address >> (24 - 8 * i));
    const int count = input.flag() ? 1 + input.below(8) : input.number();
    frame[11] = static_cast<std::uint8_t>(count >> 8);
    frame[12] = static_cast<std::uint8_t>(count);
    for (const char value : input.bytes(40))
        frame.push_back(static_cast<std::uint8_t>(value));
    frame[0] = static_cast<std::uint8_t>(frame.size() + 1);
    unsigned sum = 0;
    for (const std::uint8_t value : frame)
        sum += value;
    frame.push_back(static_cast<std::uint8_t>(sum));
    if (input.below(8) == 7)
        frame[static_cast<std::size_t>(input.byte()) % frame.size()] ^=
            static_cast<std::uint8_t>(input.byte());
    return frame;
}

void play(Input &input)
{
    StationBus bus = makeBus();
    RelayResponder relay(&bus);
    Bytes line;
    std::vector<Bytes> frames;
    while (!input.isEmpty() && frames.size() < kMostFrames) {
        if (input.below(8) == 7) {
            for (const char value : input.bytes(30))
                line.push_back(static_cast<std::uint8_t>(value));
            continue;
        }
        frames.push_back(makeFrame(input));
        line.insert(line.end(), frames.back().begin(), frames.back().end());
    }
    for (const Bytes &frame : frames)
        hand(&bus, &relay, frame);
    // As one stream, cut by the framer.
    for (const Bytes &frame : claimFraming(relayRequestRule(), line, input)) {
        claim(isGood(frame), "what is cut out of the line is a good frame");
        hand(&bus, &relay, frame);
    }
}

} // namespace

} // namespace plc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    plc::fuzz::Input input(data, size);
    plc::fuzz::play(input);
    return 0;
}
