// The machine as the panel knows it: one line, its variables by name, and what happens to them as signals.
#ifndef PANEL_MACHINE_H
#define PANEL_MACHINE_H

#include <plcruntime/plcruntime.h>

#include <QDateTime>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <QVector>

// What the numbers of a variable mean to people. The project has the places alone.
struct Meaning
{
    QString name; // end of the variable's name
    QString title, unit;
    double scale;
    int decimals;
    double low, high;             // of a gauge its ends, of an entry the limits
    double normalLow, normalHigh; // of a gauge
};
const Meaning &meaningOf(const QString &name);

// Settings of the line. Time-outs are short, so that a fault is seen soon: docs/panel.md counts how soon.
plcruntime::LineSettings panelSettings(const QString &port);

constexpr int kTrendSeconds = 300;
constexpr int kToldMs = 30000; // for how long a write that was not done is told
QString textOf(const plcruntime::OrderResult &result);

struct Alarm
{
    bool isActive() const { return !gone.isValid(); }
    QString key, text; // the key says what it is about; of two with the same the older has gone
    QDateTime came, gone;
};

class Machine : public QObject
{
    Q_OBJECT
public:
    static const QStringList kParts;  // the stations' names; the first is station 1
    static const QStringList kTrends; // variables of which samples are kept

    explicit Machine(const plcruntime::LineSettings &settings);
    ~Machine() override { line_.setEventHandler(nullptr, nullptr); }

    void start() { setPort(line_.open().text); }
    // From now on these are read, and what the panel wants to know on every page.
    void show(const QStringList &names);
    // Orders a write that must not happen later than in 5 s. Its end comes as orderEnded(), also where it is
    // refused at once; then the result is 0.
    plcruntime::OrderId write(plcruntime::VariableId id, const plcruntime::Value &value,
                              const QString &shown);

    plcruntime::Line &line() { return line_; }
    // What was ordered, and its result; the youngest first.
    const QList<QPair<QString, plcruntime::OrderResult>> &orders() const { return orders_; }
    QString portReason() const { return portReason_; } // empty while the port is there
    int scanMs() const { return scanMs_; }             // 0 while no scan was measured
    // One a second, the youngest last; NaN where nothing trustworthy was known.
    const QVector<double> &samples(int trend) const { return samples_[trend]; }
    // The active ones first, then those that have gone; in both the youngest first.
    QList<Alarm> alarms() const;

signals:
    void variableChanged(const plcruntime::VariableState &state);
    void orderEnded(const plcruntime::OrderResult &result);
    void alarmsChanged();
    void ticked(); // once a second: ages have grown

private:
    plcruntime::VariableId id(const QString &name) const { return line_.findVariable(name); }
    void take(const plcruntime::Event &event);
    void judge(const plcruntime::VariableState &state);
    void endOrder(const plcruntime::OrderResult &result);
    void setPort(const QString &reason);
    void setAlarm(const QString &key, const QString &text, bool isActive);
    void tick();

    plcruntime::Line line_;
    QList<QPair<QString, plcruntime::OrderResult>> orders_;
    QList<Alarm> alarms_;                          // the youngest first
    QHash<QString, QSharedPointer<QObject>> told_; // per variable: an order that was not done is told
    QVector<QVector<double>> samples_;
    QTimer timer_;
    QString portReason_;
    QElapsedTimer scanClock_;
    quint64 scanReadings_ = 0;
    int scanMs_ = 0;
};

#endif
