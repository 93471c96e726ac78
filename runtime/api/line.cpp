// The public functions, each of which hands on; no exception leaves any of them.

#include <new>
#include <utility>

#include "runtime/api/line_access.h"
#include "runtime/api/line_private.h"
#include "runtime/api/reasons.h"
#include "runtime/api/settings.h"
#include "runtime/line/failure.h"
#include "runtime/panel/utf8.h"

namespace plcruntime {

namespace {

using plc::runtime::Failure;
using Lock = std::unique_lock<std::mutex>;

/// Runs @p call, the body of a public function: what it throws ends here.
/// @param line  null where there was no memory to make it.
template <typename Private, typename Call>
Error outcomeOf(Private *line, Call call)
{
    try {
        try {
            if (!line)
                throw std::bad_alloc();
            call(*line);
            return Error();
        } catch (const Error &refusal) {
            return refusal;
        } catch (const Failure &failure) {
            return plc::api::errorOf(failure);
        } catch (const std::bad_alloc &) {
            return Error(ErrorKind::Full, QString::fromLatin1("the memory is used up"));
        } catch (const std::exception &exception) {
            return Error(ErrorKind::Full, plc::runtime::fromUtf8(exception.what()));
        }
    } catch (const std::bad_alloc &) {
        return Error(ErrorKind::Full, QString()); // there is no memory for words either
    }
}

/// The same for a function that returns something else than an error.
/// @param nothing  what is returned where the call throws.
/// @param error    set to how it went; null where nobody wants to know.
template <typename Result, typename Private, typename Call>
Result resultOf(Private *line, Result nothing, Error *error, Call call)
{
    const Error ended = outcomeOf(line, [&nothing, &call](Private &itself) { nothing = call(itself); });
    if (error)
        *error = ended;
    return nothing;
}

/// The same for a function that only looks, with the lock held.
template <typename Result, typename Private, typename Call>
Result lookedUp(Private *line, Result nothing, Call call)
{
    return resultOf(line, std::move(nothing), nullptr, [&call](Private &itself) {
        const Lock lock(itself.mutex);
        return call(itself);
    });
}

} // namespace

int version()
{
    return PLCRUNTIME_VERSION;
}

Line *LineAccess::make(const LineSettings &settings, const LineGround &ground)
{
    return new Line(new Line::Private(settings, ground, nullptr, nullptr));
}

Line::Line(Private *made) : d(made) {}

Line::Line(const LineSettings &settings) : Line(settings, nullptr, nullptr) {}

Line::Line(const LineSettings &settings, PortOpener opener, void *context)
    : d([&]() -> Private * {
          try {
              return new Private(settings, LineGround(), opener, context);
          } catch (const std::exception &) {
              return nullptr;
          }
      }())
{}

Line::~Line()
{
    delete d;
}

Error Line::open()
{
    return outcomeOf(d, [](Private &line) { line.open(); });
}

void Line::close()
{
    outcomeOf(d, [](Private &line) { line.close(); });
}

bool Line::isOpen() const
{
    return lookedUp(d, false, [](const Private &line) { return line.isOpen(); });
}

void Line::setEventHandler(EventHandler handler, void *context, int wanted)
{
    outcomeOf(d, [&](Private &line) { line.setEventHandler(handler, context, wanted); });
}

int Line::poll(int timeoutMs)
{
    return resultOf(d, 0, nullptr, [&](Private &line) { return line.poll(timeoutMs); });
}

void Line::wake()
{
    outcomeOf(d, [](Private &line) { line.wake(); });
}

VariableId Line::addVariable(const VariableSettings &settings, Error *error)
{
    return resultOf(d, VariableId(0), error, [&](Private &line) {
        const Lock lock(line.mutex);
        return line.variables.add(settings, line.life != Private::Life::Closed);
    });
}

Error Line::removeVariable(VariableId id)
{
    return outcomeOf(d, [&](Private &line) {
        const Lock lock(line.mutex);
        const bool isShown = line.variables.screen().contains(id);
        if (!line.variables.remove(id))
            throw Error(ErrorKind::Usage, QString::fromLatin1("there is no variable %1").arg(id));
        if (isShown)
            line.showScreen();
    });
}

VariableId Line::findVariable(const QString &name) const
{
    return lookedUp(d, VariableId(0), [&](const Private &line) { return line.variables.find(name); });
}

QList<VariableId> Line::variables() const
{
    return lookedUp(d, QList<VariableId>(), [](const Private &line) { return line.variables.ids(); });
}

VariableSettings Line::variableSettings(VariableId id) const
{
    return lookedUp(d, VariableSettings(), [&](const Private &line) {
        const VariableSettings *const found = line.variables.settings(id);
        return found ? *found : VariableSettings();
    });
}

Error Line::showScreen(const QList<VariableId> &variables)
{
    return outcomeOf(d, [&](Private &line) {
        const Lock lock(line.mutex);
        line.variables.setScreen(variables);
        line.showScreen();
    });
}

QList<VariableId> Line::screen() const
{
    return lookedUp(d, QList<VariableId>(), [](const Private &line) { return line.variables.screen(); });
}

KnownParts LineAccess::partsOf(const Line &line, VariableId id)
{
    return lookedUp(line.d, KnownParts(),
                    [&](const Line::Private &known) { return known.variables.partsOf(id, known.now()); });
}

VariableState Line::value(VariableId id) const
{
    return lookedUp(d, VariableState(), [&](const Private &line) {
        return line.variables.state(id, line.session.get(), line.now());
    });
}

OrderId Line::write(VariableId id, const QList<Value> &values, int deadlineMs, Error *error)
{
    return resultOf(d, OrderId(0), error, [&](Private &line) {
        const Lock lock(line.mutex);
        return line.order(id, &values, deadlineMs);
    });
}

OrderId Line::readOnce(VariableId id, int deadlineMs, Error *error)
{
    return resultOf(d, OrderId(0), error, [&](Private &line) {
        const Lock lock(line.mutex);
        return line.order(id, nullptr, deadlineMs);
    });
}

Error Line::checkWrite(VariableId id, const QList<Value> &values) const
{
    return outcomeOf(d, [&](const Private &line) {
        const Lock lock(line.mutex);
        line.checkOrder(id, &values);
    });
}

Error Line::checkRead(VariableId id) const
{
    return outcomeOf(d, [&](const Private &line) {
        const Lock lock(line.mutex);
        line.checkOrder(id, nullptr);
    });
}

OrderResult Line::result(OrderId order) const
{
    return lookedUp(d, OrderResult(), [&](const Private &line) { return line.orders.result(order); });
}

OrderResult Line::wait(OrderId order, int timeoutMs)
{
    return resultOf(d, OrderResult(), nullptr, [&](Private &line) { return line.wait(order, timeoutMs); });
}

Error Line::setStationEnabled(int station, bool enabled)
{
    return outcomeOf(d, [&](Private &line) {
        const Lock lock(line.mutex);
        line.setStationEnabled(station, enabled);
    });
}

StationState Line::stationState(int station) const
{
    return lookedUp(d, StationState::On, [&](const Private &line) {
        if (line.session)
            return plc::api::publicState(line.session->stationState(station));
        return line.switchedOff.count(station) > 0 ? StationState::SwitchedOff : StationState::On;
    });
}

PortState Line::portState() const
{
    return lookedUp(d, PortState::Closed, [](const Private &line) {
        if (!line.isOpen())
            return PortState::Closed;
        return line.session->portLost().empty() ? PortState::Open : PortState::Lost;
    });
}

QString Line::portReason() const
{
    return lookedUp(d, QString(), [](const Private &line) {
        return plc::runtime::fromUtf8(line.session ? line.session->portLost() : line.lastPortLost);
    });
}

Statistics Line::statistics() const
{
    return lookedUp(d, Statistics(), [](const Private &line) { return line.statistics(); });
}

qint64 Line::nowUs() const
{
    return lookedUp(d, qint64(0), [](const Private &line) {
        return qint64(std::chrono::duration_cast<std::chrono::microseconds>(line.now()).count());
    });
}

} // namespace plcruntime
