#include "runtime/line/frame_splitter.h"

#include <algorithm>
#include <cstring>

namespace plc::runtime {

namespace {

constexpr int kSlice = 128; ///< bytes taken at once, so that few are held

constexpr int kLostKept = 32; ///< a frame that may be request and reply alike is shorter

bool isKnown(ContentLength length, int bytes)
{
    return length.kind == ContentLength::Kind::Known && length.bytes == bytes;
}

} // namespace

SplitterSettings SplitterSettings::forLine(const LineTiming &timing, Time deliverySlack, Time replyWithin)
{
    SplitterSettings settings;
    settings.character = timing.character();
    settings.gap = timing.silence();
    settings.silence = timing.silence() + 2 * deliverySlack;
    settings.replyWithin = replyWithin;
    return settings;
}

std::vector<Piece> FrameSplitter::push(const QByteArray &bytes, Time at)
{
    std::vector<Piece> pieces;
    if (bytes.isEmpty())
        return pieces;
    if (hasCome_) {
        const Time pause = at - lastAt_ - settings_.character * bytes.size();
        if (pause >= settings_.silence)
            pieces = finish();
        if (pause >= settings_.gap)
            borderNext_ = true;
    }
    hasCome_ = true;
    lastAt_ = at;
    for (int done = 0; done < bytes.size(); done += kSlice) {
        append(bytes.constData() + done, std::min(kSlice, bytes.size() - done), at);
        work(false, &pieces);
        dropGiven();
    }
    return pieces;
}

std::vector<Piece> FrameSplitter::finish()
{
    std::vector<Piece> pieces;
    work(true, &pieces);
    giveLeftovers(true, &pieces);
    dropGiven();
    borderNext_ = true;
    return pieces;
}

void FrameSplitter::append(const char *bytes, int count, Time at)
{
    bytes_.append(bytes, count);
    Place place;
    place.at = at;
    for (int i = 0; i < count; ++i) {
        place.isBorder = i == 0 && borderNext_;
        places_.push_back(place);
    }
    borderNext_ = false;
}

/// Forgets what was given away.
void FrameSplitter::dropGiven()
{
    bytes_.remove(0, from_);
    places_.erase(places_.begin(), places_.begin() + from_);
    start_ += static_cast<std::uint64_t>(from_);
    head_ -= from_;
    needed_ = std::max(0, needed_ - from_);
    from_ = 0;
}

void FrameSplitter::work(bool isFinal, std::vector<Piece> *pieces)
{
    while (head_ < size() && (isFinal || size() >= needed_)) {
        if (!decide(isFinal, pieces))
            return;
    }
}

/// Puts the decision off until bytes_ has @p bytes bytes.
/// @return false, as decide() does then.
bool FrameSplitter::waitFor(int bytes)
{
    needed_ = std::max(bytes, size() + 1);
    return false;
}

/// Decides what begins at head_, and moves head_ on.
/// @return false where more bytes are needed for that.
bool FrameSplitter::decide(bool isFinal, std::vector<Piece> *pieces)
{
    ++steps_;
    if (endsSeen_ > 0)
        return decideByBorders(isFinal, pieces);
    Place &place = places_[static_cast<std::size_t>(head_)];
    if (asked_.isOpen && place.at - asked_.until > settings_.replyWithin)
        asked_.isOpen = false;
    const int awaited = awaitedLength(head_);
    const bool hasAwaited = awaited > 0 && head_ + awaited <= size() && isAwaited(bytesAt(head_), awaited) &&
                            hasGoodCrc(head_, awaited);
    const Fits fits = fitsAt(head_);
    const int needed = std::max(fits.needed, awaited);
    if (!isFinal && head_ + needed > size())
        return waitFor(head_ + needed);
    if (hasAwaited && awaited >= fits.longer) {
        take(awaited, PieceKind::Frame, pieces);
        return true;
    }
    int length = fits.longer;
    const int shorter = hasAwaited ? awaited : fits.shorter;
    if (shorter > 0) {
        if (!isFinal && head_ + length + kLongestFrame > size())
            return waitFor(head_ + length + kLongestFrame);
        const bool longerEnds = endIsConfirmed(head_ + length, isFinal);
        const bool shorterEnds = endIsConfirmed(head_ + shorter, isFinal);
        if (shorterEnds == longerEnds ? hasAwaited : shorterEnds)
            length = shorter;
    }
    if (length > 0 && !place.isBorder) {
        int lastGap = 0;
        for (int at = head_ + 1; at < head_ + length; ++at, ++steps_)
            lastGap = places_[static_cast<std::size_t>(at)].isBorder ? at : lastGap;
        if (lastGap > 0 && !isFinal && lastGap + kLongestFrame > size())
            return waitFor(lastGap + kLongestFrame);
        if (lastGap > 0 && yieldsToFrameInside(length))
            length = 0;
    }
    if (length > 0) {
        const bool isException = (*(bytesAt(head_) + 1) & kExceptionBit) != 0;
        take(length, isException ? PieceKind::Exception : PieceKind::Frame, pieces);
    } else if (place.isBorder) {
        endsSeen_ = kShortestFrame - 1;
    } else {
        passOver(pieces);
    }
    return true;
}

/// At a border where no layout fits: a good CRC may make a frame of any length.
bool FrameSplitter::decideByBorders(bool isFinal, std::vector<Piece> *pieces)
{
    const int available = size() - head_;
    checkAhead(head_, kLongestFrame);
    const std::bitset<kLongestFrame + 1> &good = places_[static_cast<std::size_t>(head_)].goodCrcs;
    const int ends = std::min(isFinal ? available : available - 1, kLongestFrame);
    while (endsSeen_ < ends) {
        ++endsSeen_;
        ++steps_;
        const int end = head_ + endsSeen_;
        if (good[static_cast<std::size_t>(endsSeen_)] &&
            (end == size() || places_[static_cast<std::size_t>(end)].isBorder)) {
            take(endsSeen_, PieceKind::Unknown, pieces);
            return true;
        }
    }
    if (!isFinal && available <= kLongestFrame)
        return waitFor(size() + 1);
    if (good.any() && !isFinal && available < 2 * kLongestFrame)
        return waitFor(head_ + 2 * kLongestFrame);
    for (int length = kShortestFrame; length <= std::min(available, kLongestFrame) && good.any(); ++length) {
        ++steps_;
        if (!good[static_cast<std::size_t>(length)] || head_ + length >= size())
            continue;
        checkAhead(head_ + length, kLongestFrame);
        if (places_[static_cast<std::size_t>(head_) + static_cast<std::size_t>(length)].goodCrcs.any()) {
            take(length, PieceKind::Unknown, pieces);
            return true;
        }
    }
    passOver(pieces);
    return true;
}

/// Goes over at most @p length bytes from @p place on with its CRC, as far as they have come.
void FrameSplitter::checkAhead(int place, int length)
{
    Place &here = places_[static_cast<std::size_t>(place)];
    const int end = std::min(length, size() - place);
    const unsigned char *bytes = bytesAt(place);
    for (; here.checked < end; ++steps_) {
        here.crc = crcWith(here.crc, bytes[here.checked]);
        ++here.checked;
        if (here.crc == 0 && here.checked >= kShortestFrame)
            here.goodCrcs.set(static_cast<std::size_t>(here.checked));
    }
}

/// @p length bytes from @p place on must have come.
bool FrameSplitter::hasGoodCrc(int place, int length)
{
    checkAhead(place, length);
    return places_[static_cast<std::size_t>(place)].goodCrcs[static_cast<std::size_t>(length)];
}

/// The frames that fit at @p place, as far as bytes have come.
FrameSplitter::Fits FrameSplitter::fitsAt(int place)
{
    const int available = size() - place;
    Fits fits;
    for (const ContentLength length :
         {requestLengthAt(bytesAt(place), available), replyLengthAt(bytesAt(place), available)}) {
        ++steps_;
        if (length.kind == ContentLength::Kind::None)
            continue;
        fits.needed = std::max(fits.needed, length.bytes);
        if (length.kind != ContentLength::Kind::Known || length.bytes > available ||
            length.bytes == fits.longer || !hasGoodCrc(place, length.bytes))
            continue;
        fits.shorter = std::min(fits.longer, length.bytes);
        fits.longer = std::max(fits.longer, length.bytes);
    }
    return fits;
}

/// Whether a frame fits at @p place. All bytes of the longest frame must be there, or no more may be to come.
bool FrameSplitter::fitsSomething(int place)
{
    Place &here = places_[static_cast<std::size_t>(place)];
    ++steps_;
    if (here.hasFrame < 0)
        here.hasFrame = fitsAt(place).longer > 0 ? 1 : 0;
    return here.hasFrame > 0;
}

bool FrameSplitter::endIsConfirmed(int end, bool isFinal)
{
    if (end >= size())
        return isFinal;
    return places_[static_cast<std::size_t>(end)].isBorder || fitsSomething(end);
}

/// Whether a frame fits at a gap inside the @p length bytes at head_.
bool FrameSplitter::yieldsToFrameInside(int length)
{
    for (int at = head_ + 1; at < head_ + length; ++at, ++steps_) {
        if (places_[static_cast<std::size_t>(at)].isBorder && fitsSomething(at))
            return true;
    }
    return false;
}

/// Bytes that the reply to the last request has, where the bytes at @p place may be its beginning; otherwise
/// 0.
int FrameSplitter::awaitedLength(int place) const
{
    const int available = size() - place;
    if (!asked_.isOpen || available < 2 || asked_.replyLength < kShortestFrame ||
        asked_.replyLength > kLongestFrame)
        return 0;
    const auto repeated = static_cast<std::size_t>(std::min(available, asked_.repeated));
    if (std::memcmp(bytesAt(place), asked_.bytes.constData(), repeated) != 0)
        return 0;
    const bool isPossible =
        asked_.repeated > 2 || isKnown(replyLengthAt(bytesAt(place), available), asked_.replyLength);
    return isPossible ? asked_.replyLength : 0;
}

/// Whether a frame of station, function and length of the awaited reply has the rest of its content, too.
bool FrameSplitter::isAwaited(const unsigned char *bytes, int length) const
{
    const char *request = asked_.bytes.constData();
    if (std::memcmp(bytes, request, static_cast<std::size_t>(asked_.repeated)) != 0)
        return false;
    if (asked_.repeated > 2)
        return true;
    // The same bytes as a request to read are the request once more, or its echo on two wires.
    if (length == asked_.bytes.size() && std::memcmp(bytes, request, static_cast<std::size_t>(length)) == 0)
        return false;
    const ContentLength byContent = replyLengthAt(bytes, length);
    return byContent.kind == ContentLength::Kind::None || byContent.bytes == length;
}

/// Leaves the byte at head_ over.
void FrameSplitter::passOver(std::vector<Piece> *pieces)
{
    ++head_;
    needed_ = 0;
    endsSeen_ = 0;
    giveLeftovers(false, pieces);
}

void FrameSplitter::take(int length, PieceKind kind, std::vector<Piece> *pieces)
{
    giveLeftovers(true, pieces);
    give(length, kind, pieces);
    head_ = from_;
    needed_ = 0;
    endsSeen_ = 0;
    if (head_ < size())
        places_[static_cast<std::size_t>(head_)].isBorder = true;
    else
        borderNext_ = true;
}

/// Gives away what is left over before head_.
/// @param all  a frame begins at head_, or nothing more comes; otherwise as much as need not be held.
void FrameSplitter::giveLeftovers(bool all, std::vector<Piece> *pieces)
{
    while (from_ < head_ && (all || head_ - from_ > kLongestFrame)) {
        int length = damagedLength();
        if (length > 0) {
            give(length, PieceKind::Damaged, pieces);
            continue;
        }
        const int most = std::min(head_ - from_, kLongestFrame);
        for (length = 1; length < most; ++length, ++steps_) {
            if (places_[static_cast<std::size_t>(from_) + static_cast<std::size_t>(length)].isBorder)
                break;
        }
        give(length, PieceKind::Noise, pieces);
    }
}

/// Length of the damaged frame at from_, which ends at a border before head_, or there; 0 when there is none.
int FrameSplitter::damagedLength() const
{
    const int available = head_ - from_;
    if (!places_[static_cast<std::size_t>(from_)].isBorder || available < kShortestFrame)
        return 0;
    const ContentLength request = requestLengthAt(bytesAt(from_), available);
    const ContentLength reply = replyLengthAt(bytesAt(from_), available);
    int found = 0;
    for (const int length : {isKnown(request, request.bytes) ? request.bytes : 0,
                             isKnown(reply, reply.bytes) ? reply.bytes : 0, awaitedLength(from_)}) {
        if (length <= found || length > available)
            continue;
        if (length == available ||
            places_[static_cast<std::size_t>(from_) + static_cast<std::size_t>(length)].isBorder)
            found = length;
    }
    return found;
}

/// Gives @p length bytes at from_ away.
void FrameSplitter::give(int length, PieceKind kind, std::vector<Piece> *pieces)
{
    Piece piece;
    piece.kind = kind;
    piece.at = start_ + static_cast<std::uint64_t>(from_);
    piece.bytes = bytes_.mid(from_, length);
    piece.from = places_[static_cast<std::size_t>(from_)].at;
    piece.until = places_[static_cast<std::size_t>(from_ + length - 1)].at;
    if (kind != PieceKind::Noise) {
        piece.station = *bytesAt(from_);
        piece.function = *(bytesAt(from_) + 1);
    }
    if (kind == PieceKind::Damaged)
        noteDamaged(&piece);
    else if (kind != PieceKind::Noise)
        noteFrame(&piece);
    else
        lost_ = (lost_ + piece.bytes).right(kLostKept);
    from_ += length;
    pieces->push_back(piece);
}

/// Whether half of @p frame or more stands among the bytes that were lost before it. Then its request may
/// have been damaged, or the reply to the same request sent before.
bool FrameSplitter::isLostFrame(const QByteArray &frame)
{
    for (int at = 1 - frame.size(); at < lost_.size(); ++at) {
        int alike = 0;
        for (int i = std::max(0, -at); i < frame.size() && at + i < lost_.size(); ++i, ++steps_)
            alike += lost_.at(at + i) == frame.at(i) ? 1 : 0;
        if (2 * alike >= frame.size())
            return true;
    }
    return false;
}

/// Tells the role of a good frame from its content and from what was on the line before.
void FrameSplitter::noteFrame(Piece *piece)
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(piece->bytes.constData());
    const int length = piece->bytes.size();
    const bool isException = piece->kind == PieceKind::Exception;
    const bool isUnknown = piece->kind == PieceKind::Unknown;
    if (isException) {
        piece->function &= ~kExceptionBit;
        piece->exceptionCode = bytes[2];
    }
    const bool concernsAsked = asked_.isOpen &&
                               piece->station == static_cast<unsigned char>(asked_.bytes.at(0)) &&
                               piece->function == static_cast<unsigned char>(asked_.bytes.at(1));
    const bool isLengthDue = asked_.replyLength == 0 || asked_.replyLength == length;
    const bool mayBeAnswer = concernsAsked && (isException || (isLengthDue && isAwaited(bytes, length)));
    const bool mayBeRequest = !isException && (isUnknown ? piece->function < kExceptionBit
                                                         : isKnown(requestLengthAt(bytes, length), length));
    const bool mayBeReply = isException || mayBeAnswer ||
                            (isUnknown ? piece->station != 0 : isKnown(replyLengthAt(bytes, length), length));
    if (!mayBeRequest)
        piece->role = FrameRole::Reply;
    else if (!mayBeReply)
        piece->role = FrameRole::Request;
    else if (hasOrder_ && !isLostFrame(piece->bytes))
        piece->role = mayBeAnswer ? FrameRole::Reply : FrameRole::Request;
    hasOrder_ = true;
    lost_.clear();
    if (piece->role != FrameRole::Reply) {
        ask(*piece);
    } else if (mayBeAnswer) {
        piece->requestAt = static_cast<std::int64_t>(asked_.at);
        asked_.isOpen = false;
    }
}

/// A damaged reply ends the exchange. Behind a damaged request a reply may come or not.
void FrameSplitter::noteDamaged(Piece *piece)
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(piece->bytes.constData());
    const int length = piece->bytes.size();
    const bool isAnswer =
        lost_.isEmpty() && asked_.isOpen &&
        piece->station == static_cast<unsigned char>(asked_.bytes.at(0)) &&
        (piece->function & ~kExceptionBit) == static_cast<unsigned char>(asked_.bytes.at(1));
    const bool mayBeRequest = isKnown(requestLengthAt(bytes, length), length);
    const bool mayBeReply = isKnown(replyLengthAt(bytes, length), length) || length == asked_.replyLength;
    if (mayBeReply && (isAnswer || !mayBeRequest))
        piece->role = FrameRole::Reply;
    else if (!mayBeReply)
        piece->role = FrameRole::Request;
    if (piece->role == FrameRole::Reply && isAnswer)
        piece->requestAt = static_cast<std::int64_t>(asked_.at);
    if (!isAnswer)
        lost_ = (lost_ + piece->bytes).right(kLostKept);
    asked_.isOpen = false;
}

/// Nobody answers a broadcast (MODBUS over Serial Line V1.02, 2.1).
void FrameSplitter::ask(const Piece &piece)
{
    asked_.isOpen = piece.station != 0;
    asked_.bytes = piece.bytes;
    asked_.at = piece.at;
    asked_.until = piece.until;
    asked_.replyLength = replyLengthTo(piece.bytes);
    asked_.repeated = std::min(repeatedBytesOf(piece.bytes), piece.bytes.size() - kCrcLen);
}

} // namespace plc::runtime
