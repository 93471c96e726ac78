#include "machine.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <algorithm>
#include <functional>
#include <limits>

using namespace plcruntime;

namespace {

constexpr int kOrdersKept = 50, kAlarmsKept = 200;
constexpr int kWriteDeadlineMs = 5000, kScanMeasuredMs = 3000;

const Meaning kMeanings[] = {
    {".Line speed", "Line speed", "packs/min", 1, 0, 0, 120, 60, 110},
    {".Efficiency", "Efficiency", "%", 0.1, 1, 0, 100, 70, 100},
    {".Actual.Speed", "Speed", "rpm", 1, 0, 0, 1500, 0, 1400},
    {".Actual.Torque", "Torque", "%", 0.1, 1, 0, 120, 0, 100},
    {".Actual.Motor current", "Motor current", "A", 0.1, 1, 0, 20, 0, 16},
    {".Actual.Motor temperature", "Motor temp.", "°C", 0.1, 1, 0, 120, 5, 90},
    {".Actual.Drive temperature", "Drive temp.", "°C", 0.1, 1, 0, 100, 5, 75},
    {".Actual.Supply voltage", "Supply voltage", "V", 1, 0, 0, 500, 360, 440},
    {".Actual.Air pressure", "Air pressure", "bar", 0.01, 2, 0, 10, 5, 8},
    {".Actual.Vacuum", "Vacuum", "mbar", 1, 0, 0, 1000, 0, 900},
    {".Actual.Fill level", "Fill level", "%", 0.1, 1, 0, 100, 20, 95},
    {".Set.Nominal speed", "Nominal speed", "packs/min", 1, 0, 20, 120, 0, 0},
    {".Set.Ramp up", "Ramp up", "s", 0.1, 1, 0.5, 20, 0, 0},
    {".Set.Ramp down", "Ramp down", "s", 0.1, 1, 0.5, 20, 0, 0},
    {".Set.Torque limit", "Torque limit", "%", 0.1, 1, 10, 120, 0, 0},
    {".Set.Temperature limit", "Temp. limit", "°C", 0.1, 1, 40, 110, 0, 0},
    {".Set.Air pressure minimum", "Air pressure min.", "bar", 0.01, 2, 2, 8, 0, 0},
    {".Set.Fill level minimum", "Fill level min.", "%", 0.1, 1, 5, 80, 0, 0},
    {".Set.Restart delay", "Restart delay", "s", 1, 0, 0, 600, 0, 0},
    {"", "", "", 1, 0, 0, 0, 0, 0}, // whatever is shown as it is
};

// Bits of the alarm word, the lowest first.
const char *const kAlarmBits[] = {"Emergency stop pressed", "Guard open",    "Air pressure low",
                                  "Material empty",         "Jam at infeed", "Jam at outfeed",
                                  "Motor too warm",         "Service is due"};

} // namespace

const QStringList Machine::kParts = {"Line",     "Infeed",   "Filler",     "Capper",
                                     "Labeller", "Cartoner", "Palletiser", "Wrapper"};
const QStringList Machine::kTrends = {"Line.Line speed", "Line.Actual.Motor temperature",
                                      "Filler.Actual.Fill level"};

const Meaning &meaningOf(const QString &name)
{
    return *std::find_if(std::begin(kMeanings), std::end(kMeanings),
                         [&](const Meaning &meaning) { return name.endsWith(meaning.name); });
}

LineSettings panelSettings(const QString &port)
{
    LineSettings settings;
    settings.port = port;
    settings.baud = 38400;
    settings.timeoutMs = 300;
    settings.retries = 1;
    settings.offlineFailures = 2;
    settings.firstProbeMs = 2000;
    settings.longestProbeMs = 4000;
    return settings;
}

// In the order of OrderEnd. Where a frame went out and no answer came, nobody knows what was done.
QString textOf(const OrderResult &result)
{
    static const QStringList kEnds =
        QString("on its way|done|refused (code %1)|unknown, look again|unknown, look again|not sent|"
                "not sent: offline|not sent: switched off|not sent: no line|not sent: too late|"
                "unknown, look again|not sent|not sent|not sent: only an echo")
            .split('|');
    return QString(kEnds.value(static_cast<int>(result.end), "not done"))
        .replace("%1", QString::number(result.exceptionCode));
}

Machine::Machine(const LineSettings &settings) : line_(settings), samples_(kTrends.size())
{
    QFile file(":/packaging_line.json");
    if (!file.open(QIODevice::ReadOnly))
        qFatal("the project is not in the program");
    const QJsonArray rows = QJsonDocument::fromJson(file.readAll()).object().value("variables").toArray();
    for (const QJsonValue &row : rows) {
        VariableSettings variable;
        variable.name = row["name"].toString();
        variable.area = row["area"].toString();
        variable.address = row["address"].toString();
        variable.station = row["station"].toInt();
        variable.priority = row["rate"].toInt();
        variable.scale = meaningOf(variable.name).scale;
        Error error;
        if (line_.addVariable(variable, &error) == 0)
            qFatal("%s", qPrintable(error.text));
    }
    line_.setEventHandler([](void *self, const Event &e) { static_cast<Machine *>(self)->take(e); }, this);
    connect(&timer_, &QTimer::timeout, this, &Machine::tick);
    timer_.start(1000);
    scanClock_.start();
}

// @param reason  why there is no port; empty where there is.
void Machine::setPort(const QString &reason)
{
    portReason_ = reason;
    setAlarm("port", "No line: the port is gone", !reason.isEmpty());
}

void Machine::show(const QStringList &names)
{
    QSet<VariableId> screen = {id("Line.Alarm word")};
    for (const QString &part : kParts)
        screen.insert(id(part + ".Fault code"));
    for (const QString &name : names + kTrends)
        screen.insert(id(name));
    line_.showScreen(screen.values());
}

OrderId Machine::write(VariableId id, const Value &value, const QString &shown)
{
    Error error;
    OrderResult result;
    result.variable = id;
    result.order = line_.write(id, value, kWriteDeadlineMs, &error);
    orders_.prepend({line_.variableSettings(id).name.section('.', -1) + " = " + shown, result});
    orders_ = orders_.mid(0, kOrdersKept);
    if (result.order == 0) {
        result.end = OrderEnd::NotTaken;
        endOrder(result);
    }
    return result.order;
}

// On a thread of the library: what it tells is copied, and taken by the thread of the widgets, for which all
// that follows is a signal like any other.
void Machine::take(const Event &event)
{
    const auto later = [this](auto what) { QMetaObject::invokeMethod(this, what, Qt::QueuedConnection); };
    if (event.variable)
        later([this, state = *event.variable] { judge(state); });
    if (event.order)
        later([this, result = *event.order] { endOrder(result); });
    if (event.port)
        later([this, port = *event.port] { setPort(port.reason); });
    if (event.station) {
        later([this, change = *event.station] {
            const QString station =
                QString("%1 (station %2) ").arg(kParts[change.station - 1]).arg(change.station);
            const bool isOff = change.state == StationState::SwitchedOff;
            setAlarm(station, station + (isOff ? "is switched off" : "does not answer"),
                     change.state != StationState::On);
        });
    }
}

// A value that cannot be trusted neither raises an alarm nor ends it.
void Machine::judge(const VariableState &state)
{
    emit variableChanged(state);
    const QString name = line_.variableSettings(state.id).name;
    if (state.quality != Quality::Good)
        return;
    const int value = static_cast<int>(state.values.first().toInteger());
    if (name == "Line.Alarm word") {
        int bit = 0;
        for (const char *text : kAlarmBits)
            setAlarm(name + text, text, (value >> bit++ & 1) != 0);
    } else if (name.endsWith(".Fault code")) {
        setAlarm(name, QString("%1: fault %2").arg(name.section('.', 0, 0)).arg(value), value != 0);
    }
}

// A write that was not done is an alarm for a while, or until the same variable was written well.
void Machine::endOrder(const OrderResult &result)
{
    for (auto &[what, known] : orders_) {
        if (known.order == result.order && known.end == OrderEnd::Open)
            known = result;
    }
    const QString name = line_.variableSettings(result.variable).name;
    setAlarm("order " + name, name + ": " + textOf(result), result.end != OrderEnd::Good);
    told_[name].reset(new QObject); // which ends the time of an earlier order
    if (result.end != OrderEnd::Good)
        QTimer::singleShot(kToldMs, told_[name].data(), [=] { setAlarm("order " + name, "", false); });
    emit orderEnded(result);
}

void Machine::setAlarm(const QString &key, const QString &text, bool wanted)
{
    const auto same = [&](const Alarm &alarm) { return alarm.key == key && alarm.isActive(); };
    const auto found = std::find_if(alarms_.begin(), alarms_.end(), same);
    const bool isThere = found != alarms_.end();
    if (isThere == wanted && (!wanted || found->text == text))
        return;
    if (isThere)
        found->gone = QDateTime::currentDateTime();
    if (wanted)
        alarms_.prepend({key, text, QDateTime::currentDateTime(), QDateTime()});
    if (alarms_.size() > kAlarmsKept)
        alarms_ = alarms().mid(0, kAlarmsKept); // those that have gone go first
    emit alarmsChanged();
}

QList<Alarm> Machine::alarms() const
{
    QList<Alarm> sorted = alarms_;
    std::stable_partition(sorted.begin(), sorted.end(), std::mem_fn(&Alarm::isActive));
    return sorted;
}

void Machine::tick()
{
    // A port that is lost later is looked for by the library; one that was not there at the start is not.
    if (!line_.isOpen())
        start();
    for (int i = 0; i < kTrends.size(); ++i) {
        const VariableState state = line_.value(id(kTrends[i]));
        const bool isGood = state.quality == Quality::Good;
        samples_[i].append(isGood ? state.values.first().toDouble()
                                  : std::numeric_limits<double>::quiet_NaN());
        if (samples_[i].size() > kTrendSeconds + 1)
            samples_[i].removeFirst();
    }
    // All variables without a priority go round alike, so that one that is always read measures the scan.
    const quint64 readings = line_.value(id(kTrends[1])).readings;
    if (readings > scanReadings_ && scanClock_.hasExpired(kScanMeasuredMs)) {
        scanMs_ = static_cast<int>(scanClock_.restart() / static_cast<qint64>(readings - scanReadings_));
        scanReadings_ = readings;
    }
    emit ticked();
}
