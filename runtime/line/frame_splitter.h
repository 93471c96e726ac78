/// @file
/// Takes the bytes of a line apart into frames, requests and replies alike.
///
/// Pauses between bytes are poor borders: a driver hands over several frames at once, or one frame in pieces.
/// So the content of the bytes and the CRC decide, and pauses only where these leave a choice. A frame *fits*
/// where a layout of rtu_layout.h gives a length of which the CRC is good. A *border* is the beginning of the
/// stream, a gap, the end of a frame, or what came last before finish(). From the first byte onwards:
///
/// 1. Of several frames that fit at one place, those that end at a border, or where another frame fits,
///    precede those that do not. Then the awaited reply to the last request goes first, for its length
///    follows from what was asked; else the longest, since registers may hold what looks like a frame.
/// 2. The awaited reply is taken at once where nothing longer may begin with it.
/// 3. A frame that begins at no border yields to a frame inside it that begins at a gap.
/// 4. At a border, a frame with a good CRC is taken although no layout tells its length (user-defined
///    functions, odd values). The frame that ends at a border goes first, else the shortest behind which
///    another frame follows.
/// 5. Whatever is left is noise; where it has the layout of a frame from one border to the next, a damaged
///    frame.
///
/// How the bytes are cut into chunks makes no difference. Low byte first in the CRC only.
#ifndef PLC_LINE_FRAME_SPLITTER_H
#define PLC_LINE_FRAME_SPLITTER_H

#include <QByteArray>

#include <bitset>
#include <cstdint>
#include <vector>

#include "runtime/line/line_timing.h"
#include "runtime/line/link_time.h"
#include "runtime/line/rtu_layout.h"

namespace plc::runtime {

enum class PieceKind
{
    Frame,     ///< request or normal reply whose content tells its length, with a good CRC
    Exception, ///< exception reply (MODBUS Application Protocol V1.1b3, 7)
    Unknown,   ///< good CRC between borders, length not told by the content
    Damaged,   ///< layout of a frame between borders, but a bad CRC
    Noise      ///< anything else
};

enum class FrameRole
{
    Request,
    Reply,
    Either ///< the bytes allow both, and what was on the line before does not tell; of noise always
};

/// A stretch of the stream. Pieces follow each other without a hole and without an overlap.
struct Piece
{
    PieceKind kind = PieceKind::Noise;
    FrameRole role = FrameRole::Either;
    std::uint64_t at = 0;        ///< number of bytes before the first one
    QByteArray bytes;            ///< 1 to kLongestFrame
    Time from{0};                ///< when the chunk with the first byte came
    Time until{0};               ///< when the chunk with the last byte came
    int station = -1;            ///< first byte; -1 of noise
    int function = -1;           ///< second byte, of an exception reply without its flag; -1 of noise
    int exceptionCode = 0;       ///< of an exception reply
    std::int64_t requestAt = -1; ///< of a reply: `at` of the request that it answers; -1 = none known
};

struct SplitterSettings
{
    /// One character on the wire. A chunk is taken to have begun its number of characters before it came.
    Time character{0};
    Time gap = Time::max();         ///< a pause this long is a border
    Time silence = Time::max();     ///< no frame goes on behind a pause this long: as if finish() were called
    Time replyWithin = Time::max(); ///< a reply that begins later answers nothing

    /// Settings for a line whose bytes come up to @p deliverySlack late.
    static SplitterSettings forLine(const LineTiming &timing, Time deliverySlack, Time replyWithin);
};

/// Not thread-safe. Holds at most kMostHeld bytes, and takes at most kStepsPerByte steps for each byte,
/// whatever comes: a step is one byte of a CRC or one look at a possible frame. At each place the CRC goes
/// over the next kLongestFrame bytes once, and at most four passes look at the places that these bytes cover.
class FrameSplitter
{
public:
    static constexpr int kMostHeld = 1024;
    static constexpr std::uint64_t kStepsPerByte = 2048;

    explicit FrameSplitter(const SplitterSettings &settings = SplitterSettings()) : settings_(settings) {}

    /// Takes further bytes, any number of them.
    /// @param at  when they came; not before the time of an earlier call. Without times leave it out, and
    ///             tell gaps by markGap() and the end by finish().
    /// @return what is decided now, in the order of the stream.
    std::vector<Piece> push(const QByteArray &bytes, Time at = Time::zero());
    /// The next byte comes after a gap.
    void markGap() { borderNext_ = true; }
    /// The line has been silent for long, or there is no more: decides everything that is held.
    std::vector<Piece> finish();

    /// Bytes that wait for a decision.
    int held() const { return size() - from_; }
    std::uint64_t steps() const { return steps_; }

private:
    /// One held byte, and what is known of a frame that begins with it.
    struct Place
    {
        Time at{0};
        bool isBorder = false;
        std::uint16_t crc = kCrcStart;           ///< of the bytes checked so far
        int checked = 0;                         ///< bytes from here on that the CRC has gone over
        std::bitset<kLongestFrame + 1> goodCrcs; ///< by length
        signed char hasFrame = -1;               ///< whether a frame fits here; -1 = not looked yet
    };
    /// Lengths of the frames that fit at one place; 0 = none.
    struct Fits
    {
        int shorter = 0;
        int longer = 0;
        int needed = 0; ///< bytes that must be there before the lengths are final
    };
    /// The last request, as long as it may be answered.
    struct Asked
    {
        bool isOpen = false;
        QByteArray bytes;
        std::uint64_t at = 0;
        Time until{0};
        int replyLength = 0; ///< 0 = not known
        int repeated = 0;
    };

    int size() const { return bytes_.size(); }
    const unsigned char *bytesAt(int place) const
    {
        return reinterpret_cast<const unsigned char *>(bytes_.constData()) + place;
    }
    bool hasGoodCrc(int place, int length);
    void checkAhead(int place, int length);
    Fits fitsAt(int place);
    bool fitsSomething(int place);
    bool endIsConfirmed(int end, bool isFinal);
    bool yieldsToFrameInside(int length);
    int awaitedLength(int place) const;
    bool isAwaited(const unsigned char *bytes, int length) const;

    void append(const char *bytes, int count, Time at);
    void work(bool isFinal, std::vector<Piece> *pieces);
    bool decide(bool isFinal, std::vector<Piece> *pieces);
    bool decideByBorders(bool isFinal, std::vector<Piece> *pieces);
    bool waitFor(int bytes);
    void passOver(std::vector<Piece> *pieces);
    void take(int length, PieceKind kind, std::vector<Piece> *pieces);
    void giveLeftovers(bool all, std::vector<Piece> *pieces);
    int damagedLength() const;
    void give(int length, PieceKind kind, std::vector<Piece> *pieces);
    bool isLostFrame(const QByteArray &frame);
    void noteFrame(Piece *piece);
    void noteDamaged(Piece *piece);
    void ask(const Piece &piece);
    void dropGiven();

    SplitterSettings settings_;
    QByteArray bytes_;
    std::vector<Place> places_; ///< one for each of bytes_
    std::uint64_t start_ = 0;   ///< bytes of the stream before bytes_
    int from_ = 0;              ///< first byte that was not given away
    int head_ = 0;              ///< where the next frame is looked for; what is before it is left over
    int needed_ = 0;            ///< held bytes, of bytes_, before which nothing is decided at head_
    int endsSeen_ = 0;          ///< lengths at head_ whose ends are known to be no border; 0 = layouts first
    bool borderNext_ = true;
    bool hasCome_ = false;
    Time lastAt_{0};
    Asked asked_;
    bool hasOrder_ = false; ///< a frame has come, so that it is known whose turn it is
    QByteArray lost_;       ///< the last bytes that were left over since the last frame
    std::uint64_t steps_ = 0;
};

} // namespace plc::runtime

#endif
