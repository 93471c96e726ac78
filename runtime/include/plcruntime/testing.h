/// @file
/// Simulated stations, faults and a line that needs no waiting, for the tests of programs that use the
/// library.
///
/// A plcruntime::SimulatedLine has a Line without a port, and everything that such a line has at its other
/// end. Time stands still until the test lets it pass, and then costs nothing: an hour is over in a moment,
/// and each run is the same as the last.
///
///     SimulatedLine bench(settings);
///     bench.addStation(7);
///     bench.setValue(7, Table::HoldingRegisters, 200, 1234);
///     VariableId speed = bench.line().addVariable("4x:200@7");
///     bench.line().showScreen(QList<VariableId>() << speed);
///     bench.line().open();
///     bench.advance(1000);
///     ... bench.line().value(speed).quality is Quality::Good ...
///     bench.setDead(7);
///     bench.advance(10000);
///     ... and now it is Quality::Offline ...
///
/// All calls on one thread; the Line delivers its events inside advance(), as with Delivery::Poll. Numbers
/// out of their range, and stations that were not added, leave everything as it is.
///
/// Link with `plcdriver::runtime_testing` (CMake) or `plcruntime_testing` (pkg-config). It is a library of
/// its own: no panel carries it, and its binary interface may change with each version.
#ifndef PLCRUNTIME_TESTING_H
#define PLCRUNTIME_TESTING_H

#include <plcruntime/plcruntime.h>

namespace plcruntime {

/// The four tables of a station, each with places 0 to 65535.
enum class Table
{
    Coils,           ///< "0x", bits
    DiscreteInputs,  ///< "1x", bits
    InputRegisters,  ///< "3x"
    HoldingRegisters ///< "4x"
};

/// What may happen once, to the next request to a station or to its answer.
enum class Mishap
{
    LateAnswer,    ///< it comes after the time-out, while late answers are listened for
    LostAnswer,    ///< the station does the request, and its answer is lost
    WrongCrc,      ///< of the answer
    CutAnswer,     ///< it breaks off
    PauseInAnswer, ///< of a few milliseconds
    DoubledAnswer, ///< it comes twice
    WrongLength,   ///< the answer to a read has more or fewer values, with a good CRC
    ForeignAnswer, ///< that of another station comes before it
    NoiseBefore,   ///< some bytes of noise before the answer
    NoiseWithin,   ///< ... in it
    NoiseAfter,    ///< ... behind it
    NoiseInRequest ///< the station does not understand the request
};

class SimulatedLine
{
public:
    /// @param settings  as for a real line; its port and delivery are not looked at.
    explicit SimulatedLine(const LineSettings &settings);
    ~SimulatedLine();

    /// The line, which lives as long as this object. It is used as any other; Line::poll() and Line::wait()
    /// let the virtual time pass, as far as they would have waited.
    Line &line();

    /// @name Stations
    /// @{

    /// Adds a station that holds 0 everywhere.
    /// @param station  1 to 247.
    void addStation(int station);
    /// What the station holds from now on.
    /// @param value  0 to 65535; a bit is 1 for any value but 0.
    void setValue(int station, Table table, int address, int value);
    /// What it holds now; -1 where there is no such place.
    int value(int station, Table table, int address) const;
    /// Requests that touch one of these places are refused from now on.
    /// @param exceptionCode  1 to 255; 0 = they are done again.
    void refuse(int station, Table table, int address, int count, int exceptionCode);
    /// Writes that the station has done so far, broadcasts among them.
    int writesDone(int station) const;
    /// From the end of a request and the silence behind it to the answer, for all that follow: 5 ms unless
    /// set. Beyond the time-out, each answer is a late one.
    void setAnswerTime(int station, int milliseconds);

    /// @}
    /// @name A bad day
    /// @{

    /// The station hears nothing and says nothing, until this is taken back.
    void setDead(int station, bool isDead = true);
    /// The same for a while.
    void silence(int station, int milliseconds);
    /// It answers everything with exception 06 for a while.
    void makeBusy(int station, int milliseconds);
    /// Happens with the next request to the station; several calls happen one after the other.
    void once(int station, Mishap mishap);
    /// Bytes that nobody meant, from now on: 1 to 10000.
    void makeNoise(int bytes);
    /// The line hands back what is sent on it, whatever LineSettings::echo says.
    void setEcho(bool hasEcho);
    /// Nothing from any station reaches the line's end here, and nothing from here any station.
    void cutLine(bool isCut = true);
    /// The port is gone, and cannot be opened until plugPort(). Of an open line.
    void pullPort();
    void plugPort();
    /// From now on that share of the requests meets a mishap, chosen by chance; 0 ends it.
    /// @param permille  0 to 1000.
    void setMishaps(int permille);

    /// @}
    /// @name Time
    /// @{

    /// Lets the time pass, and the line deliver what happens in it.
    void advance(int milliseconds);
    /// Virtual time since the beginning.
    qint64 nowMs() const;

    /// @}

    /// What has happened on the line last, a line each: who sent which bytes when, and which fault it was.
    QString journal() const;

private:
    SimulatedLine(const SimulatedLine &);            // not copyable
    SimulatedLine &operator=(const SimulatedLine &); // not copyable

    class Private;
    Private *const d;
};

} // namespace plcruntime

#endif
