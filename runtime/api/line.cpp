// The public functions, each of which takes the lock and hands on.

#include <new>

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

void give(Error *to, const Error &error)
{
    if (to)
        *to = error;
}

/// Runs @p call.
/// @return what it returns, or @p otherwise with @p error set where it fails.
template <typename Result, typename Call>
Result guarded(Error *error, Result otherwise, Call call)
{
    give(error, Error());
    try {
        return call();
    } catch (const Error &refusal) {
        give(error, refusal);
    } catch (const Failure &failure) {
        give(error, plc::api::errorOf(failure));
    } catch (const std::bad_alloc &) {
        give(error, Error(ErrorKind::Full, QString::fromLatin1("the memory is used up")));
    }
    return otherwise;
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

Line::Line(const LineSettings &settings) : d(new Private(settings, LineGround(), nullptr, nullptr)) {}

Line::Line(const LineSettings &settings, PortOpener opener, void *context)
    : d(new Private(settings, LineGround(), opener, context))
{}

Line::~Line()
{
    delete d;
}

Error Line::open()
{
    return d->open();
}

void Line::close()
{
    d->close();
}

bool Line::isOpen() const
{
    const Lock lock(d->mutex);
    return d->isOpen();
}

void Line::setEventHandler(EventHandler handler, void *context, int wanted)
{
    d->setEventHandler(handler, context, wanted);
}

int Line::poll(int timeoutMs)
{
    return d->poll(timeoutMs);
}

void Line::wake()
{
    d->wake();
}

VariableId Line::addVariable(const VariableSettings &settings, Error *error)
{
    const Lock lock(d->mutex);
    return guarded(error, VariableId(0),
                   [&] { return d->variables.add(settings, d->life != Private::Life::Closed); });
}

Error Line::removeVariable(VariableId id)
{
    const Lock lock(d->mutex);
    const bool isShown = d->variables.screen().contains(id);
    if (!d->variables.remove(id))
        return Error(ErrorKind::Usage, QString::fromLatin1("there is no variable %1").arg(id));
    if (isShown)
        d->showScreen();
    return Error();
}

VariableId Line::findVariable(const QString &name) const
{
    const Lock lock(d->mutex);
    return d->variables.find(name);
}

QList<VariableId> Line::variables() const
{
    const Lock lock(d->mutex);
    return d->variables.ids();
}

VariableSettings Line::variableSettings(VariableId id) const
{
    const Lock lock(d->mutex);
    const VariableSettings *const found = d->variables.settings(id);
    return found ? *found : VariableSettings();
}

Error Line::showScreen(const QList<VariableId> &variables)
{
    const Lock lock(d->mutex);
    Error error;
    guarded(&error, 0, [&] {
        d->variables.setScreen(variables);
        d->showScreen();
        return 0;
    });
    return error;
}

QList<VariableId> Line::screen() const
{
    const Lock lock(d->mutex);
    return d->variables.screen();
}

VariableState Line::value(VariableId id) const
{
    const Lock lock(d->mutex);
    return d->variables.state(id, d->session.get(), d->now());
}

OrderId Line::write(VariableId id, const QList<Value> &values, int deadlineMs, Error *error)
{
    const Lock lock(d->mutex);
    return guarded(error, OrderId(0), [&] { return d->order(id, &values, deadlineMs); });
}

OrderId Line::readOnce(VariableId id, int deadlineMs, Error *error)
{
    const Lock lock(d->mutex);
    return guarded(error, OrderId(0), [&] { return d->order(id, nullptr, deadlineMs); });
}

Error Line::checkWrite(VariableId id, const QList<Value> &values) const
{
    const Lock lock(d->mutex);
    return d->checkOrder(id, &values);
}

Error Line::checkRead(VariableId id) const
{
    const Lock lock(d->mutex);
    return d->checkOrder(id, nullptr);
}

OrderResult Line::result(OrderId order) const
{
    const Lock lock(d->mutex);
    return d->orders.result(order);
}

OrderResult Line::wait(OrderId order, int timeoutMs)
{
    return d->wait(order, timeoutMs);
}

Error Line::setStationEnabled(int station, bool enabled)
{
    const Lock lock(d->mutex);
    Error error;
    guarded(&error, 0, [&] {
        d->setStationEnabled(station, enabled);
        return 0;
    });
    return error;
}

StationState Line::stationState(int station) const
{
    const Lock lock(d->mutex);
    if (d->session)
        return plc::api::publicState(d->session->stationState(station));
    return d->switchedOff.count(station) > 0 ? StationState::SwitchedOff : StationState::On;
}

PortState Line::portState() const
{
    const Lock lock(d->mutex);
    if (!d->isOpen())
        return PortState::Closed;
    return d->session->portLost().empty() ? PortState::Open : PortState::Lost;
}

QString Line::portReason() const
{
    const Lock lock(d->mutex);
    return plc::runtime::fromUtf8(d->session ? d->session->portLost() : d->lastPortLost);
}

Statistics Line::statistics() const
{
    const Lock lock(d->mutex);
    return d->statistics();
}

qint64 Line::nowUs() const
{
    const Lock lock(d->mutex);
    return std::chrono::duration_cast<std::chrono::microseconds>(d->now()).count();
}

} // namespace plcruntime
