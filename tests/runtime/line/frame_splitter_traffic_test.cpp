/// @file
/// Whole traffic through the splitter: one master and four stations, with frames, replies and CRCs from the
/// simulated stations, which share no code with it.
#include "runtime/line/frame_splitter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <random>
#include <vector>

#include "station/crc.h"
#include "station/station_bus.h"

namespace plc::runtime {

namespace {

using station::Area;
using station::Bytes;
using station::CrcOrder;

constexpr int kItems = 400;
const std::vector<int> kStations = {1, 3, 17, 247};

class Random
{
public:
    explicit Random(unsigned seed) : engine_(seed) {}

    /// 0 to @p limit - 1.
    int below(int limit) { return static_cast<int>(engine_() % static_cast<unsigned>(limit)); }
    int between(int least, int most) { return least + below(most - least + 1); }
    bool isOneOf(int number) { return below(number) == 0; }
    bool percent(int share) { return below(100) < share; }
    std::uint8_t byte() { return static_cast<std::uint8_t>(below(256)); }

private:
    std::mt19937 engine_;
};

/// A frame on the line, as it was sent.
struct Sent
{
    std::size_t at = 0;
    Bytes bytes;
    bool isRequest = false;
    bool isClean = true;
};

struct Line
{
    Bytes bytes;
    std::vector<Sent> frames;
    std::vector<std::int64_t> microseconds; ///< of each byte: when it has come
};

Bytes frameOf(Bytes content)
{
    station::appendCrc(&content, CrcOrder::LowFirst);
    return content;
}

enum class Registers
{
    HoldAnything,
    HoldFrames
};

station::StationBus makeBus(Random &random, Registers content)
{
    station::StationBus bus(kStations, kItems);
    for (const int number : kStations) {
        for (const Area area :
             {Area::Coils, Area::DiscreteInputs, Area::InputRegisters, Area::HoldingRegisters}) {
            std::vector<std::uint16_t> values;
            while (values.size() < static_cast<std::size_t>(kItems)) {
                const Bytes frame = frameOf({17, 3, 0, 100, 0, random.byte()});
                for (std::size_t i = 0; i < frame.size() && content == Registers::HoldFrames; i += 2)
                    values.push_back(station::getBe16(frame, i));
                values.push_back(static_cast<std::uint16_t>(random.below(65536)));
            }
            values.resize(static_cast<std::size_t>(kItems));
            for (std::uint16_t &value : values)
                value = station::isBitArea(area) ? value & 1u : value;
            bus.station(number)->registers().write(area, 0, values);
        }
    }
    return bus;
}

/// @param mayBeUnknown  the function may be one whose length only borders tell.
Bytes makeRequest(Random &random, bool mayBeUnknown)
{
    static const int kFunctions[] = {1, 2, 3, 3, 3, 4, 5, 6, 15, 16, 22, 8, 7, 0x41};
    Bytes frame;
    frame.push_back(static_cast<std::uint8_t>(kStations[static_cast<std::size_t>(random.below(4))]));
    const int function = kFunctions[random.below(mayBeUnknown ? 14 : 13)];
    frame.push_back(static_cast<std::uint8_t>(function));
    if (function == 7)
        return frameOf(frame);
    if (function == 8) {
        frame.insert(frame.end(), {0, 0, random.byte(), random.byte()});
        return frameOf(frame);
    }
    station::putBe16(
        &frame, static_cast<std::uint16_t>(random.isOneOf(10) ? random.below(60000) : random.below(200)));
    if (function <= 4) {
        station::putBe16(&frame, static_cast<std::uint16_t>(random.between(1, 120)));
    } else if (function == 5) {
        station::putBe16(&frame, random.isOneOf(2) ? 0xFF00 : 0);
    } else if (function == 6) {
        station::putBe16(&frame, static_cast<std::uint16_t>(random.below(65536)));
    } else if (function == 15 || function == 16) {
        const int quantity = random.between(1, 100);
        const int bytes = function == 15 ? (quantity + 7) / 8 : 2 * quantity;
        station::putBe16(&frame, static_cast<std::uint16_t>(quantity));
        frame.push_back(static_cast<std::uint8_t>(bytes));
        for (int i = 0; i < bytes; ++i)
            frame.push_back(random.byte());
    } else {
        for (int i = function == 22 ? 4 : random.between(0, 40); i > 0; --i)
            frame.push_back(random.byte());
    }
    return frameOf(frame);
}

void addNoise(Random &random, int most, Line *line)
{
    static const Bytes kBeginnings[] = {{},          {17, 3},    {1, 16, 0, 1, 0, 100, 200},
                                        {3, 3, 250}, {17, 0x83}, {247, 0x41}};
    const Bytes &beginning = kBeginnings[random.below(6)];
    line->bytes.insert(line->bytes.end(), beginning.begin(), beginning.end());
    for (int i = random.between(0, most); i > 0; --i)
        line->bytes.push_back(random.byte());
}

void addFrame(const Bytes &bytes, bool isRequest, Line *line)
{
    Sent sent;
    sent.at = line->bytes.size();
    sent.bytes = bytes;
    sent.isRequest = isRequest;
    line->frames.push_back(sent);
    line->bytes.insert(line->bytes.end(), bytes.begin(), bytes.end());
}

QByteArray toQt(const Bytes &bytes, std::size_t from, std::size_t count)
{
    return QByteArray(reinterpret_cast<const char *>(bytes.data()) + from, static_cast<int>(count));
}

void append(std::vector<Piece> *pieces, const std::vector<Piece> &more)
{
    pieces->insert(pieces->end(), more.begin(), more.end());
}

bool isFrame(const Piece &piece)
{
    return piece.kind != PieceKind::Noise && piece.kind != PieceKind::Damaged;
}

std::map<std::uint64_t, Piece> framesOf(const std::vector<Piece> &pieces)
{
    std::map<std::uint64_t, Piece> frames;
    for (const Piece &piece : pieces) {
        if (isFrame(piece))
            frames[piece.at] = piece;
    }
    return frames;
}

bool isFound(const Sent &sent, const std::map<std::uint64_t, Piece> &frames)
{
    const auto found = frames.find(sent.at);
    return found != frames.end() && found->second.bytes == toQt(sent.bytes, 0, sent.bytes.size());
}

class Traffic : public ::testing::TestWithParam<unsigned>
{};

/// Exchanges, of 100 @p noise with noise before them and @p broken broken off.
Line makeExchanges(Random &random, int exchanges, Registers content, int noise, int broken)
{
    station::StationBus bus = makeBus(random, content);
    Line line;
    bool isBorder = true;
    for (int i = 0; i < exchanges; ++i) {
        if (random.percent(noise)) {
            addNoise(random, 12, &line);
            isBorder = false;
        }
        const Bytes request = makeRequest(random, isBorder);
        const Bytes reply = bus.answer(request).reply;
        if (random.percent(broken)) { // broken off, in the request or in the reply
            const Bytes whole = reply.empty() || random.isOneOf(2) ? request : reply;
            // Two bytes or more are missing: one more byte would make the CRC good once in 256 times.
            const auto left = random.below(static_cast<int>(whole.size()) - 1);
            line.bytes.insert(line.bytes.end(), whole.begin(), whole.begin() + left);
            isBorder = false;
            continue;
        }
        addFrame(request, true, &line);
        if (!reply.empty())
            addFrame(reply, false, &line);
        isBorder = true;
    }
    return line;
}

std::vector<Piece> splitInChunks(const Line &line, int longest, Random &random)
{
    FrameSplitter splitter;
    std::vector<Piece> pieces;
    for (std::size_t at = 0; at < line.bytes.size();) {
        const auto count =
            std::min(static_cast<std::size_t>(random.between(1, longest)), line.bytes.size() - at);
        append(&pieces, splitter.push(toQt(line.bytes, at, count)));
        at += count;
    }
    append(&pieces, splitter.finish());
    return pieces;
}

void expectExactFrames(const Line &line, Random &random)
{
    for (const int longest : {1, 5, 40, 300, 100000}) {
        const std::vector<Piece> pieces = splitInChunks(line, longest, random);
        QByteArray all;
        for (const Piece &piece : pieces)
            all += piece.bytes;
        ASSERT_EQ(toQt(line.bytes, 0, line.bytes.size()), all);
        const std::map<std::uint64_t, Piece> frames = framesOf(pieces);
        for (const Sent &sent : line.frames)
            EXPECT_TRUE(isFound(sent, frames)) << "at " << sent.at << ", chunks of " << longest;
        EXPECT_EQ(line.frames.size(), frames.size()) << "and nothing else is a frame";
    }
}

TEST_P(Traffic, BetweenNoiseIsFoundWholeHoweverItIsCut)
{
    Random random(GetParam());
    expectExactFrames(makeExchanges(random, 150, Registers::HoldAnything, 20, 10), random);
}

TEST_P(Traffic, WhoseDataAreFramesIsFoundWholeHoweverItIsCut)
{
    Random random(GetParam());
    expectExactFrames(makeExchanges(random, 150, Registers::HoldFrames, 0, 0), random);
}

TEST_P(Traffic, ShowsItsDirections)
{
    Random random(GetParam());
    const Line line = makeExchanges(random, 150, Registers::HoldAnything, 20, 10);
    const std::map<std::uint64_t, Piece> frames = framesOf(splitInChunks(line, 300, random));
    std::uint64_t request = 0;
    for (const Sent &sent : line.frames) {
        ASSERT_TRUE(isFound(sent, frames));
        const Piece &piece = frames.at(sent.at);
        if (sent.isRequest) {
            request = sent.at;
            EXPECT_NE(FrameRole::Reply, piece.role) << "at " << sent.at;
        } else {
            EXPECT_EQ(FrameRole::Reply, piece.role) << "at " << sent.at;
            EXPECT_EQ(static_cast<std::int64_t>(request), piece.requestAt) << "at " << sent.at;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, Traffic, ::testing::Range(1u, 21u));

/// A line behind a converter that hands bytes over once in a while.
struct Converter
{
    int baud;
    int batchMicroseconds;
};

void PrintTo(const Converter &converter, std::ostream *out)
{
    *out << converter.baud << " baud, " << converter.batchMicroseconds << " us";
}

/// Bytes on a wire, with the time of each.
class Wire
{
public:
    explicit Wire(int baud) : character_(11000000 / baud + 1) {}

    void pause(int microseconds) { now_ += microseconds; }
    void follow(Line *line)
    {
        while (line->microseconds.size() < line->bytes.size())
            line->microseconds.push_back(now_ += character_);
    }

private:
    std::int64_t character_;
    std::int64_t now_ = 0;
};

/// 3 of 100 replies lost, 2 of 100 frames damaged, noise in 2 of 100 pauses.
Line makeBadLine(Random &random, int baud, int exchanges)
{
    station::StationBus bus = makeBus(random, Registers::HoldAnything);
    Line line;
    Wire wire(baud);
    const auto damage = [&random, &line] {
        if (!random.percent(2))
            return false;
        Sent &sent = line.frames.back();
        line.bytes[sent.at + static_cast<std::size_t>(random.below(static_cast<int>(sent.bytes.size())))] ^=
            static_cast<std::uint8_t>(random.between(1, 255));
        sent.isClean = false;
        return true;
    };
    for (int i = 0; i < exchanges; ++i) {
        if (random.percent(2))
            addNoise(random, 20, &line);
        wire.follow(&line);
        wire.pause(random.between(4200, 30000));
        const Bytes request = makeRequest(random, true);
        addFrame(request, true, &line);
        const bool isHeard = !damage();
        wire.follow(&line);
        const Bytes reply = isHeard ? bus.answer(request).reply : Bytes();
        if (reply.empty() || random.percent(3)) {
            wire.pause(300000);
            continue;
        }
        wire.pause(random.between(2000, 20000));
        addFrame(reply, false, &line);
        damage();
        wire.follow(&line);
    }
    return line;
}

class Converters : public ::testing::TestWithParam<Converter>
{};

TEST_P(Converters, DoNotHideTheFramesOfABadLine)
{
    Random random(static_cast<unsigned>(GetParam().baud + GetParam().batchMicroseconds));
    const Line line = makeBadLine(random, GetParam().baud, 1500);
    FrameSplitter splitter(SplitterSettings::forLine(
        LineTiming(GetParam().baud), std::chrono::milliseconds(16), std::chrono::milliseconds(200)));
    std::vector<Piece> pieces;
    for (std::size_t at = 0; at < line.bytes.size();) {
        const std::int64_t batch = line.microseconds[at] / GetParam().batchMicroseconds;
        std::size_t end = at;
        while (end < line.bytes.size() && line.microseconds[end] / GetParam().batchMicroseconds == batch)
            ++end;
        append(&pieces, splitter.push(toQt(line.bytes, at, end - at),
                                      std::chrono::microseconds((batch + 1) * GetParam().batchMicroseconds)));
        at = end;
    }
    append(&pieces, splitter.finish());

    const std::map<std::uint64_t, Piece> frames = framesOf(pieces);
    int clean = 0;
    int found = 0;
    int turned = 0;
    int unsure = 0;
    for (const Sent &sent : line.frames) {
        if (!sent.isClean)
            continue;
        ++clean;
        if (!isFound(sent, frames))
            continue;
        ++found;
        const FrameRole role = frames.at(sent.at).role;
        unsure += role == FrameRole::Either ? 1 : 0;
        turned += role == (sent.isRequest ? FrameRole::Reply : FrameRole::Request) ? 1 : 0;
    }
    RecordProperty("clean", clean);
    RecordProperty("found", found);
    RecordProperty("false", static_cast<int>(frames.size()) - found);
    RecordProperty("turned", turned);
    RecordProperty("unsure", unsure);
    EXPECT_GE(found * 1000, clean * 999) << found << " of " << clean;
    EXPECT_LE(static_cast<int>(frames.size()) - found, 3);
    EXPECT_LE((turned + unsure) * 1000, clean) << turned << " turned, " << unsure << " unsure";
}

INSTANTIATE_TEST_SUITE_P(Lines, Converters,
                         ::testing::Values(Converter{9600, 1000}, Converter{9600, 16000},
                                           Converter{19200, 1000}, Converter{19200, 8000},
                                           Converter{19200, 16000}, Converter{115200, 1000},
                                           Converter{115200, 4000}, Converter{115200, 16000}),
                         [](const auto &test) {
                             return std::to_string(test.param.baud) + "With" +
                                    std::to_string(test.param.batchMicroseconds / 1000) + "Ms";
                         });

} // namespace

} // namespace plc::runtime
