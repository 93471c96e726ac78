#include "runtime/testing/virtual_link.h"

#include <algorithm>

#include "runtime/master/trace_line.h"

namespace plc::simulation {

namespace {

using std::chrono::milliseconds;

/// Converters hand over what fits into a packet.
constexpr int kPacket = 62;
/// A host that has found nothing to do a few times looks less often, as long as nothing is ordered.
constexpr int kIdleCalls = 4;
constexpr Time kIdlePause = milliseconds(2);
constexpr int kMostStanding = 1000;
constexpr Time kLongestIdlePause = milliseconds(64);

} // namespace

VirtualLink::VirtualLink(runtime::DriverLibrary &driver, COM_INFO &info,
                         const runtime::LinkSettings &settings, Line line)
    : DirectLink(driver, info, settings), line_(line)
{}

void VirtualLink::start(const std::map<int, int> &cyclicReads, bool trace)
{
    hasTraceReader_ = trace;
    link_.begin(line_.now, cyclicReads, trace || line_.trace);
    running_ = true;
    wakeAt_ = line_.now;
}

void VirtualLink::setTrace(bool trace)
{
    hasTraceReader_ = trace;
    link_.setTrace(trace || line_.trace);
}

void VirtualLink::put(runtime::News &&news)
{
    if (news.frame) {
        if (line_.trace)
            noteFrame(*news.frame);
        if (hasTraceReader_)
            news_.push_back(std::move(news));
        return;
    }
    line_.observer.news(line_.now, news);
    news_.push_back(std::move(news));
}

/// Puts what the host traces into the journal, which has a time of its own.
void VirtualLink::noteFrame(const runtime::FrameNews &frame)
{
    // Byte by byte the host hears what the journal has anyhow; only a converter makes another story of it.
    const bool isHeard = frame.kind == runtime::FrameNews::Kind::Received;
    if (!isHeard || line_.burst > Time::zero())
        line_.journal.note(line_.now, "host", 0, Bytes(), runtime::frameText(frame).c_str());
}

void VirtualLink::setOpenOrders(int count)
{
    link_.setOpenOrders(count);
    if (count > openOrders_) {
        idleCalls_ = 0;
        wakeAt_ = std::min(wakeAt_, line_.now + kIdlePause);
    }
    openOrders_ = count;
}

void VirtualLink::wait(Time until)
{
    while (running_ && news_.empty() && line_.now < until && !line_.observer.isOver())
        step(until);
}

/// Goes on to the next event, at most to @p until.
void VirtualLink::step(Time until)
{
    if (isPortLost_) {
        stepWithoutPort(until);
        return;
    }
    const Time wake = transmitting_ ? sentAt_ : wakeAt_;
    line_.now =
        std::max(line_.now, std::min({until, wake, line_.wire.nextEnd(), line_.field.nextEvent(), flushAt_}));
    while (line_.wire.nextEnd() <= line_.now)
        deliver(line_.wire.take());
    line_.field.run(line_.now);
    if (flushAt_ <= line_.now) {
        arrived_.append(held_);
        held_.clear();
        lastHeard_ = std::max(lastHeard_, heldLast_);
        flushAt_ = Time::max();
        if (echoIsWhole_)
            line_.observer.masterHearsItself();
    }
    if (transmitting_) {
        if (line_.now < sentAt_)
            return;
        transmitting_ = false;
        lastHeard_ = std::max(lastHeard_, sentAt_);
        link_.transmitted(line_.now);
        if (arrived_.isEmpty())
            return;
    }
    if (!arrived_.isEmpty() || line_.now >= wakeAt_)
        advance();
}

void VirtualLink::losePort(Time backAt)
{
    isPortLost_ = true;
    portBackAt_ = backAt;
    transmitting_ = false;
    arrived_.clear();
    held_.clear();
    flushAt_ = Time::max();
    heldUntil_ = Time::zero();
    search_.lost(line_.now);
    link_.portLost(line_.now, "the port is lost");
    wakeAt_ = line_.now;
}

void VirtualLink::stepWithoutPort(Time until)
{
    line_.now = std::max(line_.now, std::min({until, wakeAt_, search_.nextTry(), line_.wire.nextEnd(),
                                              line_.field.nextEvent()}));
    while (line_.wire.nextEnd() <= line_.now)
        deliver(line_.wire.take());
    line_.field.run(line_.now);
    if (line_.now >= search_.nextTry() && line_.now >= portBackAt_) {
        isPortLost_ = false;
        search_.opened(line_.now);
        // Whether the line was silent until now nobody knows.
        lastHeard_ = std::max(lastHeard_, line_.now);
        echoLeft_ = 0;
        link_.portFound(line_.now);
        advance();
        return;
    }
    if (line_.now >= search_.nextTry())
        search_.absent(line_.now);
    if (line_.now >= wakeAt_)
        advance();
}

/// A byte has ended on the line.
void VirtualLink::deliver(const WireByte &byte)
{
    line_.field.hear(byte);
    if (isPortLost_)
        return;
    if (byte.source == kMaster ? !line_.echo : line_.field.isLineCut())
        return;
    line_.journal.noteHeard(byte.end, byte.value, byte.isNoise, line_.wire.silence());
    noteEcho(byte);
    if (line_.now < heldUntil_) {
        held_.append(static_cast<char>(byte.value));
        heldLast_ = byte.end;
        flushAt_ = heldUntil_;
        return;
    }
    if (line_.burst == Time::zero()) {
        if (echoIsWhole_)
            line_.observer.masterHearsItself();
        arrived_.append(static_cast<char>(byte.value));
        lastHeard_ = std::max(lastHeard_, byte.end);
        return;
    }
    if (held_.isEmpty())
        flushAt_ = byte.end + line_.burst;
    held_.append(static_cast<char>(byte.value));
    heldLast_ = byte.end;
    if (held_.size() >= kPacket)
        flushAt_ = line_.now;
}

/// A garbled byte keeps an echo from becoming whole.
void VirtualLink::noteEcho(const WireByte &byte)
{
    if (byte.source != kMaster)
        return;
    echoLeft_ -= byte.isNoise ? 0 : 1;
    echoIsWhole_ = echoLeft_ == 0;
}

void VirtualLink::advance()
{
    const bool nothingNew = arrived_.isEmpty();
    const runtime::Instruction todo = link_.advance(line_.now, std::exchange(arrived_, QByteArray()));
    wakeAt_ = todo.wakeAt;
    standing_ = todo.wakeAt > line_.now ? 0 : standing_ + 1;
    if (standing_ > kMostStanding)
        line_.observer.timeStandsStill(line_.now);
    if (!todo.send.isEmpty()) {
        idleCalls_ = 0;
        transmit(todo.send);
        return;
    }
    const bool isIdle = nothingNew && todo.wakeAt - line_.now == kIdlePause && openOrders_ == 0;
    idleCalls_ = isIdle ? idleCalls_ + 1 : 0;
    if (idleCalls_ > kIdleCalls)
        wakeAt_ =
            line_.now + std::min(kIdlePause * (1 << std::min(idleCalls_ - kIdleCalls, 5)), kLongestIdlePause);
}

void VirtualLink::transmit(const QByteArray &frame)
{
    const Bytes bytes(frame.begin(), frame.end());
    ++tag_;
    line_.observer.masterSends(line_.now, lastHeard_, bytes);
    sentAt_ = line_.field.masterSends(line_.now, bytes, tag_);
    line_.observer.masterHasSent(sentAt_);
    transmitting_ = true;
    echoLeft_ = frame.size();
    echoIsWhole_ = false;
    const std::optional<Time> late = line_.echo ? line_.field.takeLateEcho(sentAt_) : std::nullopt;
    // What is held back already must not come later still.
    if (late && heldUntil_ <= line_.now)
        heldUntil_ = *late;
    if (!line_.echo && line_.field.takeStrayEcho()) {
        arrived_.append(frame);
        lastHeard_ = sentAt_;
    }
}

} // namespace plc::simulation
