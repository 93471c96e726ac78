// Bytes of a line into the splitter of frames: what comes in goes out, in order and once; what is called a
// frame has a good CRC; the chunks make no difference; work and memory are bounded. And traffic without noise
// is split exactly.
#include <algorithm>
#include <vector>

#include "fuzz/support/claim.h"
#include "fuzz/support/input.h"
#include "runtime/line/frame_splitter.h"
#include "station/crc.h"

namespace plc::fuzz {

namespace {

using runtime::FrameRole;
using runtime::FrameSplitter;
using runtime::Piece;
using runtime::PieceKind;
using station::Bytes;
using station::CrcOrder;

constexpr std::size_t kMostBytes = 1500; // more than the splitter holds, few enough for many inputs a second

/// A stream, and before which of its bytes there are gaps or the line was silent.
struct Stream
{
    Bytes bytes;
    std::vector<std::size_t> gaps;
    std::vector<std::size_t> silences;
};

bool isGoodCrc(const Bytes &bytes, std::size_t at, std::size_t length)
{
    return station::hasGoodCrc(station::ByteView(bytes.data() + at, length), CrcOrder::LowFirst);
}

Bytes withCrc(Bytes frame)
{
    station::appendCrc(&frame, CrcOrder::LowFirst);
    return frame;
}

bool contains(const std::vector<std::size_t> &places, std::size_t at)
{
    return std::binary_search(places.begin(), places.end(), at);
}

/// Splits @p stream in chunks of at most @p most bytes.
std::vector<Piece> split(const Stream &stream, std::size_t most)
{
    FrameSplitter splitter;
    std::vector<Piece> pieces;
    const auto keep = [&pieces](const std::vector<Piece> &more) {
        pieces.insert(pieces.end(), more.begin(), more.end());
    };
    for (std::size_t at = 0; at < stream.bytes.size();) {
        if (contains(stream.silences, at))
            keep(splitter.finish());
        if (contains(stream.gaps, at))
            splitter.markGap();
        std::size_t end = at + 1;
        while (end < stream.bytes.size() && end - at < most && !contains(stream.gaps, end) &&
               !contains(stream.silences, end))
            ++end;
        keep(splitter.push(QByteArray(reinterpret_cast<const char *>(stream.bytes.data()) + at,
                                      static_cast<int>(end - at))));
        at = end;
        claim(splitter.held() <= FrameSplitter::kMostHeld, "few bytes are held");
        claim(splitter.steps() <= FrameSplitter::kStepsPerByte * at,
              "each byte costs a bounded number of steps");
    }
    keep(splitter.finish());
    claim(splitter.held() == 0, "nothing is held when the line is silent");
    claim(splitter.steps() <= FrameSplitter::kStepsPerByte * stream.bytes.size(),
          "the end costs no more than the bytes allow");
    return pieces;
}

void claimFrame(const Piece &piece, const Bytes &bytes, const std::vector<Piece> &pieces)
{
    const std::size_t at = static_cast<std::size_t>(piece.at);
    const std::size_t length = static_cast<std::size_t>(piece.bytes.size());
    claim(length >= 4 && piece.station == bytes[at], "a frame has a station");
    claim(piece.function == (piece.kind == PieceKind::Exception ? bytes[at + 1] & 0x7F : bytes[at + 1]),
          "a frame has a function");
    if (piece.kind != PieceKind::Damaged)
        claim(isGoodCrc(bytes, at, length), "a good frame has a good CRC");
    if (piece.kind == PieceKind::Exception)
        claim(length == 5 && piece.role == FrameRole::Reply && piece.exceptionCode == bytes[at + 2],
              "an exception is a reply with a code");
    if (piece.requestAt < 0)
        return;
    claim(piece.role == FrameRole::Reply, "only a reply answers");
    const auto asked = std::find_if(pieces.begin(), pieces.end(), [&piece](const Piece &other) {
        return other.at == static_cast<std::uint64_t>(piece.requestAt);
    });
    claim(asked != pieces.end() && asked->at < piece.at && asked->role != FrameRole::Reply,
          "what is answered came before, and was no reply");
    claim(asked->station == piece.station && asked->station != 0, "a reply comes from the station asked");
}

void claimPieces(const std::vector<Piece> &pieces, const Bytes &bytes)
{
    std::size_t at = 0;
    for (const Piece &piece : pieces) {
        const auto length = static_cast<std::size_t>(piece.bytes.size());
        claim(piece.at == at, "pieces follow each other");
        claim(length >= 1 && length <= 256 && at + length <= bytes.size(), "a piece has 1 to 256 bytes");
        claim(std::equal(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                         bytes.begin() + static_cast<std::ptrdiff_t>(at + length),
                         reinterpret_cast<const std::uint8_t *>(piece.bytes.constData())),
              "what comes in goes out");
        if (piece.kind != PieceKind::Noise)
            claimFrame(piece, bytes, pieces);
        at += length;
    }
    claim(at == bytes.size(), "nothing is lost");
}

bool isSame(const Piece &a, const Piece &b)
{
    return a.kind == b.kind && a.role == b.role && a.at == b.at && a.bytes.size() == b.bytes.size() &&
           a.requestAt == b.requestAt;
}

/// Claims that @p stream falls into the same pieces in all chunks, and returns them.
std::vector<Piece> claimSplitting(const Stream &stream, Input &input)
{
    const std::vector<Piece> pieces = split(stream, kMostBytes);
    claimPieces(pieces, stream.bytes);
    for (const std::size_t most : {std::size_t(1), static_cast<std::size_t>(2 + input.below(250))}) {
        const std::vector<Piece> others = split(stream, most);
        claim(pieces.size() == others.size() &&
                  std::equal(pieces.begin(), pieces.end(), others.begin(), isSame),
              "chunks make no difference");
    }
    return pieces;
}

Bytes makeRequest(Input &input)
{
    static const int kFunctions[] = {1, 2, 3, 4, 5, 6, 15, 16, 22, 23, 8, 7, 17, 24, 43};
    Bytes frame;
    frame.push_back(static_cast<std::uint8_t>(1 + input.below(247)));
    const int function = kFunctions[input.below(15)];
    frame.push_back(static_cast<std::uint8_t>(function));
    const auto address = static_cast<std::uint16_t>(input.twoBytes() & 0x7FFF);
    const int quantity = 1 + input.below(100);
    if (function == 7 || function == 17)
        return withCrc(frame);
    if (function == 43) {
        frame.insert(frame.end(), {14, 1, static_cast<std::uint8_t>(input.byte())});
        return withCrc(frame);
    }
    station::putBe16(&frame, function == 8 ? 0 : address);
    if (function == 24)
        return withCrc(frame);
    station::putBe16(&frame, static_cast<std::uint16_t>(function == 5 ? (quantity & 1) * 0xFF00 : quantity));
    if (function == 22)
        station::putBe16(&frame, address);
    if (function == 23) {
        station::putBe16(&frame, address);
        station::putBe16(&frame, static_cast<std::uint16_t>(quantity));
    }
    if (function == 15 || function == 16 || function == 23) {
        const int bytes = function == 15 ? (quantity + 7) / 8 : quantity * 2;
        frame.push_back(static_cast<std::uint8_t>(bytes));
        for (int i = 0, seed = input.byte(); i < bytes; ++i)
            frame.push_back(static_cast<std::uint8_t>(seed + 41 * i));
    }
    return withCrc(frame);
}

Bytes makeReply(const Bytes &request, Input &input)
{
    const int function = request[1];
    Bytes frame(request.begin(), request.begin() + 2);
    if (input.below(8) == 7) {
        frame[1] = static_cast<std::uint8_t>(frame[1] | 0x80);
        frame.push_back(static_cast<std::uint8_t>(1 + input.below(11)));
        return withCrc(frame);
    }
    if (function == 5 || function == 6 || function == 8 || function == 22)
        return request;
    if (function == 15 || function == 16)
        return withCrc(Bytes(request.begin(), request.begin() + 6));
    const int quantity = function == 7 || function == 17 || function == 24 || function == 43 ? 0 : request[5];
    int count = function <= 2 ? (quantity + 7) / 8 : quantity * 2;
    if (function == 17)
        count = 1 + input.below(40);
    if (function == 24) {
        const int registers = input.below(32);
        station::putBe16(&frame, static_cast<std::uint16_t>(2 + 2 * registers));
        station::putBe16(&frame, static_cast<std::uint16_t>(registers));
        count = 2 * registers;
    } else if (function == 43) {
        count = input.below(30);
        frame.insert(frame.end(), {14, 1, 1, 0, 0, 1, 0, static_cast<std::uint8_t>(count)});
    } else if (function == 7) {
        count = 1;
    } else {
        frame.push_back(static_cast<std::uint8_t>(count));
    }
    for (int i = 0, seed = input.byte(), step = input.byte(); i < count; ++i)
        frame.push_back(static_cast<std::uint8_t>(seed + step * i));
    return withCrc(frame);
}

/// Whether bytes from @p at on are a good frame by their CRC in another length than @p length, too: then
/// there is more than one way to split them. A zero behind a frame leaves its CRC good.
bool isAmbiguous(const Bytes &bytes, std::size_t at, std::size_t length)
{
    unsigned crc = 0xFFFF;
    for (std::size_t other = 1; other <= 256 && at + other <= bytes.size(); ++other) {
        crc ^= bytes[at + other - 1];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1u) != 0 ? (crc >> 1) ^ 0xA001u : crc >> 1;
        if (crc == 0 && other >= 4 && (other + 1 < length || other > length + 1))
            return true;
    }
    return false;
}

/// Exchanges one behind the other, with nothing between them.
void playTraffic(Input &input)
{
    Stream stream;
    std::vector<Bytes> frames;
    while (!input.isEmpty() && stream.bytes.size() < kMostBytes) {
        const Bytes request = makeRequest(input);
        const Bytes reply = makeReply(request, input);
        for (const Bytes &frame : {request, reply}) {
            frames.push_back(frame);
            stream.bytes.insert(stream.bytes.end(), frame.begin(), frame.end());
        }
    }
    std::size_t at = 0;
    for (const Bytes &frame : frames) {
        if (isAmbiguous(stream.bytes, at, frame.size()))
            return;
        at += frame.size();
    }
    const std::vector<Piece> pieces = claimSplitting(stream, input);
    claim(pieces.size() == frames.size(), "traffic without noise has as many pieces as frames");
    for (std::size_t i = 0; i < frames.size(); ++i) {
        claim(static_cast<std::size_t>(pieces[i].bytes.size()) == frames[i].size(),
              "and is cut at their ends");
        claim(pieces[i].kind == PieceKind::Frame || pieces[i].kind == PieceKind::Exception,
              "and all are known");
        // A reply to a read that is the request byte for byte cannot be told from it.
        if (i % 2 == 1 && frames[i] == frames[i - 1] && frames[i][1] <= 4)
            return;
        claim(pieces[i].role == (i % 2 == 0 ? FrameRole::Request : FrameRole::Reply) || i == 0,
              "requests and replies take turns");
    }
}

/// Anything: frames, parts of frames, noise, gaps, silences.
void playAnything(Input &input)
{
    Stream stream;
    Bytes last;
    while (!input.isEmpty() && stream.bytes.size() < kMostBytes) {
        Bytes more;
        const int kind = input.below(8);
        if (kind == 0) {
            stream.gaps.push_back(stream.bytes.size());
        } else if (kind == 1) {
            stream.silences.push_back(stream.bytes.size());
        } else if (kind == 2) {
            more = last = makeRequest(input);
        } else if (kind == 3 && !last.empty()) {
            more = makeReply(last, input);
        } else if (kind == 4) { // a good CRC around anything
            for (const char value : input.bytes(60))
                more.push_back(static_cast<std::uint8_t>(value));
            more = withCrc(more);
        } else if (kind == 5) {
            more.assign(static_cast<std::size_t>(input.byte()), static_cast<std::uint8_t>(input.byte()));
        } else {
            for (const char value : input.bytes(40))
                more.push_back(static_cast<std::uint8_t>(value));
        }
        if (!more.empty() && input.below(8) == 7)
            more[static_cast<std::size_t>(input.byte()) % more.size()] ^=
                static_cast<std::uint8_t>(input.byte());
        stream.bytes.insert(stream.bytes.end(), more.begin(), more.end());
    }
    claimSplitting(stream, input);
}

} // namespace

} // namespace plc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    plc::fuzz::Input input(data, size);
    if (input.flag())
        plc::fuzz::playTraffic(input);
    else
        plc::fuzz::playAnything(input);
    return 0;
}
