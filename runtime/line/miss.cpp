#include "runtime/line/miss.h"

#include <algorithm>
#include <tuple>

#include "runtime/line/exception_codes.h"
#include "runtime/line/frame_splitter.h"
#include "runtime/line/number_text.h"

namespace plc::runtime {

namespace {

constexpr std::size_t kMostGroups = 4;

std::string bytesText(int count)
{
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

/// "01 03 00 ...".
std::string hexOf(const Miss &miss)
{
    return hexText(miss.shown.constData(), static_cast<std::size_t>(miss.shown.size())) +
           (miss.heard > miss.shown.size() ? " ..." : "");
}

Miss missOfKind(Miss::Kind kind, const QByteArray &about)
{
    Miss miss;
    miss.kind = kind;
    miss.heard = about.size();
    miss.shown = about.left(kMostShown);
    return miss;
}

/// Whether the frame goes out and comes back in the same form, so that it may be either.
bool mayBeEither(const Piece &piece)
{
    return piece.function == kWriteSingleCoil || piece.function == kWriteSingleRegister;
}

/// What was heard, taken apart. The request stands before it, so that its replies are known as such.
class Hearing
{
public:
    Hearing(const QByteArray &heard, const ReplyShape &shape, const QByteArray &request)
        : shape_(shape), request_(request)
    {
        FrameSplitter splitter;
        // A relay frame is none that a splitter knows.
        const bool isKnown = shape.function >= 0;
        std::vector<Piece> pieces;
        const auto note = [&pieces](const std::vector<Piece> &more) {
            pieces.insert(pieces.end(), more.begin(), more.end());
        };
        if (isKnown)
            note(splitter.push(request));
        splitter.markGap();
        note(splitter.push(heard));
        note(splitter.finish());
        const auto start = static_cast<std::uint64_t>(isKnown ? request.size() : 0);
        for (const Piece &piece : pieces) {
            if (piece.at >= start)
                pieces_.push_back(piece);
        }
    }

    /// What tells most of what was heard.
    Miss miss() const
    {
        Miss most;
        for (const Piece &piece : pieces_) {
            const Miss found = missOfPiece(piece);
            if (found.kind > most.kind)
                most = found;
        }
        return most;
    }

private:
    Miss missOfPiece(const Piece &piece) const
    {
        const bool isOurs = piece.station == shape_.station;
        if (piece.kind == PieceKind::Noise)
            return Miss();
        if (piece.kind == PieceKind::Damaged) {
            const bool isReply = isOurs && (shape_.function < 0 || piece.function == shape_.function) &&
                                 piece.role != FrameRole::Request;
            return isReply ? missOfKind(Miss::Kind::WrongCrc, piece.bytes) : Miss();
        }
        if (piece.role == FrameRole::Request && (!mayBeEither(piece) || isAnswered(piece)))
            return about(Miss::Kind::OtherMaster, piece);
        if (piece.requestAt >= 0 && isForeign(piece.requestAt))
            return Miss();
        if (!isOurs)
            return about(Miss::Kind::OtherStation, piece);
        if (shape_.function >= 0 && piece.function != shape_.function)
            return about(Miss::Kind::OtherFunction, piece);
        return about(piece.bytes.size() != shape_.length ? Miss::Kind::OtherLength : Miss::Kind::OtherPlace,
                     piece);
    }

    Miss about(Miss::Kind kind, const Piece &piece) const
    {
        Miss miss = missOfKind(kind, piece.bytes);
        miss.station = piece.station;
        miss.asked = kind == Miss::Kind::OtherFunction ? shape_.function : shape_.station;
        miss.function = piece.function;
        miss.due = shape_.length;
        return miss;
    }

    bool isAnswered(const Piece &request) const
    {
        return std::any_of(pieces_.begin(), pieces_.end(), [&request](const Piece &piece) {
            return piece.requestAt == static_cast<std::int64_t>(request.at);
        });
    }

    bool isForeign(std::int64_t requestAt) const
    {
        return shape_.function < 0 || requestAt >= request_.size();
    }

    const ReplyShape &shape_;
    const QByteArray &request_;
    std::vector<Piece> pieces_;
};

/// Whatever the bytes were.
bool areAlike(const Miss &a, const Miss &b)
{
    return std::tie(a.kind, a.station, a.function, a.exceptionCode, a.alsoEcho) ==
           std::tie(b.kind, b.station, b.function, b.exceptionCode, b.alsoEcho);
}

} // namespace

std::string describeOtherMaster(int station)
{
    return "a second master asks station " + std::to_string(station);
}

std::string describe(const Miss &miss)
{
    const std::string echo = miss.alsoEcho ? ", behind the request itself" : "";
    switch (miss.kind) {
    case Miss::Kind::None:
        break;
    case Miss::Kind::NothingHeard:
        return "nothing heard";
    case Miss::Kind::NoFrame:
        return bytesText(miss.heard) + ", but no frame (" + hexOf(miss) + ")" + echo;
    case Miss::Kind::OtherMaster:
        return describeOtherMaster(miss.station) + echo;
    case Miss::Kind::Echo:
        return "nothing but the request itself";
    case Miss::Kind::MayBeEcho:
        return "what came is like the request, and so soon that it may be the request itself";
    case Miss::Kind::EchoMissing:
        return "the echo of the request was not heard, or came damaged" +
               (miss.heard > 0 ? " (" + hexOf(miss) + ")" : "");
    case Miss::Kind::OtherStation:
        return "a good frame of station " + std::to_string(miss.station) + ", where station " +
               std::to_string(miss.asked) + " was asked" + echo;
    case Miss::Kind::OtherFunction:
        return "a good reply to function " + std::to_string(miss.function) + ", where function " +
               std::to_string(miss.asked) + " was asked for" + echo;
    case Miss::Kind::OtherLength:
        return "a good reply of " + bytesText(miss.heard) + ", where " + std::to_string(miss.due) +
               " were due: the answer to another request" + echo;
    case Miss::Kind::OtherPlace:
        return "a good reply that repeats another address or value (" + hexOf(miss) +
               "): the answer to another request" + echo;
    case Miss::Kind::WrongCrc:
        return "the reply with a wrong CRC (" + hexOf(miss) + ")" + echo;
    case Miss::Kind::SwappedCrc:
        return std::string("the reply with its CRC ") + (miss.crcHighFirst ? "high" : "low") +
               " byte first (" + hexOf(miss) + ")" + echo;
    case Miss::Kind::NotAccepted:
        return "a reply that the driver does not accept (" + hexOf(miss) + ")";
    case Miss::Kind::Refused:
        return "exception " + exceptionLabel(miss.exceptionCode);
    case Miss::Kind::LineBusy:
        return "not sent, since the line never fell silent";
    }
    return std::string();
}

Miss missOf(const QByteArray &heard, const ReplyShape &shape, const QByteArray &request)
{
    QByteArray rest = heard;
    const int echoAt = request.isEmpty() ? -1 : rest.indexOf(request);
    if (echoAt >= 0)
        rest.remove(echoAt, request.size());
    if (rest.isEmpty())
        return missOfKind(heard.isEmpty() ? Miss::Kind::NothingHeard : Miss::Kind::Echo, heard);
    ReplyShape swapped = shape;
    swapped.crcHighFirst = !shape.crcHighFirst;
    const Sighting sighting = findReply(rest, swapped, true);
    Miss miss;
    if (sighting.found == Found::Reply || sighting.found == Found::Exception)
        miss = missOfKind(Miss::Kind::SwappedCrc, rest.mid(sighting.at, sighting.length));
    else if (endWithDamagedReply(rest, shape))
        miss = missOfKind(Miss::Kind::WrongCrc, rest.right(shape.length));
    else if (!shape.crcHighFirst && shape.length > 0)
        miss = Hearing(rest, shape, request).miss();
    if (miss.kind == Miss::Kind::None)
        miss = missOfKind(echoAt >= 0 ? Miss::Kind::Echo : Miss::Kind::NoFrame, rest);
    miss.crcHighFirst = swapped.crcHighFirst;
    miss.alsoEcho = echoAt >= 0 && miss.kind != Miss::Kind::Echo;
    return miss;
}

void add(const Miss &miss, int attempt, std::vector<MissedAttempts> *missed)
{
    if (miss.kind == Miss::Kind::None)
        return;
    if (!missed->empty() && areAlike(missed->back().miss, miss)) {
        missed->back().last = attempt;
        return;
    }
    if (missed->size() == kMostGroups)
        missed->pop_back();
    missed->push_back({attempt, attempt, miss});
}

std::string describe(const std::vector<MissedAttempts> &missed)
{
    if (missed.size() == 1)
        return describe(missed.front().miss);
    std::string text;
    for (const MissedAttempts &group : missed) {
        const bool isOne = group.first == group.last;
        text += (text.empty() ? "" : "; ") + std::string(isOne ? "attempt " : "attempts ") +
                std::to_string(group.first);
        if (!isOne)
            text += (group.last == group.first + 1 ? " and " : " to ") + std::to_string(group.last);
        text += ": " + describe(group.miss);
    }
    return text;
}

} // namespace plc::runtime
