#include "host/finding/scan.h"

#include <algorithm>
#include <utility>

#include "runtime/line/line_timing.h"

namespace plc::host {

namespace {

using namespace std::chrono_literals; // NOLINT(google-build-using-namespace)

/// Converters hand bytes over in pieces that far apart.
constexpr Time kBetweenPieces = 20ms;
constexpr Time kMargin = 100us;
/// A line that does not fall silent for so long will not.
constexpr Time kBusyLimit = 1s;
/// With stations that were asked alone in vain; or as long as all stations take in their turn.
constexpr Time kMostForNothing = 15s;
/// Behind the last request of a setting, and as far back as rubbish may come from.
constexpr Time kLateReplies = 300ms;
constexpr Time kLongestWait = 2s;
constexpr Time kShortestLongWait = 250ms;
/// A slow station makes the others slow no further: its late reply counts as well.
constexpr int kMostGrowth = 4;
/// So many bytes or damaged characters are more than noise while nobody sends.
constexpr int kBytesInUse = 16;
/// A driver that is switched on may leave a byte in front of a good reply.
constexpr int kRubbishMeant = 2;
constexpr int kAsksToJudge = 12;

} // namespace

Scan::Scan(ScanPlan plan, ScanObserver &observer)
    : plan_(std::move(plan)), observer_(observer), hasListened_(plan_.listen <= Time::zero())
{}

ScanStep Scan::advance(Time now, const QByteArray &arrived)
{
    if (state_ != State::Opening && state_ != State::Over && !arrived.isEmpty())
        take(now, arrived);
    for (;;) {
        switch (state_) {
        case State::Opening:
            if (!replies_)
                return open(now);
            begin(now);
            break;
        case State::Listening:
            if (now < until_)
                return wake(until_);
            if (!endListening(now))
                break;
            return open(now);
        case State::Pausing:
            if (!fetch()) {
                until_ = sentUntil_ + std::max(kLateReplies, quiet());
                state_ = State::Lingering;
                break;
            }
            if (now < readyAt()) {
                if (now < pausingSince_ + quiet() + kBusyLimit)
                    return wake(std::min(readyAt(), pausingSince_ + quiet() + kBusyLimit));
                report_.isBabbling = true;
                endSetting();
                break;
            }
            return send(now);
        case State::Waiting:
            if (now < endOfWait())
                return wake(endOfWait());
            endWait();
            pausingSince_ = now;
            state_ = State::Pausing;
            break;
        case State::Lingering:
            if (!again_.empty()) {
                pausingSince_ = now;
                state_ = State::Pausing;
            } else if (now < until_) {
                return wake(until_);
            } else {
                suspectAll(replies_->drop());
                if (again_.empty())
                    endSetting();
            }
            break;
        case State::Over: {
            ScanStep step;
            step.isOver = true;
            return step;
        }
        }
    }
}

void Scan::skipSetting()
{
    replies_.reset();
    ++setting_;
    state_ = setting_ < plan_.settings.size() ? State::Opening : State::Over;
}

void Scan::stop()
{
    if (state_ == State::Pausing || state_ == State::Waiting || state_ == State::Lingering)
        endSetting();
    state_ = State::Over;
}

Time Scan::timeLeft() const
{
    const auto turn = [](const ScanSetting &setting, std::size_t stations, Time wait) {
        return static_cast<std::int64_t>(stations) * (setting.wire(kRequestHead + kCrcLen) + wait);
    };
    if (state_ == State::Over)
        return Time::zero();
    Time left = turn(setting(), plan_.stations.size() - next_, std::max(wait_, plan_.wait));
    left += static_cast<std::int64_t>(again_.size()) * std::max(4 * wait_, kShortestLongWait);
    for (std::size_t i = setting_ + 1; i < plan_.settings.size(); ++i)
        left += turn(plan_.settings[i], plan_.stations.size(), plan_.wait) + kLateReplies;
    return left;
}

Time Scan::silence() const
{
    return LineTiming(setting().baud).silence();
}

ScanStep Scan::wake(Time at) const
{
    ScanStep step;
    step.wakeAt = at;
    return step;
}

/// Asks for the port; the call of advance() behind it finds it open.
ScanStep Scan::open(Time now)
{
    state_ = State::Opening;
    replies_ = std::make_unique<ScanReplies>(plan_.function, plan_.replyDataBytes());
    ScanStep step = wake(now);
    step.open = setting();
    return step;
}

void Scan::begin(Time now)
{
    lastHeard_ = now;
    damagedCharacters_ = 0;
    if (!hasListened_) {
        const LineTiming timing(setting().baud);
        splitter_ = std::make_unique<FrameSplitter>(SplitterSettings::forLine(timing, kBetweenPieces, 2s));
        use_.bytes = 0;
        until_ = now + plan_.listen;
        state_ = State::Listening;
        return;
    }
    observer_.settingBegins(setting());
    evidence_.clear();
    next_ = 0;
    again_.clear();
    ask_.reset();
    recent_.clear();
    report_ = SettingReport();
    report_.setting = setting();
    firstAsks_ = 0;
    firstDisturbed_ = 0;
    spentForNothing_ = Time::zero();
    wait_ = plan_.wait;
    latest_ = Time::zero();
    sentUntil_ = now;
    pausingSince_ = now;
    state_ = State::Pausing;
    if (use_.setting == setting()) {
        for (const int station : use_.stations)
            evidence_[station].heardOf();
    }
}

/// @return true where the port is needed with other settings, to go on listening or to begin.
bool Scan::endListening(Time now)
{
    noteHeard(splitter_->finish());
    splitter_.reset();
    replies_.reset();
    const bool isFirst = setting_ == 0;
    use_.bytes += static_cast<int>(std::min<std::uint64_t>(damagedCharacters_, 1000000));
    use_.isInUse = use_.isInUse || use_.frames > 0 || use_.bytes >= kBytesInUse;
    if (use_.isInUse && use_.frames == 0 && setting_ + 1 < plan_.settings.size()) {
        ++setting_; // somebody talks, and not as this setting has it
        return true;
    }
    if (use_.frames > 0)
        use_.setting = setting();
    hasListened_ = true;
    observer_.heard(use_);
    if (use_.isInUse && !plan_.anyway) {
        report_ = SettingReport();
        report_.setting = setting();
        for (const int station : use_.stations)
            evidence_[station].heardOf();
        endSetting();
        state_ = State::Over;
        return false;
    }
    setting_ = 0;
    if (!isFirst)
        return true;
    replies_ = std::make_unique<ScanReplies>(plan_.function, plan_.replyDataBytes());
    begin(now);
    return false;
}

void Scan::noteHeard(const std::vector<Piece> &pieces)
{
    for (const Piece &piece : pieces) {
        if (piece.kind != PieceKind::Frame && piece.kind != PieceKind::Exception)
            continue;
        ++use_.frames;
        if (piece.role == FrameRole::Reply)
            use_.stations.insert(piece.station);
    }
}

/// @return false when nothing is left to be asked.
bool Scan::fetch()
{
    if (ask_)
        return true;
    if (!again_.empty()) {
        ask_ = again_.front();
        again_.pop_front();
        evidence_[ask_->station].isQueued = false;
    } else if (next_ < plan_.stations.size()) {
        ask_ = Ask{plan_.stations[next_++], false, true};
    }
    return ask_.has_value();
}

Time Scan::readyAt() const
{
    // What has begun may go on behind a pause.
    const Time silent =
        lastHeard_ + (replies_->isHolding() ? std::max(silence(), kBetweenPieces) : silence());
    return ask_->isAlone ? std::max({silent, lastHeard_ + kBetweenPieces, sentUntil_ + quiet()}) : silent;
}

ScanStep Scan::send(Time now)
{
    const QByteArray request = plan_.request(ask_->station);
    suspectAll(replies_->drop()); // what came while the line was waited for
    replies_->sent(request);
    evidence_[ask_->station].asked(ask_->isAlone);
    ++report_.asked;
    sentAt_ = now;
    sentUntil_ = now + setting().wire(request.size());
    lastHeard_ = sentUntil_;
    answers_ = 0;
    isDisturbed_ = false;
    recent_.emplace_front(ask_->station, sentUntil_);
    while (sentAt_ - recent_.back().second > kLongestWait)
        recent_.pop_back();
    state_ = State::Waiting;
    ScanStep step = wake(endOfWait());
    step.send = request;
    return step;
}

void Scan::take(Time now, const QByteArray &arrived)
{
    lastHeard_ = std::max(lastHeard_, now);
    if (state_ == State::Listening) {
        use_.bytes += arrived.size();
        noteHeard(splitter_->push(arrived, now));
        return;
    }
    for (const ScanReply &reply : replies_->take(arrived, now, setting().wire(1)))
        credit(reply);
}

void Scan::credit(const ScanReply &reply)
{
    const auto asked = std::find_if(recent_.begin(), recent_.end(),
                                    [&](const auto &one) { return one.first == reply.station; });
    ScanEvidence &evidence = evidence_[reply.station];
    if (asked == recent_.end() && evidence.asks() == 0) {
        evidence.heardOf(); // the reply to somebody else
        return;
    }
    if (!evidence.isFound())
        observer_.stationAnswers(setting(), reply.station);
    evidence.answered(reply);
    const Time took =
        asked == recent_.end() ? kLongestWait : std::max(reply.from - asked->second, Time::zero());
    if (state_ == State::Waiting && ask_->station == reply.station) {
        ++answers_;
        evidence.timed(took);
        wait_ = std::clamp(took + took / 4 + 5ms, wait_, kMostGrowth * plan_.wait);
        return;
    }
    evidence.cameLate();
    evidence.slowest = std::max(evidence.slowest, took);
    latest_ = std::min(std::max(latest_, took), kLongestWait);
    isDisturbed_ = true;
    follow(reply.station);
}

Time Scan::endOfWait() const
{
    // A reply that has begun in time shows only when its first character is over.
    Time end = sentUntil_ + (ask_->isAlone ? longWait(evidence_.at(ask_->station)) : wait_) +
               setting().wire(1) + kMargin;
    // A second station with the same address may answer behind the first: once all the wait is used.
    if (answers_ > 0 && !ask_->isFirst && !ask_->isAlone)
        end = lastHeard_ + silence();
    if (replies_->isHolding())
        end = std::max(end, std::min(lastHeard_ + kBetweenPieces, end + kBusyLimit));
    return end;
}

void Scan::endWait()
{
    const Ask ask = *ask_;
    ask_.reset();
    const ScanRubbish rubbish = replies_->drop();
    firstAsks_ += ask.isFirst ? 1 : 0;
    if (rubbish.count > 0) {
        ++report_.disturbed;
        firstDisturbed_ += ask.isFirst ? 1 : 0;
    }
    ScanEvidence &evidence = evidence_[ask.station];
    const bool resembles = rubbish.count > 0 && resemblesReply(rubbish, ask.station, ask.isAlone, plan_);
    if (evidence.isFound() && (answers_ != 1 || rubbish.count >= kRubbishMeant))
        evidence.disturbed();
    if (answers_ == 0 && rubbish.count > 0 && ask.isAlone) {
        const Time delay = rubbish.from - sentUntil_;
        evidence.damagedBy(rubbish, resembles, delay, countedReplyLength(plan_.replyDataBytes()));
        if (resembles)
            evidence.slowest = std::max(evidence.slowest, delay);
    } else if (answers_ == 0 && resembles) {
        evidence.disturbed(); // by its own damage, or by somebody who was late
    }
    if (answers_ == 0 && rubbish.count == 0)
        evidence.silent();
    if (ask.isAlone && answers_ == 0 && !resembles)
        spentForNothing_ += sentUntil_ - sentAt_ + longWait(evidence);
    if (!ask.isAlone && rubbish.count >= (answers_ > 0 ? kRubbishMeant : 1))
        suspectOthers(rubbish);
    if (answers_ == 0 && (isDisturbed_ || (rubbish.count > 0 && !ask.isAlone)))
        suspect(ask.station, Time::zero());
    follow(ask.station);
}

/// Bytes that came soon are not of the station that was asked last: some other one was late.
void Scan::suspectOthers(const ScanRubbish &rubbish)
{
    const bool mayBeOthers =
        rubbish.from <= sentUntil_ + silence() || rubbish.count > countedReplyLength(plan_.replyDataBytes());
    if (mayBeOthers || !resemblesReply(rubbish, recent_.front().first, false, plan_))
        suspectAll(rubbish);
}

/// Any station may have sent the bytes that was asked not long before.
void Scan::suspectAll(const ScanRubbish &rubbish)
{
    if (rubbish.count == 0)
        return;
    for (const auto &[station, since] : recent_) {
        const Time took = rubbish.from - since;
        if (took <= std::max(kLateReplies, latest_))
            suspect(station, took);
    }
}

/// Has a station asked alone that may have sent something, or may not have understood its request.
/// @param took  from its request to what it may have sent.
void Scan::suspect(int station, Time took)
{
    ScanEvidence &evidence = evidence_[station];
    evidence.slowest = std::max(evidence.slowest, took);
    const Time turn = static_cast<std::int64_t>(plan_.stations.size()) * plan_.wait;
    const bool isTooMuch = isNoisy() || spentForNothing_ > std::max(turn, kMostForNothing);
    if (!evidence.isFound() && evidence.asksAlone() == 0 && !isTooMuch)
        queue({station, true});
}

void Scan::follow(int station)
{
    const ScanEvidence &evidence = evidence_[station];
    if (evidence.asks() < evidence.asksWanted())
        queue({station, evidence.needsQuiet()});
}

void Scan::queue(const Ask &ask)
{
    ScanEvidence &evidence = evidence_[ask.station];
    if (evidence.isQueued)
        return;
    evidence.isQueued = true;
    again_.push_back(ask);
}

/// How long a station is waited for that is asked alone.
Time Scan::longWait(const ScanEvidence &evidence) const
{
    const Time needed = evidence.slowest + evidence.slowest / 2 + 2 * kBetweenPieces;
    return std::min(std::max({4 * wait_, kShortestLongWait, needed}), kLongestWait);
}

/// How long after a request others may still answer.
Time Scan::quiet() const
{
    return std::max({2 * wait_, latest_ + kBetweenPieces, kLateReplies});
}

bool Scan::isNoisy() const
{
    return firstAsks_ >= kAsksToJudge && 2 * firstDisturbed_ > firstAsks_;
}

/// Whether bytes that come to requests to @p asked are hardly noise: they do not come to others.
bool Scan::rubbishIsRare(int asked) const
{
    int alone = 0;
    int damaged = 0;
    for (const auto &[station, evidence] : evidence_) {
        if (station != asked && !evidence.isAlwaysDamaged()) {
            alone += evidence.asksAlone();
            damaged += evidence.damagedWithoutLikeness();
        }
    }
    const bool isRareInTurn = 8 * firstDisturbed_ <= firstAsks_ || firstDisturbed_ <= 2;
    return isRareInTurn && (10 * damaged <= alone || damaged <= 1);
}

void Scan::endSetting()
{
    for (const auto &[station, evidence] : evidence_) {
        Find find;
        if (evidence.conclude(rubbishIsRare(station), use_.isInUse, &find)) {
            find.station = station;
            find.setting = setting();
            report_.finds.push_back(find);
        }
    }
    report_.isNoisy = isNoisy();
    report_.hasEcho = replies_ && replies_->hasEcho();
    replies_.reset();
    evidence_.clear();
    observer_.settingEnds(report_);
    ++setting_;
    state_ = setting_ < plan_.settings.size() ? State::Opening : State::Over;
}

} // namespace plc::host
