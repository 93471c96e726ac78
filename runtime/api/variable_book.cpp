#include "runtime/api/variable_book.h"

#include <algorithm>
#include <set>
#include <utility>

#include "runtime/api/public_values.h"
#include "runtime/api/reasons.h"
#include "runtime/api/settings.h"
#include "runtime/line/failure.h"
#include "runtime/panel/packing.h"
#include "runtime/panel/pieces.h"
#include "runtime/panel/registration.h"
#include "runtime/panel/utf8.h"

namespace plc::api {

namespace {

using runtime::Failure;
using runtime::FailureKind;
using runtime::Time;

[[noreturn]] void refuse(const std::string &what)
{
    throw Failure(FailureKind::Usage, what);
}

bool touches(const runtime::Variable &written, const runtime::Variable &read)
{
    return written.station == read.station && written.area->baseType == read.area->baseType &&
           written.baseFirst() < read.baseFirst() + read.baseCount() &&
           read.baseFirst() < written.baseFirst() + written.baseCount();
}

} // namespace

VariableBook::Id VariableBook::add(const plcruntime::VariableSettings &settings, bool isOpen)
{
    if (settings.priority < 0 || settings.priority > 4)
        refuse("a priority is 1 to 4, or 0 for none, not " + std::to_string(settings.priority));
    if (settings.priority > 0 && isOpen)
        refuse("a variable that is added while the line is open has no priority: the driver takes "
               "priorities once, before it starts; add it before open(), or without a priority");
    Entry entry;
    entry.settings = settings;
    entry.variable = variableOf(settings, line_);
    entry.settings.place = runtime::fromUtf8(entry.variable.text);
    if (!entry.variable.label.empty())
        entry.variable.text = entry.variable.label;
    entries_.emplace(++last_, std::move(entry));
    return last_;
}

bool VariableBook::remove(Id id)
{
    screen_.removeAll(id);
    return entries_.erase(id) > 0;
}

VariableBook::Id VariableBook::find(const QString &name) const
{
    for (const auto &[id, entry] : entries_) {
        if (entry.settings.name == name && !name.isEmpty())
            return id;
    }
    return 0;
}

QList<VariableBook::Id> VariableBook::ids() const
{
    QList<Id> ids;
    for (const auto &[id, entry] : entries_)
        ids.append(id);
    return ids;
}

const plcruntime::VariableSettings *VariableBook::settings(Id id) const
{
    const auto found = entries_.find(id);
    return found == entries_.end() ? nullptr : &found->second.settings;
}

const runtime::Variable *VariableBook::variable(Id id) const
{
    const auto found = entries_.find(id);
    return found == entries_.end() ? nullptr : &found->second.variable;
}

void VariableBook::setScreen(const QList<Id> &ids)
{
    std::set<Id> given;
    QList<Id> screen;
    for (const Id id : ids) {
        const runtime::Variable *const wanted = variable(id);
        if (!wanted)
            refuse("there is no variable " + std::to_string(id) + " to be shown");
        if (wanted->station == 0)
            refuse("variable '" + wanted->text + "' cannot be shown: nobody answers a read of station 0");
        if (given.insert(id).second)
            screen.append(id);
    }
    screen_ = screen;
}

/// Where memory runs out, what was shown before is shown still.
void VariableBook::show(runtime::Session &session)
{
    std::vector<Id> shown(screen_.begin(), screen_.end());
    std::vector<Entry *> entries;
    std::vector<runtime::Variable> variables;
    for (const Id id : shown) {
        entries.push_back(&entries_.at(id));
        variables.push_back(entries.back()->variable);
    }
    auto reads = std::make_unique<runtime::GroupedReads>(variables, rows_, session.settings());
    std::vector<Entry *> before;
    for (const Id id : shown_) {
        const auto found = entries_.find(id);
        if (found == entries_.end())
            continue;
        fold(&found->second, session);
        before.push_back(&found->second);
    }
    session.setLevelStations(runtime::levelStations(variables, rows_, session.settings()));
    session.setCyclicReads(readsBefore(variables, session.settings()));
    pacedBy_ = 0;
    const int former = std::exchange(generation_, session.show(variables));
    for (Entry *const entry : before)
        entry->shown = -1;
    for (std::size_t i = 0; i < entries.size(); ++i)
        entries[i]->shown = static_cast<int>(i);
    former_ = {std::move(reads_), std::exchange(shown_, std::move(shown)), former};
    reads_ = std::move(reads);
}

/// Reads of a scan by station, as far as they are known before the first scan.
std::map<int, int> VariableBook::readsBefore(const std::vector<runtime::Variable> &variables,
                                             const runtime::LinkSettings &settings)
{
    std::map<int, int> reads;
    if (!settings.separateReads)
        return reads;
    for (const runtime::ReadSpan &read : runtime::readsOfEach(variables, settings))
        ++reads[read.station];
    return reads;
}

std::vector<runtime::PriorityRow> VariableBook::priorityRows() const
{
    std::vector<runtime::Variable> variables;
    std::vector<int> priorities;
    for (const auto &[id, entry] : entries_) {
        variables.push_back(entry.variable);
        priorities.push_back(entry.settings.priority);
    }
    return runtime::rateRows(variables, priorities);
}

/// Once every part of the screen has been asked for, it is known what a scan is made of.
void VariableBook::pace(runtime::Session &session)
{
    const runtime::RequestMap &requests = reads_->requests();
    if (session.settings().pollInterval == Time::zero() || requests.requestCount() == pacedBy_)
        return;
    for (int i = 0; i < requests.variableCount(); ++i) {
        if (!requests.isCovered(i))
            return;
    }
    std::map<int, int> byStation;
    for (int i = 0; i < requests.requestCount(); ++i)
        byStation[requests.place(i).station] += requests.level(i) == 0 ? 1 : 0;
    pacedBy_ = requests.requestCount();
    session.setCyclicReads(byStation);
}

VariableBook::Changes VariableBook::note(const runtime::News &news, runtime::Session &session)
{
    Changes changes;
    if (!reads_)
        return changes;
    if (former_.reads && news.transaction && news.screen == former_.generation) {
        const std::optional<int> request =
            former_.reads->note(news, session.stationState(news.transaction->request.station));
        if (request)
            changes = noteFormer(*request, session);
    }
    if (news.station)
        reads_->interrupt(news.station->station);
    if (news.port && news.port->change == runtime::PortNews::Change::Lost)
        reads_->interrupt(-1);
    if (news.transaction && news.screen == generation_) {
        const std::optional<int> request =
            reads_->note(news, session.stationState(news.transaction->request.station));
        if (request)
            changes = noteRequest(*request, session);
    }
    if (news.station || news.port) {
        const Changes more = look(&session, session.now());
        changes.insert(changes.end(), more.begin(), more.end());
    }
    return changes;
}

/// A request of the screen has ended.
VariableBook::Changes VariableBook::noteRequest(int request, runtime::Session &session)
{
    pace(session);
    const Time now = session.now();
    Changes changes;
    for (const int number : reads_->requests().variablesOf(request)) {
        const Id id = shown_[static_cast<std::size_t>(number)];
        const auto found = entries_.find(id);
        if (found == entries_.end())
            continue;
        const runtime::WatchStatus status = statusOf(found->second, &session, now);
        VariableChange change;
        change.id = id;
        change.value = take(id, &found->second, status, session, now);
        if (!found->second.hasValue)
            takePartial(&found->second, session);
        change.quality = noteQuality(&found->second, status);
        if (change.value || change.quality)
            changes.push_back(change);
    }
    return changes;
}

VariableBook::Changes VariableBook::noteWritten(const runtime::Variable &written, bool isGood,
                                                const runtime::Session &session)
{
    const Time now = session.now();
    Changes changes;
    for (const Id id : std::exchange(putOff_, {})) {
        const auto found = entries_.find(id);
        if (found == entries_.end())
            continue;
        Entry &entry = found->second;
        if (!touches(written, entry.variable)) {
            putOff_.insert(id);
            continue;
        }
        // What was not done, or nobody knows, stands in the mirror until the next reading.
        VariableChange change;
        change.id = id;
        change.value = isGood && take(id, &entry, statusOf(entry, &session, now), session, now);
        if (change.value)
            changes.push_back(change);
    }
    return changes;
}

/// A request of the screen before has ended, which was under way when the screen changed.
VariableBook::Changes VariableBook::noteFormer(int request, runtime::Session &session)
{
    const Time now = session.now();
    Changes changes;
    for (const int number : former_.reads->requests().variablesOf(request)) {
        const Id id = former_.shown[static_cast<std::size_t>(number)];
        const auto found = entries_.find(id);
        if (found == entries_.end())
            continue;
        Entry &entry = found->second;
        const runtime::WatchStatus read =
            former_.reads->status(number, now, timeoutOf(*entry.variable.station, &session));
        VariableChange change;
        change.id = id;
        change.value = take(id, &entry, read, session, now);
        entry.lastRead = read.last;
        change.quality = noteQuality(&entry, statusOf(entry, &session, now));
        if (change.value || change.quality)
            changes.push_back(change);
    }
    return changes;
}

/// Takes the values from the mirror where the last reading was a complete good one.
/// @return whether they have changed.
/// @param now  that the status was asked for with.
bool VariableBook::take(Id id, Entry *entry, const runtime::WatchStatus &status,
                        const runtime::Session &session, Time now)
{
    if (!status.hasValue || status.last.end != runtime::OrderEnd::Good)
        return false;
    // The mirror is ahead of the news: with a write under way it may have what no station has said.
    if (session.isBeingWritten(entry->variable)) {
        putOff_.insert(id);
        return false;
    }
    entry->isInPieces = status.isInPieces;
    QByteArray bytes = session.bytes(entry->variable);
    const bool isNew = !entry->hasValue || bytes != entry->bytes;
    entry->bytes = std::move(bytes);
    entry->hasValue = true;
    entry->readAt = now - status.age;
    return isNew;
}

/// Takes from the mirror what the good ones among the requests of a variable have brought.
void VariableBook::takePartial(Entry *entry, const runtime::Session &session) const
{
    const runtime::Variable &variable = entry->variable;
    // A register of a variable of bits holds several of its values, none of which lies in two requests.
    if (variable.area->insideRegister || session.isBeingWritten(variable))
        return;
    const auto reads = reads_->goodReads(entry->shown);
    if (reads.empty())
        return;
    std::vector<bool> isKnown(static_cast<std::size_t>(variable.baseCount()), false);
    Time oldest = reads.front().at;
    for (const auto &read : reads) {
        const int from = std::max(read.place.first - variable.baseFirst(), 0);
        const int to =
            std::min(read.place.first + read.place.count - variable.baseFirst(), variable.baseCount());
        for (int unit = from; unit < to; ++unit)
            isKnown[static_cast<std::size_t>(unit)] = true;
        oldest = std::min(oldest, read.at);
    }
    const std::ptrdiff_t each = variable.baseCount() / variable.count;
    Partial partial{session.bytes(variable), {}, oldest};
    for (int value = 0; value < variable.count; ++value) {
        const auto first = isKnown.begin() + value * each;
        partial.missing.push_back(std::find(first, first + each, false) != first + each);
    }
    if (std::find(partial.missing.begin(), partial.missing.end(), false) != partial.missing.end())
        entry->partial = std::move(partial);
}

VariableBook::Changes VariableBook::noteReading(Id id, const runtime::OrderResult &result,
                                                runtime::Session &session)
{
    const auto found = entries_.find(id);
    if (found == entries_.end())
        return {};
    Entry &entry = found->second;
    VariableChange change;
    change.id = id;
    if (result.end == runtime::OrderEnd::Good && !session.isBeingWritten(entry.variable)) {
        const QByteArray bytes = session.bytes(entry.variable);
        change.value = !entry.hasValue || bytes != entry.bytes;
        entry.bytes = bytes;
        entry.hasValue = true;
        entry.isInPieces = runtime::cutsValues(entry.variable, session.settings());
        entry.readAt = session.now();
    }
    // Of one that was never sent nothing is learned.
    if (result.attempts > 0 || result.end == runtime::OrderEnd::Good)
        entry.lastRead = result;
    change.quality = noteQuality(&entry, statusOf(entry, &session, session.now()));
    return {change};
}

VariableBook::Changes VariableBook::notePending(Id id, int change, const runtime::Session *session, Time now)
{
    const auto found = entries_.find(id);
    if (found == entries_.end())
        return {};
    found->second.pendingWrites += change;
    VariableChange told;
    told.id = id;
    told.quality = noteQuality(&found->second, statusOf(found->second, session, now));
    return told.quality ? Changes{told} : Changes();
}

VariableBook::Changes VariableBook::look(const runtime::Session *session, Time now)
{
    Changes changes;
    for (auto &[id, entry] : entries_) {
        if (noteQuality(&entry, statusOf(entry, session, now)))
            changes.push_back({id, false, true});
    }
    return changes;
}

void VariableBook::keep(const runtime::Session &session)
{
    for (auto &[id, entry] : entries_) {
        fold(&entry, session);
        entry.shown = -1;
        entry.pendingWrites = 0;
    }
    shown_.clear();
    reads_.reset();
    former_ = {};
    putOff_.clear();
    generation_ = 0;
}

/// Whether the quality differs from what was told last; from now on it is what was told.
bool VariableBook::noteQuality(Entry *entry, const runtime::WatchStatus &status)
{
    const plcruntime::Quality quality = publicQuality(status.state);
    const bool isPending = entry->pendingWrites > 0;
    const bool isNew = quality != entry->toldQuality || isPending != entry->toldPending;
    entry->toldQuality = quality;
    entry->toldPending = isPending;
    return isNew;
}

/// What the screen knows of a variable is kept for the time when it is on no screen.
void VariableBook::fold(Entry *entry, const runtime::Session &session)
{
    if (entry->shown < 0 || !reads_)
        return;
    const Time timeout = session.settings().rulesOf(*entry->variable.station).responseTimeout;
    const runtime::WatchStatus status = reads_->status(entry->shown, session.now(), timeout);
    if (status.last.end != runtime::OrderEnd::Open)
        entry->lastRead = status.last;
}

/// The screen's own reads, and where they know nothing yet, what was known before.
runtime::WatchStatus VariableBook::statusOf(const Entry &entry, const runtime::Session *session,
                                            Time now) const
{
    const int station = entry.variable.station.value_or(0);
    const Time timeout = timeoutOf(station, session);
    runtime::WatchStatus status;
    if (entry.shown >= 0 && reads_)
        status = reads_->status(entry.shown, now, timeout);
    const bool isKnownBetter = entry.hasValue && (!status.hasValue || now - entry.readAt < status.age);
    if (isKnownBetter) {
        status.hasValue = true;
        status.age = now - entry.readAt;
    }
    const bool isUnasked = status.last.end == runtime::OrderEnd::Open;
    const bool saysNothing =
        status.state == runtime::VariableState::NeverRead || status.state == runtime::VariableState::Stale;
    if (isUnasked && (saysNothing || !status.hasValue))
        status.last = entry.lastRead;
    if (isKnownBetter ? saysNothing : isUnasked && !status.hasValue)
        status.state = runtime::stateOf(entry.lastRead.end);
    const bool isOld = isKnownBetter && saysNothing && status.age > runtime::staleAtLeast(timeout);
    if (isOld && status.state == runtime::VariableState::Good)
        status.state = runtime::VariableState::Stale;
    if (session)
        runtime::overrule(&status, session->stationState(station), !session->portLost().empty());
    return status;
}

Time VariableBook::timeoutOf(int station, const runtime::Session *session) const
{
    return session ? session->settings().rulesOf(station).responseTimeout
                   : Time(std::chrono::milliseconds(line_.timeoutMs));
}

plcruntime::KnownParts VariableBook::partsOf(Id id, Time now) const
{
    plcruntime::KnownParts parts;
    const auto found = entries_.find(id);
    if (found == entries_.end() || found->second.hasValue || found->second.partial.missing.empty())
        return parts;
    const Partial &known = found->second.partial;
    parts.raw = runtime::turnedRound(known.bytes, found->second.variable.area->unit);
    parts.missing = known.missing;
    parts.ageMs = std::chrono::duration_cast<std::chrono::milliseconds>(now - known.readAt).count();
    return parts;
}

plcruntime::VariableState VariableBook::state(Id id, const runtime::Session *session, Time now) const
{
    plcruntime::VariableState state;
    const auto found = entries_.find(id);
    if (found == entries_.end())
        return state;
    const Entry &entry = found->second;
    const runtime::WatchStatus status = statusOf(entry, session, now);
    state.id = id;
    state.quality = publicQuality(status.state);
    state.pendingWrite = entry.pendingWrites > 0;
    state.onScreen = entry.shown >= 0 || screen_.contains(id);
    if (entry.hasValue) {
        state.values = publicValues(entry.variable, entry.bytes);
        state.raw = runtime::turnedRound(entry.bytes, entry.variable.area->unit);
        state.inPieces = entry.isInPieces;
        state.ageMs = std::chrono::duration_cast<std::chrono::milliseconds>(now - entry.readAt).count();
    }
    state.lastRead = publicEnd(status.last.end);
    state.readings = status.scans;
    if (status.state == runtime::VariableState::Refused)
        state.exceptionCode = status.last.exceptionCode;
    const int station = entry.variable.station.value_or(0);
    state.reason =
        reasonOf(status, station, timeoutOf(station, session), session ? session->portLost() : std::string());
    return state;
}

} // namespace plc::api
