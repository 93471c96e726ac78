#include "plcruntime/testing.h"

#include <algorithm>
#include <memory>

#include "core/options.h"
#include "runtime/api/line_access.h"
#include "runtime/line/rtu_layout.h"
#include "runtime/line/setting_limits.h"
#include "runtime/testing/field.h"
#include "runtime/testing/plain_stations.h"
#include "runtime/testing/virtual_link.h"

namespace plcruntime {

namespace {

using plc::simulation::Fault;
using plc::simulation::Field;
using plc::simulation::FieldObserver;
using plc::simulation::FieldPlan;
using plc::simulation::Journal;
using plc::simulation::LinkObserver;
using plc::simulation::PlainStations;
using plc::simulation::StationPlan;
using plc::simulation::Time;
using plc::simulation::VirtualLink;
using plc::simulation::Wire;
using std::chrono::milliseconds;

constexpr int kMostValue = 65535;
constexpr int kMostExceptionCode = 255;
constexpr int kMostNoise = 10000;
constexpr int kMostPermille = 1000;
constexpr int kAnswerTimeMs = 5;
constexpr std::size_t kJournalLines = 200;
constexpr std::uint64_t kSeed = 1; ///< the same in every run
/// The latest late answer begins so long before the master stops listening for it.
constexpr Time kNotice = milliseconds(60);

Fault faultOf(Mishap mishap)
{
    switch (mishap) {
    case Mishap::LateAnswer:
        return Fault::LateReply;
    case Mishap::LostAnswer:
        return Fault::LostReply;
    case Mishap::WrongCrc:
        return Fault::WrongCrc;
    case Mishap::CutAnswer:
        return Fault::CutFrame;
    case Mishap::PauseInAnswer:
        return Fault::ByteGap;
    case Mishap::DoubledAnswer:
        return Fault::DoubledReply;
    case Mishap::WrongLength:
        return Fault::WrongLength;
    case Mishap::ForeignAnswer:
        return Fault::ForeignReply;
    case Mishap::NoiseBefore:
        return Fault::NoiseBefore;
    case Mishap::NoiseWithin:
        return Fault::NoiseWithin;
    case Mishap::NoiseAfter:
        return Fault::NoiseAfter;
    case Mishap::NoiseInRequest:
        break;
    }
    return Fault::NoiseInRequest;
}

plc::simulation::Table innerTable(Table table)
{
    switch (table) {
    case Table::Coils:
        return plc::simulation::Table::Coils;
    case Table::DiscreteInputs:
        return plc::simulation::Table::DiscreteInputs;
    case Table::InputRegisters:
        return plc::simulation::Table::InputRegisters;
    case Table::HoldingRegisters:
        break;
    }
    return plc::simulation::Table::HoldingRegisters;
}

bool isPlace(int address)
{
    return address >= 0 && address < plc::runtime::kAddresses;
}

FieldPlan fieldPlan(const LineSettings &settings)
{
    FieldPlan plan;
    plan.baud = settings.baud;
    plan.requestCrcHighFirst = plc::hasOption(settings.driverOptions, plc::kOptionSwapRequestCrc);
    plan.replyCrcHighFirst = plc::hasOption(settings.driverOptions, plc::kOptionSwapReplyCrc);
    plan.timeout = milliseconds(settings.timeoutMs);
    const int guardMs = settings.lateGuardMs < 0 ? settings.timeoutMs : settings.lateGuardMs;
    plan.lateFrom = plan.timeout + milliseconds(1);
    plan.latest = plan.timeout + milliseconds(guardMs) - kNotice;
    plan.faults = {Fault::LateReply,  Fault::LostReply,     Fault::WrongCrc,    Fault::CutFrame,
                   Fault::ByteGap,    Fault::ForeignReply,  Fault::NoiseBefore, Fault::NoiseWithin,
                   Fault::NoiseAfter, Fault::NoiseInRequest};
    return plan;
}

LineSettings polled(LineSettings settings)
{
    settings.delivery = Delivery::Poll;
    return settings;
}

/// A line needs a rate to be built, which open() refuses later on where it is none.
int usableBaud(const LineSettings &settings)
{
    return std::max(settings.baud, 1);
}

} // namespace

class SimulatedLine::Private : private FieldObserver, private LinkObserver
{
public:
    explicit Private(const LineSettings &settings)
        : wire(usableBaud(settings), kSeed), journal(kJournalLines),
          stations(plc::hasOption(settings.driverOptions, plc::kOptionSwapReplyCrc)),
          field(fieldPlan(settings), stations, wire, journal, *this, kSeed), hasEcho(settings.echo)
    {
        LineGround ground;
        ground.makeLink = [this](plc::runtime::DriverLibrary &driver, COM_INFO &info,
                                 const plc::runtime::LinkSettings &linkSettings) {
            auto made = std::make_unique<VirtualLink>(
                driver, info, linkSettings,
                plc::simulation::Line{wire, field, *this, journal, now, Time::zero(), hasEcho});
            this->link = made.get();
            return made;
        };
        ground.clock = [this] { return now; };
        line.reset(LineAccess::make(polled(settings), ground));
    }

    bool has(int station) const { return stations.has(station); }

    /// Lets the time pass where no link does it.
    void idle(Time until)
    {
        while (wire.nextEnd() <= until)
            field.hear(wire.take());
        field.run(until);
        now = until;
    }

    void passUntil(Time until)
    {
        while (now < until && line->isOpen())
            line->poll(static_cast<int>((until - now + milliseconds(1) - Time(1)) / milliseconds(1)));
        if (now < until)
            idle(until);
        line->poll(0);
    }

    Time now{};
    Time reached{}; ///< what advance() was told in all; the time is less than a millisecond ahead of it
    Wire wire;
    Journal journal;
    PlainStations stations;
    Field field;
    bool hasEcho;
    VirtualLink *link = nullptr; ///< of the open line
    std::unique_ptr<Line> line;
};

SimulatedLine::SimulatedLine(const LineSettings &settings) : d(new Private(settings)) {}

SimulatedLine::~SimulatedLine()
{
    delete d;
}

Line &SimulatedLine::line()
{
    return *d->line;
}

void SimulatedLine::addStation(int station)
{
    const plc::runtime::Limits &numbers = plc::runtime::kStationLimits;
    if (station < numbers.least || station > numbers.most || d->has(station))
        return;
    d->stations.add(station);
    StationPlan plan;
    plan.number = station;
    plan.fastest = plan.slowest = milliseconds(kAnswerTimeMs);
    plan.moveEvery = Time::zero();
    d->field.addStation(plan);
}

void SimulatedLine::setValue(int station, Table table, int address, int value)
{
    if (d->has(station) && isPlace(address) && value >= 0 && value <= kMostValue)
        d->stations.setValue(station, innerTable(table), address, static_cast<std::uint16_t>(value));
}

int SimulatedLine::value(int station, Table table, int address) const
{
    if (!d->has(station) || !isPlace(address))
        return -1;
    return d->stations.value(station, innerTable(table), address);
}

void SimulatedLine::refuse(int station, Table table, int address, int count, int exceptionCode)
{
    const bool isCode = exceptionCode >= 0 && exceptionCode <= kMostExceptionCode;
    if (d->has(station) && isPlace(address) && count > 0 && isCode)
        d->stations.refuseAt(station, innerTable(table), address, count, exceptionCode);
}

int SimulatedLine::writesDone(int station) const
{
    return d->has(station) ? d->stations.writesDone(station) : 0;
}

void SimulatedLine::setAnswerTime(int station, int milliseconds)
{
    if (d->has(station) && milliseconds >= 0)
        d->field.setAnswerTime(station, std::chrono::milliseconds(milliseconds));
}

void SimulatedLine::setDead(int station, bool isDead)
{
    if (d->has(station))
        d->field.muteStation(station, isDead ? Time::max() : d->now);
}

void SimulatedLine::silence(int station, int milliseconds)
{
    if (d->has(station) && milliseconds >= 0)
        d->field.muteStation(station, d->now + std::chrono::milliseconds(milliseconds));
}

void SimulatedLine::makeBusy(int station, int milliseconds)
{
    if (d->has(station) && milliseconds >= 0)
        d->field.makeBusy(station, d->now + std::chrono::milliseconds(milliseconds));
}

void SimulatedLine::once(int station, Mishap mishap)
{
    if (d->has(station))
        d->field.makeNext(faultOf(mishap), station);
}

void SimulatedLine::makeNoise(int bytes)
{
    if (bytes >= 1 && bytes <= kMostNoise)
        d->field.makeNoise(d->now, bytes);
}

void SimulatedLine::setEcho(bool hasEcho)
{
    d->hasEcho = hasEcho;
    if (d->line->isOpen())
        d->link->setEcho(hasEcho);
}

void SimulatedLine::cutLine(bool isCut)
{
    d->field.cutLine(isCut);
}

void SimulatedLine::pullPort()
{
    if (d->line->isOpen() && d->line->portState() == PortState::Open)
        d->link->losePort(Time::max());
}

void SimulatedLine::plugPort()
{
    if (d->line->isOpen())
        d->link->returnPort();
}

void SimulatedLine::setMishaps(int permille)
{
    if (permille < 0 || permille > kMostPermille)
        return;
    d->field.setFaultPermille(permille);
    // They are never switched off as a whole, which would revive the dead as well.
    if (permille > 0)
        d->field.setFaults(d->now, true);
}

void SimulatedLine::advance(int milliseconds)
{
    if (milliseconds < 0)
        return;
    const bool isJustAhead = d->now - d->reached < std::chrono::milliseconds(1);
    d->reached = (isJustAhead ? d->reached : d->now) + std::chrono::milliseconds(milliseconds);
    d->passUntil(d->reached);
}

qint64 SimulatedLine::nowMs() const
{
    return d->now / std::chrono::milliseconds(1);
}

QString SimulatedLine::journal() const
{
    return QString::fromLatin1(d->journal.text().c_str());
}

} // namespace plcruntime
