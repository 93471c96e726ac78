#include "runtime/line/frame_splitter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ostream>
#include <string>
#include <vector>

#include "support/hex.h"

namespace plc::runtime {

namespace {

using std::chrono::milliseconds;
using test::hex;
using test::toHex;
using test::withCrc;

const QByteArray kRequest = hex("11 03 0064 0002 8744");
const QByteArray kReply = hex("11 03 04 1234 ABCD 11E1");
const QByteArray kWrite = hex("11 06 0064 1234 C7F2");

std::string letterOf(const Piece &piece)
{
    if (piece.kind == PieceKind::Noise)
        return "~";
    const std::string role = piece.role == FrameRole::Request ? ">"
                             : piece.role == FrameRole::Reply ? "<"
                                                              : "=";
    switch (piece.kind) {
    case PieceKind::Exception:
        return role + "!";
    case PieceKind::Unknown:
        return role + "?";
    case PieceKind::Damaged:
        return role + "x";
    default:
        return role;
    }
}

/// "> 8, < 9": role and length of each piece. > request, < reply, = either, ~ noise; with ! exception, with ?
/// a length that the content does not tell, with x damaged.
std::string outline(const std::vector<Piece> &pieces)
{
    std::string text;
    for (const Piece &piece : pieces)
        text += (text.empty() ? "" : ", ") + letterOf(piece) + " " + std::to_string(piece.bytes.size());
    return text;
}

void append(std::vector<Piece> *pieces, const std::vector<Piece> &more)
{
    pieces->insert(pieces->end(), more.begin(), more.end());
}

/// The pieces of @p line, which comes in chunks without gaps; at its end the line is silent.
std::vector<Piece> split(const QByteArray &line, int chunk = 4096)
{
    FrameSplitter splitter;
    std::vector<Piece> pieces;
    for (int at = 0; at < line.size(); at += chunk)
        append(&pieces, splitter.push(line.mid(at, chunk)));
    append(&pieces, splitter.finish());
    return pieces;
}

/// The same for chunks with a gap between each two of them.
std::vector<Piece> splitWithGaps(const std::vector<QByteArray> &chunks)
{
    FrameSplitter splitter;
    std::vector<Piece> pieces;
    for (const QByteArray &chunk : chunks) {
        splitter.markGap();
        append(&pieces, splitter.push(chunk));
    }
    append(&pieces, splitter.finish());
    return pieces;
}

std::string outlineOf(const QByteArray &line)
{
    return outline(split(line));
}

TEST(Splitting, TellsARequestAndItsReplyApart)
{
    const std::vector<Piece> pieces = split(kRequest + kReply);
    ASSERT_EQ("> 8, < 9", outline(pieces));
    EXPECT_EQ(PieceKind::Frame, pieces[0].kind);
    EXPECT_EQ(0u, pieces[0].at);
    EXPECT_EQ(0x11, pieces[0].station);
    EXPECT_EQ(3, pieces[0].function);
    EXPECT_EQ(kRequest, pieces[0].bytes);
    EXPECT_EQ(-1, pieces[0].requestAt);
    EXPECT_EQ(8u, pieces[1].at);
    EXPECT_EQ(kReply, pieces[1].bytes);
    EXPECT_EQ(0, pieces[1].requestAt);
}

TEST(Splitting, TellsAnExceptionAndItsCode)
{
    const std::vector<Piece> pieces = split(kRequest + hex("11 83 02 C134"));
    ASSERT_EQ("> 8, <! 5", outline(pieces));
    EXPECT_EQ(3, pieces[1].function);
    EXPECT_EQ(2, pieces[1].exceptionCode);
    EXPECT_EQ(0, pieces[1].requestAt);
}

TEST(Splitting, LeavesAnExceptionOfAnotherStationUnpaired)
{
    const std::vector<Piece> pieces = split(kRequest + withCrc("12 83 02") + kReply);
    ASSERT_EQ("> 8, <! 5, < 9", outline(pieces));
    EXPECT_EQ(-1, pieces[1].requestAt);
    EXPECT_EQ(0, pieces[2].requestAt);
}

TEST(Splitting, GivesNoiseAwayAsItIs)
{
    const std::vector<Piece> pieces = split(hex("00 FF") + kRequest + hex("AA") + kReply + hex("55"));
    EXPECT_EQ("~ 2, > 8, ~ 1, < 9, ~ 1", outline(pieces));
    EXPECT_EQ(-1, pieces[0].station);
    EXPECT_EQ(-1, pieces[0].function);
    EXPECT_EQ(10u, pieces[2].at);
}

TEST(Splitting, NeedsNoGapBetweenFrames)
{
    const QByteArray line = kRequest + kReply + kRequest + hex("11 83 02 C134") + kWrite + kWrite +
                            withCrc("11 10 0064 0002 04 1234 ABCD") + hex("11 10 0064 0002 0287");
    EXPECT_EQ("> 8, < 9, > 8, <! 5, > 8, < 8, > 13, < 8", outlineOf(line));
}

TEST(Splitting, TakesFramesInPiecesWithGapsInside)
{
    EXPECT_EQ("> 8, < 9", outline(splitWithGaps({kRequest.left(3), kRequest.mid(3) + kReply.left(1),
                                                 kReply.mid(1, 4), kReply.mid(5)})));
}

TEST(Splitting, MakesNoDifferenceBetweenChunksOfOneStream)
{
    const QByteArray line = hex("5A 11 03") + kRequest + kReply + kReply.left(6) + kRequest +
                            withCrc("11 41 010203") + withCrc("11 41 0405") + kWrite + hex("5A") + kWrite;
    const std::string whole = outlineOf(line);
    EXPECT_EQ("~ 3, > 8, < 9, ~ 6, > 8, >? 7, <? 6, > 8, ~ 1, < 8", whole);
    for (int chunk = 1; chunk < line.size(); ++chunk)
        EXPECT_EQ(whole, outline(split(line, chunk))) << chunk;
}

TEST(Splitting, FindsTheGoodFrameBehindABrokenOne)
{
    EXPECT_EQ("~ 5, > 8, < 9", outlineOf(kRequest.left(5) + kRequest + kReply)) << "cut short";
    EXPECT_EQ("~ 6, > 8, < 9", outlineOf(kRequest.mid(2) + kRequest + kReply)) << "without its beginning";
    EXPECT_EQ("> 8, ~ 7, > 8, < 9", outlineOf(kRequest + kReply.left(4) + kReply.mid(6) + kRequest + kReply))
        << "bytes lost inside";
}

TEST(Splitting, GivesAFrameAtOnceWhereNothingElseIsPossible)
{
    FrameSplitter splitter;
    EXPECT_EQ("", outline(splitter.push(kRequest.left(7))));
    EXPECT_EQ("> 8", outline(splitter.push(kRequest.mid(7))));
    EXPECT_EQ("", outline(splitter.push(kReply.left(8))));
    EXPECT_EQ("< 9", outline(splitter.push(kReply.mid(8))));
    EXPECT_EQ(0, splitter.held());
}

TEST(Splitting, GivesTheAwaitedReplyAtOnceAlthoughMoreMightFollow)
{
    // One register: 7 bytes, which might be the beginning of a request of 8.
    FrameSplitter splitter;
    splitter.push(withCrc("11 03 0064 0001"));
    EXPECT_EQ("< 7", outline(splitter.push(withCrc("11 03 02 0001"))));
}

TEST(Splitting, DecidesWhatIsHeldWhenTheLineIsSilent)
{
    FrameSplitter splitter;
    // As a reply this would have 205 bytes.
    EXPECT_EQ("", outline(splitter.push(withCrc("11 03 C800 0001"))));
    EXPECT_EQ(8, splitter.held());
    EXPECT_EQ("> 8", outline(splitter.finish()));
    EXPECT_EQ(0, splitter.held());
    EXPECT_EQ("", outline(splitter.finish()));
    EXPECT_EQ("< 9", outline(splitter.push(kReply)));
}

TEST(Splitting, TakesTheLongestFrame)
{
    const QByteArray request = withCrc("11 03 0000 007D");
    QByteArray longest = hex("11 03 FA") + QByteArray(250, '\x5A');
    const quint16 crc = test::witnessCrc(longest);
    longest.append(static_cast<char>(crc & 0xFF)).append(static_cast<char>(crc >> 8));
    ASSERT_EQ(255, longest.size());
    EXPECT_EQ("> 8, < 255", outlineOf(request + longest));
    EXPECT_EQ("< 255, > 8", outlineOf(longest + request)) << "without its request";
}

TEST(Lookalikes, InsideAReplyAreNoFrames)
{
    // Registers that hold a request, its reply and an exception.
    const QByteArray reply = withCrc("11 04 16 1103 0064 0002 8744 1103 0412 34AB CD11 E111 8302 C134");
    EXPECT_EQ("> 8, < 27", outlineOf(withCrc("11 04 0000 000B") + reply));
    EXPECT_EQ("< 27", outlineOf(reply)) << "the request was not heard";
    EXPECT_EQ("< 27", outline(splitWithGaps({reply.left(3), reply.mid(3, 8), reply.mid(11)})))
        << "and the bytes came in pieces that look like frames";
}

// A reply whose first 8 bytes are a request with a good CRC, too: 8 coils at 0x0803.
const QByteArray kPrefix = withCrc("11 01 0803 0008");

QByteArray replyWithThePrefix()
{
    return withCrc(("110108" + toHex(kPrefix.mid(3)) + "000000").c_str());
}

TEST(Lookalikes, ThatBeginWithAReplyAreNotPreferredToIt)
{
    ASSERT_EQ(13, replyWithThePrefix().size());
    EXPECT_EQ("< 13", outlineOf(replyWithThePrefix()));
    EXPECT_EQ("< 13", outline(split(replyWithThePrefix(), 1)));
}

TEST(Lookalikes, AreChosenByTheirEnds)
{
    const QByteArray tail = hex("5A 5B");
    const QByteArray both = replyWithThePrefix();
    EXPECT_EQ("< 13, ~ 2", outline(splitWithGaps({both + tail}))) << "neither ends at a border";
    EXPECT_EQ("< 13", outline(splitWithGaps({both.left(8), both.mid(8)}))) << "both end at borders";
    EXPECT_EQ("> 8, ~ 7", outline(splitWithGaps({both.left(8), both.mid(8) + tail})))
        << "a gap behind the shorter frame only";
    EXPECT_EQ("< 13, > 8", outline(splitWithGaps({both + kRequest}))) << "a frame behind the longer one only";
}

TEST(Lookalikes, OfTheAwaitedReplyInsideARequest)
{
    // A CRC that ends in zero: without its last byte the request is a good reply of one register.
    const QByteArray request = hex("11 03 0200 0079 8700");
    ASSERT_EQ(withCrc("11 03 0200 0079"), request);
    const QByteArray unanswered = withCrc("11 03 0064 0001");
    EXPECT_EQ("> 8, > 8", outlineOf(unanswered + request));
    EXPECT_EQ("> 8, > 8, > 8, < 9", outlineOf(unanswered + request + kRequest + kReply));
    EXPECT_EQ("> 8, < 7, ~ 2", outlineOf(unanswered + request + hex("5A"))) << "nothing tells otherwise";
}

TEST(Lookalikes, BehindNoiseYieldToAFrameThatBeginsAtAGap)
{
    // Two registers that hold a whole request: read exception status.
    const QByteArray outer = withCrc("12 03 04 11 07 4C 22");
    ASSERT_EQ(withCrc("11 07"), outer.mid(3, 4));
    const QByteArray noise = hex("5A");
    EXPECT_EQ("~ 4, > 4, ~ 2", outline(splitWithGaps({noise + outer.left(3), outer.mid(3)})));
    EXPECT_EQ("~ 1, < 9", outline(splitWithGaps({noise + outer.left(5), outer.mid(5)}))) << "another gap";
    EXPECT_EQ("< 9", outline(splitWithGaps({outer.left(3), outer.mid(3)}))) << "no noise";
}

TEST(Roles, OfEchoesFollowTheOrder)
{
    const std::vector<Piece> pieces = split(kRequest + kReply + kWrite + kWrite + kWrite + kWrite);
    ASSERT_EQ("> 8, < 9, > 8, < 8, > 8, < 8", outline(pieces));
    EXPECT_EQ(17, pieces[3].requestAt);
    EXPECT_EQ(33, pieces[5].requestAt);
}

TEST(Roles, OfAnEchoAtTheBeginningAreUnknown)
{
    EXPECT_EQ("= 8, > 8, < 9", outlineOf(kWrite + kRequest + kReply));
    const std::vector<Piece> pieces = split(kWrite + kWrite);
    ASSERT_EQ("= 8, < 8", outline(pieces)) << "but what repeats it is its reply";
    EXPECT_EQ(0, pieces[1].requestAt);
}

TEST(Roles, OfAnEchoBehindItsDamagedLikeAreUnknown)
{
    // The request and a damaged reply, or a damaged request and its reply.
    EXPECT_EQ("> 8, < 9, ~ 6, = 8", outlineOf(kRequest + kReply + kWrite.mid(2) + kWrite));
    EXPECT_EQ("> 8, < 9, > 8, ~ 4, = 8", outlineOf(kRequest + kReply + kWrite + kWrite.left(4) + kWrite));
}

TEST(Roles, OfAnEchoBehindNoiseFollowTheOrder)
{
    EXPECT_EQ("> 8, < 9, ~ 8, > 8, ~ 8, < 8", outlineOf(kRequest + kReply + hex("5A5A5A5A 5A5A5A5A") +
                                                        kWrite + hex("5A5A5A5A 5A5A5A5A") + kWrite));
    EXPECT_EQ("> 8, < 9, ~ 3, > 8", outlineOf(kRequest + kReply + kWrite.left(3) + kWrite))
        << "less than half";
}

TEST(Roles, OfAnotherWriteThanTheOneAskedIsARequest)
{
    EXPECT_EQ("> 8, < 9, > 8, > 8, < 8", outlineOf(kRequest + kReply + kWrite + withCrc("11 06 0065 1234") +
                                                   withCrc("11 06 0065 1234")));
}

TEST(Roles, OfAWriteThatNobodyAnsweredAreRequestsWhenTheTimeIsOver)
{
    SplitterSettings settings;
    settings.replyWithin = milliseconds(500);
    FrameSplitter splitter(settings);
    std::vector<Piece> pieces = splitter.push(kRequest + kReply + kWrite, milliseconds(100));
    append(&pieces, splitter.push(kWrite, milliseconds(601)));
    append(&pieces, splitter.push(kWrite, milliseconds(1101)));
    append(&pieces, splitter.finish());
    EXPECT_EQ("> 8, < 9, > 8, > 8, < 8", outline(pieces));
}

TEST(Roles, OfAReadWhoseAddressReadsAsAByteCount)
{
    // 20 coils at 0x0300: as a reply it has 3 data bytes, and so has the reply to it.
    const QByteArray request = withCrc("11 01 0300 0014");
    EXPECT_EQ("> 8, < 9, > 8, < 8", outlineOf(kRequest + kReply + request + withCrc("11 01 03 00A005")));
    EXPECT_EQ("> 8, < 9, > 8, > 8, < 8",
              outlineOf(kRequest + kReply + request + request + withCrc("11 01 03 00A005")))
        << "the same bytes again are the request again";
    EXPECT_EQ("= 8", outlineOf(request));
}

TEST(Roles, OfABroadcastIsARequestThatNobodyAnswers)
{
    const QByteArray broadcast = hex("00 06 0064 0001 0804");
    EXPECT_EQ("> 8, > 8, > 8, < 9", outlineOf(broadcast + broadcast + kRequest + kReply));
}

TEST(Roles, OfAReplyWithoutARequestAreTold)
{
    const std::vector<Piece> pieces = split(kReply + kRequest + kReply);
    ASSERT_EQ("< 9, > 8, < 9", outline(pieces));
    EXPECT_EQ(-1, pieces[0].requestAt);
    EXPECT_EQ(9, pieces[2].requestAt);
}

TEST(Roles, OfAReplyOfAnotherByteCountAreUnpaired)
{
    const std::vector<Piece> pieces = split(kRequest + withCrc("11 03 02 1234") + kReply);
    ASSERT_EQ("> 8, < 7, < 9", outline(pieces));
    EXPECT_EQ(-1, pieces[1].requestAt);
    EXPECT_EQ(0, pieces[2].requestAt);
}

TEST(Roles, OfDiagnosticsFollowTheOrder)
{
    const QByteArray echo = hex("11 08 0000 5AC3 986A");
    EXPECT_EQ("> 8, < 9, > 8, < 8, > 8, < 8",
              outlineOf(kRequest + kReply + echo + echo + hex("11 08 000B 0000 9359") +
                        withCrc("11 08 000B 0007")));
    const QByteArray listenOnly = withCrc("11 08 0004 0000");
    EXPECT_EQ("> 8, < 9, > 8, > 8", outlineOf(kRequest + kReply + listenOnly + kWrite));
}

TEST(UnknownFunctions, EndAtGaps)
{
    const std::vector<Piece> pieces =
        splitWithGaps({kRequest, kReply, withCrc("11 41 0102"), withCrc("11 41 03040506")});
    ASSERT_EQ("> 8, < 9, >? 6, <? 8", outline(pieces));
    EXPECT_EQ(0x41, pieces[2].function);
    EXPECT_EQ(17, pieces[3].requestAt);
}

TEST(UnknownFunctions, EndWhereAnotherFrameFits)
{
    const QByteArray line =
        kRequest + kReply + withCrc("11 41 0102") + withCrc("11 41 03040506") + kRequest + kReply;
    EXPECT_EQ("> 8, < 9, >? 6, <? 8, > 8, < 9", outlineOf(line));
    EXPECT_EQ("> 8, < 9, >? 6, <! 5",
              outlineOf(kRequest + kReply + withCrc("11 41 0102") + withCrc("11 C1 01")));
}

TEST(UnknownFunctions, AreNotedForTheirCrcWithOddValuesToo)
{
    const QByteArray request = withCrc("11 03 0064 0000"); // no register
    EXPECT_EQ(">? 8, <! 5", outlineOf(request + withCrc("11 83 03")).replace(0, 1, ">"));
    EXPECT_EQ("> 8, < 9, >? 8, <! 5", outlineOf(kRequest + kReply + request + withCrc("11 83 03")));
    const QByteArray tooMany = withCrc("11 03 0064 007E");
    EXPECT_EQ("> 8, < 9, >? 8, <! 5",
              outline(splitWithGaps({kRequest, kReply, tooMany, withCrc("11 83 03")})));
}

TEST(UnknownFunctions, AreGivenAtTheGapBehindThem)
{
    FrameSplitter splitter;
    EXPECT_EQ("", outline(splitter.push(withCrc("11 41 0102"))));
    splitter.markGap();
    EXPECT_EQ("=? 6", outline(splitter.push(hex("11"))));
    EXPECT_EQ("> 8", outline(splitter.push(kRequest.mid(1))));
    EXPECT_EQ("", outline(splitter.push(withCrc("11 41 0102"))));
    splitter.markGap();
    EXPECT_EQ(">? 6, > 8", outline(splitter.push(kRequest))) << "what is behind it does not wait for more";
}

TEST(UnknownFunctions, WhoseCrcEndsInZeroAreTakenWhole)
{
    // Without its last byte the CRC is good, too, as it stays good over zeros behind a frame.
    const QByteArray frame = hex("11 41 0011 9500");
    ASSERT_EQ(withCrc("11 41 0011"), frame);
    EXPECT_EQ("=? 6", outlineOf(frame));
    EXPECT_EQ("=? 6, > 8, < 9", outlineOf(frame + kRequest + kReply));
    EXPECT_EQ("=? 7", outlineOf(frame + hex("00"))) << "where a zero follows, the gap decides";
}

TEST(UnknownFunctions, AreNoFramesInTheMiddleOfNoise)
{
    // The CRC of the inner bytes is good, but nothing else speaks for them.
    EXPECT_EQ("~ 8", outlineOf(hex("5A") + withCrc("11 41 0102") + hex("5A")));
}

TEST(UnknownFunctions, DoNotSwallowAGoodFrameBehindThem)
{
    EXPECT_EQ("~ 3, > 8, < 9", outlineOf(hex("11 41 01") + kRequest + kReply));
}

TEST(DamagedFrames, AreToldBetweenBorders)
{
    QByteArray reply = kReply;
    reply[4] = '\x35';
    const std::vector<Piece> pieces = split(kRequest + reply + kRequest + kReply);
    ASSERT_EQ("> 8, <x 9, > 8, < 9", outline(pieces));
    EXPECT_EQ(PieceKind::Damaged, pieces[1].kind);
    EXPECT_EQ(0x11, pieces[1].station);
    EXPECT_EQ(3, pieces[1].function);
    EXPECT_EQ(0, pieces[1].requestAt);
    EXPECT_EQ(17, pieces[3].requestAt);
}

TEST(DamagedFrames, OfTheMasterAreRequests)
{
    QByteArray request = kRequest;
    request[7] = '\x45';
    EXPECT_EQ(">x 8, > 8, < 9", outlineOf(request + kRequest + kReply));
}

TEST(DamagedFrames, EndTheExchange)
{
    QByteArray echo = kWrite;
    echo[7] = '\xF3';
    EXPECT_EQ("> 8, < 9, > 8, <x 8, > 8, < 8",
              outlineOf(kRequest + kReply + kWrite + echo + kWrite + kWrite));
}

TEST(DamagedFrames, AreSeparatedByGaps)
{
    QByteArray reply = kReply;
    reply[4] = '\x35';
    EXPECT_EQ("> 8, <x 9, ~ 2", outline(splitWithGaps({kRequest, reply, hex("5A 5A")})));
    EXPECT_EQ("> 8, ~ 11", outline(splitWithGaps({kRequest, reply + hex("5A 5A")})));
}

TEST(Pauses, MarkGapsAndTheEnd)
{
    SplitterSettings settings =
        SplitterSettings::forLine(LineTiming(9600), milliseconds(16), milliseconds(1000));
    EXPECT_EQ(LineTiming(9600).silence(), settings.gap);
    FrameSplitter splitter(settings);
    // As a reply the request would have 205 bytes.
    EXPECT_EQ("", outline(splitter.push(withCrc("11 03 C800 0001"), milliseconds(20))));
    // 7 characters last 8.02 ms; from then on 4.01 ms of silence make a gap, 36.01 ms end what is held.
    EXPECT_EQ("", outline(splitter.push(hex("11 03 02 00 01 00 00"), milliseconds(64))));
    EXPECT_EQ("> 8", outline(splitter.push(hex("5A"), milliseconds(64 + 38))).substr(0, 3));
}

TEST(Pauses, GiveEachPieceItsTimes)
{
    FrameSplitter splitter;
    std::vector<Piece> pieces = splitter.push(kRequest.left(3), milliseconds(5));
    append(&pieces, splitter.push(kRequest.mid(3) + kReply.left(2), milliseconds(9)));
    append(&pieces, splitter.push(kReply.mid(2), milliseconds(12)));
    ASSERT_EQ("> 8, < 9", outline(pieces));
    EXPECT_EQ(milliseconds(5), pieces[0].from);
    EXPECT_EQ(milliseconds(9), pieces[0].until);
    EXPECT_EQ(milliseconds(9), pieces[1].from);
    EXPECT_EQ(milliseconds(12), pieces[1].until);
}

TEST(Splitting, GivesNoiseAwayInPiecesAsLongAsAFrameWhicheverWayItComes)
{
    for (const int chunk : {1, 100, 600})
        EXPECT_EQ("~ 256, ~ 256, ~ 88", outline(split(QByteArray(600, '\xFF'), chunk))) << chunk;
}

TEST(Splitting, TakesNoStepWhileTheBytesForTheNextDecisionAreToCome)
{
    FrameSplitter splitter;
    EXPECT_EQ(0u, splitter.steps());
    const QByteArray write = withCrc(("11 10 0000 007B F6" + toHex(QByteArray(246, '\x77'))).c_str());
    const QByteArray line = hex("5A") + write + hex("5A"); // the frame begins at no border
    splitter.push(line.left(201));
    splitter.markGap();
    splitter.push(line.mid(201));
    ASSERT_EQ(257, splitter.held()) << "a frame might begin at the gap, and be as long as 256 bytes";
    const std::uint64_t before = splitter.steps();
    for (int come = 257; come < 201 + 256 - 1; ++come)
        splitter.push(hex("5A"));
    EXPECT_EQ(before, splitter.steps());
    splitter.push(hex("5A"));
    EXPECT_LT(before, splitter.steps());
}

/// A stream that is hard to split, and how it arrives.
struct Hostile
{
    const char *name;
    QByteArray repeated;
    bool hasGaps; ///< before every byte
};

void PrintTo(const Hostile &hostile, std::ostream *out)
{
    *out << hostile.name;
}

class HostileStreams : public ::testing::TestWithParam<Hostile>
{};

TEST_P(HostileStreams, CostBoundedWorkAndMemoryAndLoseNothing)
{
    QByteArray line;
    while (line.size() < 5000)
        line += GetParam().repeated;
    for (const int chunk : {1, 7, 20000}) {
        FrameSplitter splitter;
        QByteArray given;
        for (int at = 0; at < line.size(); at += chunk) {
            if (GetParam().hasGaps)
                splitter.markGap();
            for (const Piece &piece : splitter.push(line.mid(at, chunk)))
                given += piece.bytes;
            ASSERT_LE(splitter.held(), FrameSplitter::kMostHeld);
            const auto come = static_cast<std::uint64_t>(std::min(at + chunk, line.size()));
            ASSERT_LE(splitter.steps(), FrameSplitter::kStepsPerByte * come) << "at " << at;
        }
        for (const Piece &piece : splitter.finish())
            given += piece.bytes;
        EXPECT_EQ(line, given);
        EXPECT_LE(splitter.steps(), FrameSplitter::kStepsPerByte * static_cast<std::uint64_t>(line.size()));
    }
}

QByteArray goodFrameAndZeros()
{
    return withCrc("11 41 0102") + QByteArray(250, '\0');
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, HostileStreams,
    ::testing::Values(Hostile{"Zeros", hex("00"), false}, Hostile{"ZerosWithGaps", hex("00"), true},
                      Hostile{"Ones", hex("FF"), true},
                      Hostile{"BeginningsOfLongReplies", hex("11 03 FA"), false},
                      Hostile{"BeginningsOfLongRepliesWithGaps", hex("03 03 FA"), true},
                      Hostile{"BeginningsOfUnknownFrames", hex("11 41"), true},
                      Hostile{"Identifications", hex("11 2B 0E 04 83 00 00 7A 00 00"), true},
                      Hostile{"LongRequests", hex("11 10 0000 007B F6"), true},
                      Hostile{"ManyGoodEnds", goodFrameAndZeros(), false},
                      Hostile{"ManyGoodEndsWithGaps", goodFrameAndZeros(), true},
                      Hostile{"ShortRequests", withCrc("11 07"), true},
                      Hostile{"Lookalikes", replyWithThePrefix() + hex("5A"), true},
                      Hostile{"FramesBehindNoise", hex("5A") + withCrc("12 03 04 11 07 4C 22"), true}),
    [](const auto &test) { return test.param.name; });

} // namespace

} // namespace plc::runtime
