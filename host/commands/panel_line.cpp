#include "host/commands/panel_line.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "host/commands/capture_option.h"
#include "host/commands/event_records.h"
#include "host/commands/interrupt.h"
#include "host/driver_search.h"
#include "host/option_words.h"
#include "runtime/api/line_access.h"
#include "runtime/api/public_values.h"
#include "runtime/line/failure.h"
#include "runtime/master/order_ledger.h"
#include "runtime/master/trace_line.h"
#include "runtime/panel/utf8.h"

namespace plc::host {

namespace {

/// How long Ctrl-C may go unnoticed by a call that waits for an order.
constexpr int kSliceMs = 20;

int inMs(Time time)
{
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(time).count());
}

plcruntime::Parity publicParity(Parity parity)
{
    switch (parity) {
    case Parity::Odd:
        return plcruntime::Parity::Odd;
    case Parity::None:
        return plcruntime::Parity::None;
    case Parity::Even:
        break;
    }
    return plcruntime::Parity::Even;
}

/// Bits of plcruntime::Policy that are off.
unsigned policiesOff(const Policies &policies)
{
    const std::pair<bool, plcruntime::Policy> all[] = {
        {policies.discardInput, plcruntime::PolicyDiscardInput},
        {policies.lateReplyGuard, plcruntime::PolicyLateReplyGuard},
        {policies.checkReplies, plcruntime::PolicyCheckReplies},
        {policies.strictWrites, plcruntime::PolicyStrictWrites},
        {policies.endOnException, plcruntime::PolicyEndOnException},
        {policies.endOnDamage, plcruntime::PolicyEndOnDamage},
        {policies.absoluteDeadline, plcruntime::PolicyAbsoluteDeadline},
        {policies.offline, plcruntime::PolicyOffline},
        {policies.echoCheck, plcruntime::PolicyEchoCheck}};
    unsigned off = 0;
    for (const auto &[isOn, policy] : all)
        off |= isOn ? 0u : static_cast<unsigned>(policy);
    return off;
}

plcruntime::StationSettings publicStation(int number, const StationSettings &given)
{
    plcruntime::StationSettings station;
    station.station = number;
    if (given.timeout)
        station.timeoutMs = inMs(*given.timeout);
    station.retries = given.retries.value_or(-1);
    station.pauseMs = inMs(given.pause);
    return station;
}

[[noreturn]] void fail(const plcruntime::Error &error)
{
    FailureKind kind = FailureKind::Usage;
    if (error.kind == plcruntime::ErrorKind::Driver)
        kind = FailureKind::Driver;
    const bool isPort = error.kind == plcruntime::ErrorKind::Port ||
                        error.kind == plcruntime::ErrorKind::PortAbsent ||
                        error.kind == plcruntime::ErrorKind::Interrupted;
    throw Failure(isPort ? FailureKind::Port : kind, toUtf8(error.text));
}

/// The place alone: what it is called is told besides.
std::string placeOf(const Variable &variable, int usualStation)
{
    std::string place = std::string(variable.area->name) + ":" + toUtf8(variable.address) + ":" +
                        std::to_string(variable.count);
    if (variable.format)
        place += "/" + nameOf(*variable.format);
    return place + "@" + std::to_string(variable.station.value_or(usualStation));
}

} // namespace

plcruntime::LineSettings publicSettings(const LinkSettings &link)
{
    plcruntime::LineSettings settings;
    settings.port = fromUtf8(link.port);
    settings.baud = link.baud;
    settings.parity = publicParity(link.parity);
    settings.stopBits = link.stopBits;
    settings.anyRate = link.anyRate;
    if (link.rs485) {
        settings.rs485 = true;
        settings.rs485RtsOnSend = link.rs485->rtsOnSend;
        settings.rs485BeforeMs = link.rs485->beforeMs;
        settings.rs485AfterMs = link.rs485->afterMs;
    }
    settings.timeoutMs = inMs(link.timeout);
    settings.retries = link.retries;
    // A line of the library has variables of single stations; a broadcast names station 0 itself.
    settings.station = std::max(link.station, 1);
    settings.turnaroundMs = inMs(link.turnaround);
    if (link.lateGuard)
        settings.lateGuardMs = inMs(*link.lateGuard);
    settings.maxBlock = link.maxBlock;
    settings.relay = link.linkMode != 0;
    settings.echo = link.echo;
    settings.driverOptions = link.options;
    settings.policiesOff = policiesOff(link.policies);
    settings.offlineFailures = link.offline.failures;
    settings.firstProbeMs = inMs(link.offline.firstProbe);
    settings.longestProbeMs = inMs(link.offline.longestProbe);
    settings.pollIntervalMs = inMs(link.pollInterval);
    for (const auto &[number, station] : link.stations)
        settings.stations.append(publicStation(number, station));
    settings.reopen = link.reopen;
    settings.driverFile = fromUtf8(driverToLoad(link.driverPath));
    settings.delivery = plcruntime::Delivery::Poll;
    return settings;
}

std::string traceLine(const plcruntime::Frame &frame, qint64 startUs, WallTime time)
{
    static_assert(static_cast<int>(plcruntime::FrameKind::Sent) == static_cast<int>(FrameNews::Kind::Sent) &&
                      static_cast<int>(plcruntime::FrameKind::Received) ==
                          static_cast<int>(FrameNews::Kind::Received) &&
                      static_cast<int>(plcruntime::FrameKind::Discarded) ==
                          static_cast<int>(FrameNews::Kind::Discarded) &&
                      static_cast<int>(plcruntime::FrameKind::AttemptEnd) ==
                          static_cast<int>(FrameNews::Kind::AttemptEnd),
                  "the same kinds");
    FrameNews news;
    news.kind = static_cast<FrameNews::Kind>(frame.kind);
    news.sinceStart = std::chrono::microseconds(frame.atUs - startUs);
    news.bytes = frame.bytes;
    news.attempt = frame.attempt;
    news.count = frame.count;
    news.text = toUtf8(frame.text);
    constexpr int kMicroseconds = 6;
    return isoTime(time, kMicroseconds) + " " + traceLine(news);
}

Values valuesOf(const Variable &variable, const QByteArray &raw)
{
    const Unit unit = variable.area->unit;
    return decodeValues(turnedRound(raw, unit), unit, raw.size() / bytesOf(unit));
}

PanelLine::PanelLine(const LinkSettings &link, LineManner manner)
    : manner_(std::move(manner)), usualStation_(link.station), port_(link.port), lineSettings_(link),
      hasEcho_(link.echo)
{
    plcruntime::LineSettings settings = publicSettings(link);
    settings.realTime = manner_.realtime;
    settings.separateReads = manner_.separateReads;
    plcruntime::LineGround ground;
    ground.isCancelled = isInterrupted;
    ground.rows = manner_.rows;
    ground.readOnly = manner_.readOnly;
    ground.holes = link.holes;
    ground.listener = manner_.newsListener;
    if (!manner_.captureFile.empty())
        ground.wrapPort = [slot = capture_](std::unique_ptr<Port> port) {
            return captured(std::move(port), *slot);
        };
    line_.reset(plcruntime::LineAccess::make(settings, ground));
    wantEvents(manner_.verbose);
}

/// What the end of the line would still tell, nobody is there to hear.
PanelLine::~PanelLine()
{
    line_->setEventHandler(nullptr, nullptr);
    line_.reset();
    finishCapture(capture_->get());
}

void PanelLine::wantEvents(bool withFrames)
{
    line_->setEventHandler(&PanelLine::take, this,
                           plcruntime::EventStation | plcruntime::EventPort | plcruntime::EventLog |
                               (withFrames ? plcruntime::EventFrame : 0));
}

void PanelLine::traceFrames()
{
    wantEvents(true);
}

VariableId PanelLine::add(const Variable &variable)
{
    plcruntime::VariableSettings settings;
    settings.place = fromUtf8(placeOf(variable, usualStation_));
    settings.name = fromUtf8(variable.text);
    plcruntime::Error error;
    const VariableId id = line_->addVariable(settings, &error);
    if (id == 0)
        fail(error);
    variables_.emplace(id, variable);
    return id;
}

void PanelLine::show(const std::vector<VariableId> &variables)
{
    QList<VariableId> screen;
    for (const VariableId id : variables)
        screen.append(id);
    if (const plcruntime::Error error = line_->showScreen(screen))
        fail(error);
}

void PanelLine::checkNumber(std::size_t orders)
{
    if (orders > OrderLedger::kMostOpen)
        throw Failure(FailureKind::Usage, std::to_string(orders) + " values are asked for at once; at most " +
                                              std::to_string(OrderLedger::kMostOpen) + " are possible");
}

void PanelLine::checkRead(VariableId id) const
{
    if (const plcruntime::Error error = line_->checkRead(id))
        fail(error);
}

void PanelLine::checkWrite(VariableId id, const Values &values) const
{
    if (const plcruntime::Error error = line_->checkWrite(id, publicValues(id, values)))
        fail(error);
}

void PanelLine::open()
{
    // Before, a signal ends the program by itself, however long a file takes: there is nothing to put back.
    if (manner_.captureFile == "-")
        throw Failure(FailureKind::Usage,
                      "--capture: - is for listen; here values go to standard output, so name a file");
    *capture_ = openCapture(manner_.captureFile, lineSettings_, hasEcho_);
    catchInterrupts();
    const plcruntime::Error error = line_->open();
    if (!error)
        return;
    line_->poll(0); // what the port had to say
    fail(error);
}

void PanelLine::close()
{
    line_->close();
}

OrderId PanelLine::read(VariableId id)
{
    plcruntime::Error error;
    const OrderId order = line_->readOnce(id, -1, &error);
    if (order == 0)
        fail(error);
    return order;
}

OrderId PanelLine::write(VariableId id, const Values &values)
{
    plcruntime::Error error;
    const OrderId order = line_->write(id, publicValues(id, values), -1, &error);
    if (order == 0)
        fail(error);
    return order;
}

OrderResult PanelLine::await(OrderId order)
{
    OrderResult result = line_->result(order);
    while (result.end == OrderEnd::Open && !isInterrupted() && portLost().empty())
        result = line_->wait(order, kSliceMs);
    return result;
}

void PanelLine::poll(Time until)
{
    line_->poll(inMs(std::max(until - steadyNow(), Time::zero())));
}

Row PanelLine::rowOf(VariableId id, const Variable &variable, int station, const VariableState &state) const
{
    Row row = plc::host::rowOf(variable, station, state);
    if (row.values)
        return row;
    const plcruntime::KnownParts parts = plcruntime::LineAccess::partsOf(*line_, id);
    if (parts.missing.empty())
        return row;
    row.values = valuesOf(variable, parts.raw);
    row.missing = parts.missing;
    row.age = std::chrono::milliseconds(parts.ageMs);
    return row;
}

void PanelLine::setStationEnabled(int station, bool enabled)
{
    if (const plcruntime::Error error = line_->setStationEnabled(station, enabled))
        fail(error);
}

WallTime PanelLine::wallTime(qint64 momentUs) const
{
    return manner_.wallClock() - std::chrono::microseconds(line_->nowUs() - momentUs);
}

WallTime PanelLine::endOf(const OrderResult &result) const
{
    return result.end == OrderEnd::Open ? manner_.wallClock() : wallTime(result.endedUs);
}

std::string PanelLine::portLost() const
{
    return toUtf8(line_->portReason());
}

/// The library wants raw numbers: scales are this program's own affair.
QList<plcruntime::Value> PanelLine::publicValues(VariableId id, const Values &values) const
{
    Variable variable = variables_.at(id);
    variable.meaning.reset();
    variable.count = valueCount(variable, values);
    return api::publicValues(variable, encodeValues(values, variable.area->unit));
}

void PanelLine::take(void *context, const plcruntime::Event &event)
{
    PanelLine &self = *static_cast<PanelLine *>(context);
    // Frames that only the screen has asked for are none of the log's.
    if (self.manner_.onRecord && (!event.frame || self.manner_.verbose))
        self.manner_.onRecord(recordOf(event, self.wallTime(event.atUs), self.openedAt(), self.port_));
    if (event.frame)
        self.tell(*event.frame);
    if (event.log)
        self.tell(*event.log);
    if (event.station && self.manner_.onStation)
        self.manner_.onStation(*event.station);
    if (event.port && self.manner_.onPort)
        self.manner_.onPort(*event.port);
}

void PanelLine::tell(const plcruntime::LogLine &line)
{
    if (!line.isWarning && !manner_.verbose)
        return;
    const std::string text = "plchost: " + inOptions(toUtf8(line.text));
    if (manner_.onLine)
        manner_.onLine(text);
    else
        std::fprintf(stderr, "%s\n", text.c_str());
}

void PanelLine::tell(const plcruntime::Frame &frame)
{
    const std::string text = traceLine(frame, openedAt(), wallTime(frame.atUs));
    if (manner_.onTrace)
        manner_.onTrace(text);
    else
        std::fprintf(stderr, "%s\n", text.c_str());
}

/// When the line was opened, as its own clock has it.
qint64 PanelLine::openedAt()
{
    if (!openedAt_)
        openedAt_ = line_->nowUs() - line_->statistics().runningUs;
    return *openedAt_;
}

} // namespace plc::host
