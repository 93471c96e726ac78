// Bytes on the line into the simulated stations: only good requests for a station's own number are answered,
// each reply is whole and says what the registers hold, and a write changes what it names and nothing else.
#include <algorithm>
#include <set>
#include <vector>

#include "fuzz/support/claim.h"
#include "fuzz/support/input.h"
#include "fuzz/support/station_world.h"

namespace plc::fuzz {

namespace {

constexpr std::size_t kMostFrames = 24;

unsigned wordAt(const Bytes &frame, std::size_t at)
{
    return frame[at] * 256u + frame[at + 1];
}

void claimReadReply(const Bytes &request, const Bytes &reply, const Picture &before)
{
    static const Area kAreas[] = {Area::Coils, Area::DiscreteInputs, Area::HoldingRegisters,
                                  Area::InputRegisters};
    const std::vector<std::uint16_t> &values = before.area(request[0], kAreas[request[1] - 1]);
    const bool bits = request[1] <= 2;
    const std::size_t first = wordAt(request, 2);
    const std::size_t items = wordAt(request, 4);
    claim(items > 0 && first + items <= values.size(), "only what exists is read");
    const std::size_t bytes = bits ? (items + 7) / 8 : items * 2;
    claim(reply.size() == bytes + 5 && reply[2] == bytes, "a read gives the bytes that were asked for");
    for (std::size_t i = 0; i < items; ++i) {
        const unsigned bit = static_cast<unsigned>(reply[3 + i / 8]) >> i % 8 & 1u;
        const unsigned found = bits ? bit : wordAt(reply, 3 + 2 * i);
        claim(found == values[first + i], "a read gives what the registers hold");
    }
}

/// What a write that is carried out leaves behind.
void applyWrite(const Bytes &request, int station, Picture *picture)
{
    const std::size_t first = wordAt(request, 2);
    std::vector<std::uint16_t> &coils = picture->area(station, Area::Coils);
    std::vector<std::uint16_t> &holding = picture->area(station, Area::HoldingRegisters);
    const bool many = request[1] == 15 || request[1] == 16;
    const std::size_t items = many ? wordAt(request, 4) : 1;
    claim(items > 0 && first + items <= static_cast<std::size_t>(kItems), "only what exists is written");
    for (std::size_t i = 0; i < items; ++i) {
        if (request[1] == 5)
            coils[first] = request[4] != 0;
        else if (request[1] == 6)
            holding[first] = static_cast<std::uint16_t>(wordAt(request, 4));
        else if (request[1] == 15)
            coils[first + i] = request[7 + i / 8] >> i % 8 & 1;
        else if (request[1] == 16)
            holding[first + i] = static_cast<std::uint16_t>(wordAt(request, 7 + 2 * i));
        else
            holding[first] = static_cast<std::uint16_t>((holding[first] & wordAt(request, 4)) |
                                                        (wordAt(request, 6) & ~wordAt(request, 4)));
    }
}

bool isWrite(int function)
{
    return function == 5 || function == 6 || function == 15 || function == 16 || function == 22;
}

/// @param listening  stations that only listen: they take no broadcast either.
void claimEffect(const Bytes &request, const Answer &answer, const std::set<int> &listening,
                 const Picture &before, const Picture &after)
{
    Picture expected = before;
    if (answer.outcome == Outcome::Answered && isWrite(request[1]))
        applyWrite(request, request[0], &expected);
    else if (answer.outcome == Outcome::Broadcast && isWrite(request[1]) && !(before == after))
        for (const int station : kStations) {
            if (listening.count(station) == 0)
                applyWrite(request, station, &expected);
        }
    claim(expected == after, "a write changes what it names, and nothing else does anything");
}

void claimReply(const Bytes &request, const Answer &answer, CrcOrder order, const Picture &before)
{
    const Bytes &reply = answer.reply;
    claimReplyFrame(reply, request[0], order);
    claim((reply[1] & 0x7F) == request[1], "a reply repeats the function");
    claim((answer.outcome == Outcome::Refused) == (reply[1] >= 0x80), "a refusal is an exception reply");
    if (reply[1] >= 0x80) {
        claim(reply.size() == 5 && reply[2] >= 1 && reply[2] <= 4, "an exception has a code of the standard");
    } else if (reply[1] <= 4) {
        claimReadReply(request, reply, before);
    } else if (isWrite(reply[1])) {
        const std::size_t echoed = reply[1] == 22 ? 8 : 6;
        claim(reply.size() == echoed + 2 && std::equal(reply.begin(), reply.end() - 2, request.begin()),
              "a write is answered with what it said");
    }
}

void hand(StationBus *bus, const Bytes &frame, CrcOrder requestOrder, CrcOrder replyOrder)
{
    const Picture before(*bus);
    std::set<int> listening;
    for (const int station : kStations) {
        if (bus->station(station)->diagnostics().listenOnly)
            listening.insert(station);
    }
    const bool expected = bus->expectsReply(frame);
    const Answer answer = bus->answer(frame);
    const Picture after(*bus);
    const bool replies = answer.outcome == Outcome::Answered || answer.outcome == Outcome::Refused;
    const bool good = frame.size() >= 4 && hasWitnessedCrc(frame, requestOrder);
    claim(replies == !answer.reply.empty(), "a reply comes with its frame");
    claim(!replies || expected, "a reply comes only where one is due");
    claim((answer.outcome == Outcome::Damaged) == !good, "damaged frames, and only those, are known as such");
    if (!good)
        return claim(before == after && !replies, "a damaged frame does nothing");
    claimEffect(frame, answer, listening, before, after);
    if (!replies)
        return;
    claim(bus->station(frame[0]) != nullptr && frame[0] != 0, "only stations that are there answer");
    claimReply(frame, answer, replyOrder, before);
    const Bytes busy = bus->refuse(frame, 6).reply;
    claimReplyFrame(busy, frame[0], replyOrder);
    claim(busy.size() == 5 && busy[2] == 6, "a busy station says so");
}

Bytes makeRequest(Input &input, CrcOrder order)
{
    static const int kFunctions[] = {1, 2, 3, 4, 5, 6, 15, 16, 22, 8, 23, 43, 3, 16};
    Bytes frame;
    frame.push_back(static_cast<std::uint8_t>(input.below(8) == 7 ? input.byte() : input.below(3)));
    const int function = kFunctions[input.below(14)];
    frame.push_back(static_cast<std::uint8_t>(input.below(16) == 15 ? input.byte() : function));
    const int address = input.flag() ? input.below(80) : input.number();
    putBe16(&frame, static_cast<std::uint16_t>(address));
    if (input.flag()) {
        const int quantity = input.flag() ? 1 + input.below(10) : input.number() & 0xFFFF;
        putBe16(&frame, static_cast<std::uint16_t>(quantity));
        if (function == 15 || function == 16) {
            const int bytes = function == 15 ? (quantity + 7) / 8 : quantity * 2;
            frame.push_back(static_cast<std::uint8_t>(input.below(8) == 7 ? input.byte() : bytes));
            for (int i = 0, seed = input.byte(); i < (bytes & 0xFF); ++i)
                frame.push_back(static_cast<std::uint8_t>(seed + 41 * i));
        }
    }
    for (const char value : input.bytes(12))
        frame.push_back(static_cast<std::uint8_t>(value));
    appendCrc(&frame, order);
    if (input.below(8) == 7)
        frame[static_cast<std::size_t>(input.byte()) % frame.size()] ^=
            static_cast<std::uint8_t>(input.byte());
    return frame;
}

void play(Input &input)
{
    const CrcOrder requestOrder = input.flag() ? CrcOrder::HighFirst : CrcOrder::LowFirst;
    const CrcOrder replyOrder = input.flag() ? CrcOrder::HighFirst : CrcOrder::LowFirst;
    StationBus bus = makeBus(requestOrder, replyOrder);
    Bytes line;
    std::vector<Bytes> frames;
    while (!input.isEmpty() && frames.size() < kMostFrames) {
        if (input.below(8) == 7) {
            for (const char value : input.bytes(30))
                line.push_back(static_cast<std::uint8_t>(value));
            continue;
        }
        frames.push_back(makeRequest(input, requestOrder));
        line.insert(line.end(), frames.back().begin(), frames.back().end());
    }
    for (const Bytes &frame : frames)
        hand(&bus, frame, requestOrder, replyOrder);
    // As one stream, cut by the framer.
    for (const Bytes &frame : claimFraming(modbusRequestRule(requestOrder), line, input)) {
        claim(hasWitnessedCrc(frame, requestOrder), "what is cut out of the line is a good frame");
        hand(&bus, frame, requestOrder, replyOrder);
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
