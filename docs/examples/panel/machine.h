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
QStringList namesOf(const QString &group); // of all that begin so, as ".Set."

// Settings of the line. Time-outs are short, so that a fault is seen soon: docs/panel.md counts how soon.
plcruntime::LineSettings panelSettings(const QString &port);

constexpr int kTrendSeconds = 300;
// For how long a write that was not done is told.
constexpr int kToldMs = 30000;
QString textOf(const plcruntime::OrderResult &result);

struct OrderNote
{
    QString what;
    plcruntime::OrderResult result;
};

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
    ~Machine() override;

    void start();
    // From now on these are read, and what the panel wants to know on every page.
    void show(const QStringList &names);
    // Orders a write that must not happen later than in 5 s. Its end comes as orderEnded(), also where it is
    // refused at once; then the result is 0.
    plcruntime::OrderId write(plcruntime::VariableId id, const plcruntime::Value &value,
                              const QString &shown);

    plcruntime::Line &line() { return line_; }
    const QList<OrderNote> &orders() const { return orders_; } // the youngest first
    QString portReason() const { return portReason_; }         // empty while the port is there
    int scanMs() const { return scanMs_; }                     // 0 while no scan was measured
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
    void addVariables();
    void take(const plcruntime::Event &event);
    void judge(const plcruntime::VariableState &state);
    void endOrder(const plcruntime::OrderResult &result);
    void setPort(const QString &reason);
    void setAlarm(const QString &key, const QString &text, bool isActive);
    void tick();

    plcruntime::Line line_;
    QList<OrderNote> orders_;
    QList<Alarm> alarms_; // the youngest first
    QVector<QVector<double>> samples_;
    QTimer timer_;
    QString portReason_;
    QElapsedTimer scanClock_;
    quint64 scanReadings_ = 0;
    int scanMs_ = 0;
};

#endif
