#include "host/finding/area_mapper.h"

#include <algorithm>

#include "host/finding/reading.h"
#include "runtime/line/exception_codes.h"

namespace plc::host {

namespace {

/// How often a question is asked anew, besides its retries, where a station that refuses by exceptions has
/// not answered.
constexpr int kRepeats = 3;
constexpr Time kBusyPause = std::chrono::milliseconds(200);
/// Behind so many silences in a row it is looked whether the station is still there.
constexpr int kSilencesToControl = 8;
constexpr int kControls = 3;
/// So many silences in front of the first answer are a station that is not there.
constexpr int kSilencesToGiveUp = 32;
/// Once the reply times of so many answers are known, silence is told sooner.
constexpr int kAnswersToKnow = 8;
constexpr Time kLeastTimeout = std::chrono::milliseconds(50);
constexpr int kTimeoutFactor = 4;

} // namespace

AreaMapper::AreaMapper(const MapWish &wish)
    : wish_(wish), places_(static_cast<std::size_t>(wish.count), Place::Unknown), block_(wish.block)
{
    if (wish.known)
        lastThere_ = *wish.known - wish.first;
}

void AreaMapper::remember(const std::vector<Place> &places, int block)
{
    places_ = places;
    block_ = block;
    for (int at = 0; at < size(); ++at) {
        if (isThere(at))
            lastThere_ = at;
    }
}

bool AreaMapper::isThere(int at) const
{
    const Place place = places_[static_cast<std::size_t>(at)];
    return place == Place::There || place == Place::ThereInBlock;
}

void AreaMapper::mark(int at, Place place)
{
    places_[static_cast<std::size_t>(at)] = place;
    if (place == Place::There)
        lastThere_ = at;
}

std::optional<Question> AreaMapper::ask(Purpose purpose, int at, int count)
{
    purpose_ = purpose;
    askedAt_ = at;
    asked_ = count;
    Question question;
    question.frame = readFrame(wish_.station, wish_.function, wish_.first + at, count, wish_.crcHighFirst);
    question.retries = wish_.retries;
    if (repeats_ > 0)
        question.pause = kBusyPause;
    question.timeout = wish_.timeout;
    if (answers_ >= kAnswersToKnow)
        question.timeout = std::min(wish_.timeout, kLeastTimeout + kTimeoutFactor * longest_);
    return question;
}

std::optional<Question> AreaMapper::next()
{
    if (end_ != MapEnd::Open)
        return std::nullopt;
    if (isControlDue_)
        return ask(Purpose::Control, *lastThere_, 1);
    if (repeats_ > 0)
        return ask(purpose_, askedAt_, asked_);
    if (purpose_ == Purpose::Behind || purpose_ == Purpose::Far)
        return ask(purpose_, askedAt_, 1);
    if (phase_ == Phase::Whole)
        return nextWhole();
    return phase_ == Phase::Probe ? nextProbe() : nextExtension();
}

std::optional<Question> AreaMapper::nextProbe()
{
    while (cursor_ < size()) {
        const Place place = places_[static_cast<std::size_t>(cursor_)];
        if (place == Place::Unknown)
            return ask(Purpose::Probe, cursor_, 1);
        if (isThere(cursor_)) {
            left_ = cursor_;
            right_ = cursor_;
            phase_ = Phase::Left;
            beginExtension();
            return nextExtension();
        }
        cursor_ += wish_.least;
    }
    if (silentPlaces_.empty() || (answers_ > 0 && !lastThere_)) {
        end_ = MapEnd::Done;
        return std::nullopt;
    }
    if (!lastThere_) {
        giveUp();
        return std::nullopt;
    }
    isControlDue_ = true;
    return ask(Purpose::Control, *lastThere_, 1);
}

/// What was not answered meanwhile was not answered by anybody.
void AreaMapper::giveUp()
{
    places_ = confirmedPlaces();
    silentPlaces_.clear();
    end_ = MapEnd::NoAnswer;
}

/// Sets the island as far as it is known, and the room beside it.
void AreaMapper::beginExtension()
{
    while (left_ > 0 && isThere(left_ - 1))
        --left_;
    while (right_ + 1 < size() && isThere(right_ + 1))
        ++right_;
    const int step = phase_ == Phase::Left ? -1 : 1;
    room_ = 0;
    for (int at = edge() + step;
         room_ < reach() && at >= 0 && at < size() && places_[static_cast<std::size_t>(at)] == Place::Unknown;
         at += step)
        ++room_;
    low_ = 0;
    high_ = room_ + 1;
}

std::optional<Question> AreaMapper::nextExtension()
{
    while (room_ == 0) {
        if (phase_ == Phase::Right) {
            beginWhole();
            return nextWhole();
        }
        phase_ = Phase::Right;
        beginExtension();
    }
    // To the right an island mostly goes on for a whole block; to the left it ends somewhere behind the last
    // probe.
    const bool isFirst = low_ == 0 && high_ > room_;
    const int count = isFirst && phase_ == Phase::Right ? room_ : low_ + std::max(1, (high_ - low_) / 2);
    return ask(Purpose::Extend, beside(count), count);
}

void AreaMapper::beginWhole()
{
    phase_ = Phase::Whole;
    low_ = proven_;
    high_ = std::min(right_ - left_ + 1, block_) + 1;
    room_ = high_ - 1;
}

std::optional<Question> AreaMapper::nextWhole()
{
    if (high_ - low_ < 2) {
        leaveIsland();
        return nextProbe();
    }
    return ask(Purpose::Whole, left_, high_ > room_ ? room_ : low_ + (high_ - low_) / 2);
}

/// All items of the block are there: it is refused for its size.
void AreaMapper::takeWhole(bool isAnswered)
{
    (isAnswered ? low_ : high_) = asked_;
    if (isAnswered)
        proven_ = std::max(proven_, asked_);
    if (high_ - low_ == 1 && high_ <= room_)
        block_ = std::max(1, low_);
}

void AreaMapper::leaveIsland()
{
    phase_ = Phase::Probe;
    cursor_ = (right_ / wish_.least + 1) * wish_.least;
}

void AreaMapper::noteAnswerTime(const Answer &answer)
{
    if (!answer.isAnswer())
        return;
    ++answers_;
    longest_ = std::max(longest_, answer.replyTime);
}

AreaMapper::Verdict AreaMapper::verdictOf(const Answer &answer)
{
    noteAnswerTime(answer);
    if (answer.isReply())
        return Verdict::There;
    if (answer.kind == AnswerKind::Exception) {
        const int code = answer.exceptionCode;
        if (code == runtime::kExceptionBusy || code == runtime::kExceptionAcknowledge)
            return Verdict::Unclear;
        codes_.insert(code);
        if (code == runtime::kExceptionFunction && countOf(Place::There) == 0)
            end_ = MapEnd::UnknownFunction;
        hasRefused_ = true;
        return Verdict::Refused;
    }
    const bool mayBeSilence = answer.kind == AnswerKind::Nothing && !hasRefused_;
    return mayBeSilence ? Verdict::Silent : Verdict::Unclear;
}

void AreaMapper::take(const Answer &answer)
{
    if (purpose_ == Purpose::Control) {
        takeControl(answer);
        return;
    }
    Verdict verdict = verdictOf(answer);
    if (verdict == Verdict::Unclear && ++repeats_ <= kRepeats)
        return;
    repeats_ = 0;
    if (verdict == Verdict::Silent)
        noteSilence();
    else if (answer.isAnswer())
        silencesInARow_ = 0;
    else
        ++silencesInARow_;
    if (!answer.isAnswer() && silencesInARow_ % kSilencesToControl == 0 && lastThere_)
        isControlDue_ = true;
    if (answer.isAnswer())
        silentPlaces_.clear();
    else if (asked_ == 1)
        silentPlaces_.push_back(askedAt_);
    const Purpose purpose = purpose_;
    purpose_ = Purpose::Probe;
    if (purpose == Purpose::Whole) {
        takeWhole(verdict == Verdict::There);
    } else if (purpose == Purpose::Extend) {
        takeBlock(verdict);
    } else {
        purpose_ = purpose;
        takeSingle(verdict);
    }
    if (silencesInARow_ >= kSilencesToGiveUp && !lastThere_ && answers_ == 0)
        giveUp();
}

void AreaMapper::noteSilence()
{
    ++silences_;
    ++silencesInARow_;
}

void AreaMapper::takeControl(const Answer &answer)
{
    noteAnswerTime(answer);
    purpose_ = Purpose::Probe;
    if (answer.isReply()) {
        isControlDue_ = false;
        controls_ = 0;
        silentPlaces_.clear();
        return;
    }
    if (++controls_ >= kControls)
        giveUp();
}

void AreaMapper::takeBlock(Verdict verdict)
{
    if (verdict != Verdict::There) {
        high_ = asked_;
        isSure_ = verdict == Verdict::Refused;
        settleExtension();
        return;
    }
    if (asked_ > 1 && !isStrict_) {
        // Whether the last item is there by itself, too, tells whether such an answer proves anything.
        purpose_ = Purpose::Far;
        askedAt_ = far(asked_);
        low_ = asked_;
        return;
    }
    markBlock(beside(asked_), asked_);
    low_ = asked_;
    settleExtension();
}

void AreaMapper::markBlock(int at, int count)
{
    proven_ = std::max(proven_, count);
    for (int i = at; i < at + count; ++i) {
        if (!isThere(i))
            mark(i, count > 1 ? Place::ThereInBlock : Place::There);
    }
}

/// Where the search is over, goes on behind what was found.
void AreaMapper::settleExtension()
{
    if (high_ - low_ > 1)
        return;
    if (high_ > room_) {
        beginExtension();
        return;
    }
    // The block of high_ items was refused, the one without its farthest item answered.
    const int at = far(high_);
    const bool isItsItem = high_ == 1 || (isSure_ && proven_ >= high_);
    if (!isItsItem) {
        purpose_ = Purpose::Behind;
        askedAt_ = at;
        return;
    }
    isStrict_ = isStrict_ || high_ > 1;
    mark(at, high_ == 1 && !isSure_ && hasRefused_ ? Place::Unsettled : Place::Lacking);
    beginExtension();
}

void AreaMapper::takeSingle(Verdict verdict)
{
    const Purpose purpose = std::exchange(purpose_, Purpose::Probe);
    const bool isThere = verdict == Verdict::There;
    const Place place = isThere                       ? Place::There
                        : verdict == Verdict::Unclear ? Place::Unsettled
                                                      : Place::Lacking;
    if (purpose == Purpose::Far) {
        if (!isThere) {
            mark(askedAt_, place);
            becomeLenient();
            return;
        }
        mark(askedAt_, place);
        markBlock(beside(low_), low_);
        settleExtension();
        return;
    }
    mark(askedAt_, place);
    if (purpose == Purpose::Behind) {
        // A block is refused for its size where each of its items is there.
        if (isThere)
            block_ = std::max(1, std::min(block_, high_ - 1));
        else
            isStrict_ = true;
        beginExtension();
    }
}

/// From now on nothing but single items prove anything; blocks that were read before prove nothing.
void AreaMapper::becomeLenient()
{
    isLenient_ = true;
    std::replace(places_.begin(), places_.end(), Place::ThereInBlock, Place::Unknown);
    phase_ = Phase::Probe;
    cursor_ = 0;
}

std::vector<Stretch> AreaMapper::stretches(bool there) const
{
    std::vector<Stretch> found;
    for (int at = 0; at < size(); ++at) {
        if (isThere(at) != there)
            continue;
        const int address = wish_.first + at;
        if (!found.empty() && found.back().last + 1 == address)
            found.back().last = address;
        else
            found.push_back({address, address});
    }
    return found;
}

std::vector<int> AreaMapper::unsettled() const
{
    std::vector<int> found;
    for (int at = 0; at < size(); ++at) {
        if (places_[static_cast<std::size_t>(at)] == Place::Unsettled)
            found.push_back(wish_.first + at);
    }
    return found;
}

std::vector<Place> AreaMapper::confirmedPlaces() const
{
    std::vector<Place> places = places_;
    for (const int at : silentPlaces_)
        places[static_cast<std::size_t>(at)] = Place::Unknown;
    return places;
}

int AreaMapper::countOf(Place place) const
{
    return static_cast<int>(std::count(places_.begin(), places_.end(), place));
}

double AreaMapper::progress() const
{
    const int passed = phase_ == Phase::Probe ? cursor_ : std::max(cursor_, right_);
    return end_ == MapEnd::Done ? 1 : static_cast<double>(std::min(passed, size())) / size();
}

} // namespace plc::host
