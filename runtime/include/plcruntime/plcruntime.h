/// @file
/// START HERE: libplcruntime, a ready-made runtime around the driver. This page is the whole public
/// interface.
///
/// A plcruntime::Line is one serial line with the stations on it. Its life:
///
///     LineSettings settings;
///     settings.port = "/dev/ttyUSB0";
///     Line line(settings);
///     VariableId speed = line.addVariable("4x:200/f32@7");
///     line.setEventHandler(onEvent, nullptr);
///     Error error = line.open();
///     line.showScreen(QList<VariableId>() << speed);       // exactly these are read from now on
///     OrderId order = line.write(speed, 12.5);             // ends exactly once
///     ...
///     line.close();
///
/// **Threads.** Every function of a Line may be called from every thread, also from inside an event handler,
/// unless its own page says otherwise. Functions that wait say so; all others return at once, but for the
/// short time that another thread is inside the same Line.
///
/// **Who calls the handler.** With Delivery::OwnThread a thread of the library; with Delivery::Poll the
/// threads that call poll(), wait(), open() and close(). Never two at a time for the same Line, in the order
/// in which things happened, and never while the library holds a lock.
///
/// **Errors** are returned, never thrown. No exception leaves a function of this library, and an exception
/// that leaves a handler ends there: it is told as a log line, and all events behind it still come.
///
/// **Memory.** Where it runs out, a function returns ErrorKind::Full, or what it returns for nothing: 0, an
/// empty list, a structure as it is made. The line goes on, and every order still ends once and is told once.
/// Events that are lost so are followed by a log line, and by an EventValue of each variable. On the thread
/// of the line it costs the port, which is told as lost and opened again. A Line that there was no memory to
/// make answers like that for ever. What is inline in this header is the program's own code: Listener and the
/// overloads for one value may throw.
///
/// **Lifetimes.** Every structure here is plain data that belongs to whoever holds it. What an Event points
/// to lives until the handler returns. Ids are never used twice by the same Line.
///
/// **Units.** Times are milliseconds where a name ends in `Ms`, and microseconds where it ends in `Us`. A
/// moment is counted in microseconds from an arbitrary start, which is the same for all lines of a machine;
/// the clock never jumps, and goes on while the machine sleeps.
///
/// The header needs C++11 and QtCore, of Qt 4.8 or 5; the library must have been built for the same Qt.
#ifndef PLCRUNTIME_PLCRUNTIME_H
#define PLCRUNTIME_PLCRUNTIME_H

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#if defined(__GNUC__)
#define PLCRUNTIME_EXPORT __attribute__((visibility("default")))
#else
#define PLCRUNTIME_EXPORT
#endif

/// Version of this header, as 0xMMmmpp. See version() for that of the loaded library.
#define PLCRUNTIME_VERSION 0x010000

namespace plcruntime {

/// Version of the loaded library, as PLCRUNTIME_VERSION. A library of the same major number runs every
/// program that was compiled with an older or the same header.
PLCRUNTIME_EXPORT int version();

/// @name Errors
/// @{

enum class ErrorKind
{
    None,       ///< all is well
    Usage,      ///< what was asked for cannot be; the text says what can
    NotOpen,    ///< the call needs an open line
    Full,       ///< too much is under way, or memory has run out; the same call succeeds later
    Driver,     ///< the driver's file cannot be loaded, or not once more
    Port,       ///< the port cannot be opened
    PortAbsent, ///< nothing is plugged in behind the name of the port
    Interrupted ///< wake() or close() has ended the call
};

/// How a call has ended. True where something is wrong: `if (Error error = line.open()) ...`.
struct Error
{
    Error() : kind(ErrorKind::None) {}
    Error(ErrorKind newKind, const QString &newText) : kind(newKind), text(newText) {}
    explicit operator bool() const { return kind != ErrorKind::None; }

    ErrorKind kind;
    QString text; ///< one line for people: what is wrong, where, and what to try; empty for ErrorKind::None
};

/// @}
/// @name Settings of a line
/// @{

enum class Parity
{
    Even,
    Odd,
    None
};

/// Which thread calls the event handler.
enum class Delivery
{
    OwnThread, ///< a thread of the library, which lives as long as the Line
    Poll       ///< whoever calls poll() or wait(); nothing is delivered meanwhile
};

/// What the runtime does beyond the bare exchange of frames; docs/host-policies.md gives the reason for each.
/// All are on unless LineSettings::policiesOff names them.
// NOLINTBEGIN(readability-identifier-naming): names of a plain enum, whose values are added, say what they
// are of
enum Policy
{
    PolicyDiscardInput = 1,      ///< what arrives between two exchanges is thrown away
    PolicyLateReplyGuard = 2,    ///< an answer that comes late meets no other request
    PolicyCheckReplies = 4,      ///< only a reply of the right station, function and length counts
    PolicyStrictWrites = 8,      ///< a reply to a write must repeat its address and value
    PolicyEndOnException = 16,   ///< an exception ends an attempt at once
    PolicyEndOnDamage = 32,      ///< a damaged reply ends an attempt at once
    PolicyAbsoluteDeadline = 64, ///< noise does not lengthen the wait for a reply
    PolicyOffline = 128,         ///< a station that fails over and over is sent probes only
    PolicyEchoCheck = 256 ///< a line that hands back what is sent confirms no write to a silent station
};
// NOLINTEND(readability-identifier-naming)

/// What one station wants otherwise than the rest of its line.
struct StationSettings
{
    StationSettings() : station(0), timeoutMs(-1), retries(-1), pauseMs(0) {}

    int station;   ///< 1 to 247
    int timeoutMs; ///< 10 to 60000; -1 = as the line has it
    int retries;   ///< 0 to 100; -1 = as the line has it
    int pauseMs;   ///< 0 to 400: least time from the end of an attempt to the next frame to this station
};

struct LineSettings
{
    LineSettings()
        : baud(19200), parity(Parity::Even), stopBits(0), anyRate(false), rs485(false), rs485RtsOnSend(true),
          rs485BeforeMs(0), rs485AfterMs(0), timeoutMs(1000), retries(2), station(1), turnaroundMs(100),
          lateGuardMs(-1), maxBlock(100), separateReads(false), relay(false), echo(false), driverOptions(0),
          policiesOff(0), offlineFailures(3), firstProbeMs(10000), longestProbeMs(60000), pollIntervalMs(0),
          reopen(true), realTime(false), delivery(Delivery::OwnThread)
    {}

    QString port;        ///< device, as "/dev/ttyUSB0" or "ttyUSB0"
    int baud;            ///< 300 to 4000000 bits per second
    Parity parity;       ///< of every character
    int stopBits;        ///< 1 or 2; 0 = as the parity asks: 2 without parity, else 1
    bool anyRate;        ///< a port that runs more than 3 % off the rate is taken all the same
    bool rs485;          ///< the port switches the direction of a two-wire line by its line RTS
    bool rs485RtsOnSend; ///< RTS is set while sending; false: cleared
    int rs485BeforeMs;   ///< 0 to 1000, from switching to the first bit
    int rs485AfterMs;    ///< 0 to 1000, from the last bit to switching back

    int timeoutMs;      ///< 10 to 60000: longest wait for the first byte of an answer
    int retries;        ///< 0 to 100 repeats of a request that was not answered properly
    int station;        ///< 1 to 247, of variables that name none
    int turnaroundMs;   ///< 0 to 60000: pause after a broadcast, and before a busy station is asked again
    int lateGuardMs;    ///< 0 to 60000: how long a late answer is listened for; -1 = as long as the time-out
    int maxBlock;       ///< 1 to 100 registers in one request, eight times as many bits; 1 = no packing
    bool separateReads; ///< each place on the screen in requests of its own: slower, but what a station
                        ///< refuses of one is refused of those alone that begin at that place
    bool relay;         ///< relay frames instead of Modbus RTU
    bool echo;          ///< the line hands back what is sent on it
    unsigned int driverOptions; ///< option bits of the driver, names in the driver's core/options.h
    unsigned int policiesOff;   ///< bits of Policy that are switched off

    int offlineFailures; ///< 1 to 1000 failed requests in a row after which a station is offline
    int firstProbeMs;    ///< 100 to 3600000, from going offline to the first probe
    int longestProbeMs;  ///< 100 to 3600000: the interval doubles up to this one
    int pollIntervalMs;  ///< 0 to 3600000, from the start of one scan of the screen to the next; 0 = no pause
    QList<StationSettings> stations; ///< that want something of their own, each once

    bool reopen;   ///< a port that is lost is looked for until it is back; false: it stays lost
    bool realTime; ///< the thread of the line goes before ordinary threads, where the system allows it

    /// File of the driver. Empty: `libplcdriver.so.1` beside this library, else where the system looks.
    /// Each open line has a driver of its own: where the file is loaded in the process already, a private
    /// copy of it.
    QString driverFile;
    Delivery delivery;
};

/// A serial port of the program's own. All calls on one thread of the library, which need not be the thread
/// that opened the port. Throws nothing, and calls nothing of its line: close() waits for it.
class Port
{
public:
    virtual ~Port() {}

    /// Transmits @p bytes in one go, and returns when the system has taken them all.
    /// @param reason  set where the port is lost: one line for people.
    /// @return false when the port is lost. Then it is destroyed, and looked for by its PortOpener.
    virtual bool send(const QByteArray &bytes, QString *reason) = 0;

    /// Waits for bytes, at most @p atMostUs; returns at once when there is something.
    /// @param bytes  empty at first; gets what has arrived.
    /// @return false when the port is lost, as for send().
    virtual bool receive(QByteArray *bytes, qint64 atMostUs, QString *reason) = 0;
};

/// Opens a port of the program's own, on any thread, and throws away what it has received so far. May take
/// its time.
/// @return the port, made with `new`; the library deletes it. Null with @p error set to ErrorKind::Port, or
///         ErrorKind::PortAbsent where nothing is plugged in.
typedef Port *(*PortOpener)(void *context, const LineSettings &settings, Error *error);

/// @}
/// @name Variables
/// @{

/// A variable of a Line; 0 for none.
typedef int VariableId;

/// What the registers of a value mean.
enum class Format
{
    Default, ///< of bit areas a bit, of "4x_d" and "3x_d" U32, else U16; writes take negative numbers, too
    U16,
    I16,
    Hex, ///< as U16, shown in hexadecimal
    Bin, ///< as U16, shown in binary
    Bcd, ///< four decimal digits in one register
    U32,
    I32,
    F32,
    U64,
    I64,
    F64,
    Text ///< VariableSettings::textBytes bytes of Latin-1, the first character in the high byte
};

/// In which order the bytes of a value come. A is its highest byte, and the first on the line.
enum class ByteOrder
{
    Abcd, ///< upper half at the lower address
    Cdab, ///< registers turned round
    Badc, ///< bytes of each register swapped
    Dcba  ///< both
};

enum class ValueKind
{
    None,     ///< no value
    Unsigned, ///< bits, and whole numbers without a sign
    Signed,   ///< whole numbers with a sign
    Real,     ///< floating-point numbers, and everything with a scale or an offset
    Text
};

/// One value. Plain data: copied like a number. A text is for variables of Format::Text alone, and is read as
/// no number.
struct Value
{
    // NOLINTBEGIN(google-explicit-constructor): whatever a program has is a value
    Value() : kind(ValueKind::None), isBad(false) { number.asUnsigned = 0; }
    Value(bool value) : kind(ValueKind::Unsigned), isBad(false) { number.asUnsigned = value ? 1 : 0; }
    Value(int value) : kind(ValueKind::Signed), isBad(false) { number.asSigned = value; }
    Value(unsigned int value) : kind(ValueKind::Unsigned), isBad(false) { number.asUnsigned = value; }
    Value(long value) : kind(ValueKind::Signed), isBad(false) { number.asSigned = value; }
    Value(unsigned long value) : kind(ValueKind::Unsigned), isBad(false) { number.asUnsigned = value; }
    Value(long long value) : kind(ValueKind::Signed), isBad(false) { number.asSigned = value; }
    Value(unsigned long long value) : kind(ValueKind::Unsigned), isBad(false) { number.asUnsigned = value; }
    Value(double value) : kind(ValueKind::Real), isBad(false) { number.asReal = value; }
    Value(const QString &value) : kind(ValueKind::Text), isBad(false), text(value) { number.asUnsigned = 0; }
    Value(const char *latin1) : kind(ValueKind::Text), isBad(false), text(QLatin1String(latin1))
    {
        number.asUnsigned = 0;
    }
    // NOLINTEND(google-explicit-constructor)

    /// The value as a floating-point number; 0 for a text and for none.
    double toDouble() const
    {
        switch (kind) {
        case ValueKind::Unsigned:
            return static_cast<double>(number.asUnsigned);
        case ValueKind::Signed:
            return static_cast<double>(number.asSigned);
        case ValueKind::Real:
            return number.asReal;
        case ValueKind::None:
        case ValueKind::Text:
            break;
        }
        return 0;
    }
    /// The value as a whole number, fractions cut off; 0 for a text and for none.
    qint64 toInteger() const
    {
        switch (kind) {
        case ValueKind::Unsigned:
            return static_cast<qint64>(number.asUnsigned);
        case ValueKind::Signed:
            return number.asSigned;
        case ValueKind::Real:
            return static_cast<qint64>(number.asReal);
        case ValueKind::None:
        case ValueKind::Text:
            break;
        }
        return 0;
    }

    ValueKind kind;
    bool
        isBad; ///< the registers hold nothing of the format, as a BCD digit above 9; the number is their bits
    union {
        quint64 asUnsigned;
        qint64 asSigned;
        double asReal;
    } number;     ///< by `kind`
    QString text; ///< of ValueKind::Text
};

inline bool operator==(const Value &a, const Value &b)
{
    return a.kind == b.kind && a.isBad == b.isBad &&
           (a.kind == ValueKind::Real
                ? !(a.number.asReal < b.number.asReal) && !(b.number.asReal < a.number.asReal)
                : a.number.asUnsigned == b.number.asUnsigned) &&
           a.text == b.text;
}
inline bool operator!=(const Value &a, const Value &b)
{
    return !(a == b);
}

/// What a variable is. Its place is given in one of two ways.
struct VariableSettings
{
    VariableSettings()
        : station(-1), count(1), format(Format::Default), order(ByteOrder::Abcd), textBytes(0), scale(1),
          offset(0), priority(0)
    {}
    VariableSettings(const QString &newPlace) // NOLINT: a text is a place
        : place(newPlace), station(-1), count(1), format(Format::Default), order(ByteOrder::Abcd),
          textBytes(0), scale(1), offset(0), priority(0)
    {}
    VariableSettings(const char *newPlace) // NOLINT: a text is a place
        : place(QLatin1String(newPlace)), station(-1), count(1), format(Format::Default),
          order(ByteOrder::Abcd), textBytes(0), scale(1), offset(0), priority(0)
    {}

    /// AREA:ADDRESS[:COUNT][/FORMAT[.ORDER]][@STATION], as "4x:200", "4x:200:3/i32.cdab@7" or "4x:40/str16".
    /// Where it is not empty, the fields up to `textBytes` are not looked at.
    QString place;

    QString area;    ///< "0x", "1x", "3x", "4x", "3x_bit", "4x_bit", "3x_d", "4x_d", "4x_single", "4x_block"
    QString address; ///< as people type it: "200", in the bit areas of registers "35.3"
    int station;     ///< 1 to 247, 0 for broadcasts; -1 = LineSettings::station
    int count;       ///< values, from 1 on
    Format format;   ///< Default alone for bit areas
    ByteOrder order; ///< of the bytes of each value
    int textBytes;   ///< of Format::Text: 1 to 246

    /// For people; free. Line::findVariable() finds it, and what is wrong with the variable is told by it.
    QString name;
    /// The value is raw * scale + offset; not 0, and not for bits and texts. What is written is rounded to
    /// what the registers can hold; without a scale a whole number must be given for one.
    double scale;
    double offset; ///< see `scale`
    /// 0, or 1 (slowest) to 4 for reads that come more often than those of the rest of the screen. It belongs
    /// to the place, so that the same registers of every station have it. Only while the line is not
    /// open: the driver takes priorities once.
    int priority;
};

/// How a write, or a reading, has ended.
enum class OrderEnd
{
    Open,        ///< on its way; also of an order that is not known (any more)
    Good,        ///< the station has confirmed it; of a broadcast: it was sent
    Refused,     ///< by the station, see `exceptionCode`
    NoAnswer,    ///< nothing came back, with all repeats; a write may have been done
    BadReply,    ///< something came, but no usable reply; a write may have been done
    LineBusy,    ///< nothing was sent: the line never fell silent
    Offline,     ///< not sent: the station is offline
    SwitchedOff, ///< not sent: the station is switched off
    PortLost,    ///< not sent: the port is lost
    Expired,     ///< its deadline came: nothing of it was sent, or it was a read
    Unconfirmed, ///< unknown: sent, not confirmed; the write may have been done, read it back
    Closed,      ///< not sent: the line was closed
    NotTaken,    ///< not sent: the driver refused it
    OnlyEcho     ///< not sent: nothing but its echo had come of a read before; see LineSettings::echo
};

enum class Quality
{
    NeverRead,   ///< nothing has been read completely yet
    Good,        ///< the last reading was good
    Stale,       ///< the last reading was good and is too long ago
    Refused,     ///< the station refuses to tell
    NoAnswer,    ///< the station did not answer, or the line never fell silent
    BadReply,    ///< something came, but no usable reply
    Offline,     ///< the station does not answer and is left alone but for a probe now and then
    SwitchedOff, ///< setStationEnabled() has switched the station off
    PortLost     ///< nobody can be asked until the port is back
};

/// What is known of a variable. The values are those of the last complete good reading whatever has happened
/// since: the quality says whether to trust them.
///
/// A variable that has left the screen keeps its values, its age, and what became of its last reading; Good
/// turns into Stale when the values are older than 3 s and than two time-outs. On the screen again it stays
/// so until it is read. On the screen Good turns into Stale when three scans have passed without a reading.
struct VariableState
{
    VariableState()
        : id(0), quality(Quality::NeverRead), pendingWrite(false), inPieces(false), onScreen(false),
          ageMs(-1), lastRead(OrderEnd::Open), exceptionCode(0), readings(0)
    {}

    VariableId id;
    QList<Value> values; ///< as many as the variable counts; empty until it was read completely once
    /// What the values are made of, in the order of addresses: two bytes a register, the high byte first, or
    /// a byte a bit.
    QByteArray raw;
    Quality quality;
    bool pendingWrite; ///< an order to write this variable is open
    bool inPieces;     ///< a value of it came from two requests, so that its halves may not belong together
    bool onScreen;     ///< it is read over and over
    qint64 ageMs;      ///< since the oldest part of the values was read; -1 while there are none
    OrderEnd lastRead; ///< how its last reading ended, whatever happened since; Open before the first
    int exceptionCode; ///< of Quality::Refused: as the station gave it
    quint64 readings;  ///< how often the screen has asked for all of it, with any result
    QString reason;    ///< one line for people where the quality is not Good; else empty
};

/// @}
/// @name Orders
/// @{

/// A write, or a read on order; 0 for none.
typedef qint64 OrderId;

/// How an order ended.
struct OrderResult
{
    OrderResult()
        : order(0), variable(0), isWrite(false), end(OrderEnd::Open), exceptionCode(0), attempts(0),
          endedUs(0)
    {}

    OrderId order;
    VariableId variable;
    bool isWrite;
    OrderEnd end;
    int exceptionCode;   ///< of OrderEnd::Refused
    int attempts;        ///< frames sent for its last request; 0 where it was given up before that had ended
    qint64 endedUs;      ///< moment of its end
    QList<Value> values; ///< of a write what was ordered; of a read that ended Good what was read
    QByteArray raw;      ///< of a read that ended Good, as VariableState::raw
    QString reason;      ///< one line for people where the end is not Good; else empty
};

/// @}
/// @name Stations, port, counters
/// @{

enum class StationState
{
    On,         ///< asked, whether it answers or has begun to fail
    Offline,    ///< does not answer: only probes go to it
    SwitchedOff ///< by setStationEnabled(): nothing goes to it
};

enum class PortState
{
    Closed, ///< the line is not open
    Open,
    Lost ///< gone, and looked for unless LineSettings::reopen is false
};

/// Counters of one station or of the whole line. Each request sent ends as exactly one of good, timeouts,
/// bad, exceptions or unanswered, unless it is under way or was when the port went.
struct Counters
{
    Counters()
        : station(0), requests(0), retries(0), good(0), timeouts(0), bad(0), exceptions(0), unanswered(0),
          lineBusy(0), ignoredReplies(0), foreignBytes(0), bytesOut(0), bytesIn(0)
    {}

    int station;            ///< 0 to 247; -1 for the whole line
    quint64 requests;       ///< frames sent, repeats included
    quint64 retries;        ///< those of them that repeated one
    quint64 good;           ///< answered as they should be
    quint64 timeouts;       ///< not a byte came
    quint64 bad;            ///< something came, but no usable reply
    quint64 exceptions;     ///< refused by the station
    quint64 unanswered;     ///< no reply was due
    quint64 lineBusy;       ///< attempts given up before sending, since the line never fell silent
    quint64 ignoredReplies; ///< complete replies that cannot belong to the request
    quint64 foreignBytes;   ///< bytes received that belong to no reply of ours
    quint64 bytesOut;
    quint64 bytesIn;
};

/// Requests of a second master on the line, which must have one master only.
struct ForeignRequests
{
    ForeignRequests() : station(0), requests(0) {}

    int station; ///< that it asks
    quint64 requests;
};

struct Statistics
{
    Statistics()
        : runningUs(0), hasLineErrors(false), parityErrors(0), framingErrors(0), overruns(0), breaks(0),
          latenessMedianUs(0), latenessP99Us(0), latenessMostUs(0)
    {}

    Counters total;
    QList<Counters> stations; ///< that something was sent to, by number
    qint64 runningUs;         ///< since the line was opened, up to its end
    bool hasLineErrors;       ///< the port counts the four that follow
    quint64 parityErrors;     ///< another parity, or noise
    quint64 framingErrors;    ///< another rate, or noise
    quint64 overruns;         ///< characters that came faster than they were fetched
    quint64 breaks;           ///< the line was held at 0 for longer than a character
    qint64 latenessMedianUs;  ///< by how much requests went out later than their silence allowed
    qint64 latenessP99Us;     ///< the same of the hundredth that was latest
    qint64 latenessMostUs;
    QList<ForeignRequests> foreignRequests; ///< as far as they were heard, by station
};

/// @}
/// @name Events
/// @{

/// What an event handler may be told; a set of them is a sum.
// NOLINTBEGIN(readability-identifier-naming): as of Policy
enum EventKind
{
    EventValue = 1,   ///< Event::variable has other values than were told last
    EventQuality = 2, ///< the quality of Event::variable, or its `pendingWrite`, has changed
    EventOrder = 4,   ///< Event::order has ended; told once for each order
    EventStation = 8, ///< a station went offline, came back, or was switched
    EventPort = 16,   ///< the port is lost, cannot be opened again, or is back
    EventFrame = 32,  ///< bytes were sent or received; hundreds a second
    EventLog = 64,    ///< a line for people
    EventsOfPanel = EventValue | EventQuality | EventOrder | EventStation | EventPort, ///< what a panel wants
    EventsAll = EventsOfPanel | EventFrame | EventLog
};
// NOLINTEND(readability-identifier-naming)

struct StationChange
{
    StationChange() : station(0), state(StationState::On), failures(0), lastedMs(0), nextProbeMs(0) {}

    int station;
    StationState state;
    int failures;       ///< requests in a row that have failed; of a station that went offline
    qint64 lastedMs;    ///< how long it was offline; of a station that is back
    qint64 nextProbeMs; ///< from now; of a station that went offline
};

struct PortChange
{
    PortChange() : state(PortState::Closed), isRefused(false), lastedMs(0) {}

    PortState state;
    bool isRefused;  ///< it is still lost: what is there now cannot be opened, for the reason given
    qint64 lastedMs; ///< how long it was lost; of a port that is back
    QString reason;  ///< one line for people; empty when it is back
};

enum class FrameKind
{
    Sent,      ///< a frame that we send
    Received,  ///< bytes as they came, a frame or a part of one
    Discarded, ///< received bytes were thrown away, `count` of them; `text` says why
    AttemptEnd ///< an attempt has ended; `text` says how
};

struct Frame
{
    Frame() : kind(FrameKind::Sent), atUs(0), attempt(0), count(0) {}

    FrameKind kind;
    qint64 atUs;
    QByteArray bytes; ///< of Sent and Received
    int attempt;      ///< of Sent: 1 for the first transmission of a request
    int count;        ///< bytes that it is about
    QString text;     ///< a few words for people; may be empty
};

struct LogLine
{
    LogLine() : isWarning(false) {}

    bool isWarning; ///< somebody should look; else for those who look closer
    QString text;
};

/// Something has happened. The pointer that belongs to the kind is set, all others are null.
struct Event
{
    Event()
        : kind(EventLog), atUs(0), variable(nullptr), order(nullptr), station(nullptr), port(nullptr),
          frame(nullptr), log(nullptr)
    {}

    EventKind kind;
    qint64 atUs;                   ///< when it was noticed
    const VariableState *variable; ///< EventValue, EventQuality: as it is now, later changes included
    const OrderResult *order;      ///< EventOrder
    const StationChange *station;  ///< EventStation
    const PortChange *port;        ///< EventPort
    const Frame *frame;            ///< EventFrame
    const LogLine *log;            ///< EventLog
};

/// Gets events. May call every function of the line but its destructor.
/// @param context  as it was given to Line::setEventHandler().
typedef void (*EventHandler)(void *context, const Event &event);

/// @}

struct LineAccess;

/// One serial line and the stations on it.
class PLCRUNTIME_EXPORT Line
{
public:
    /// Takes note of the settings, which open() checks.
    explicit Line(const LineSettings &settings);
    /// The same over a port of the program's own.
    /// @param opener   called by open(), and again whenever the port is lost.
    /// @param context  handed to @p opener.
    Line(const LineSettings &settings, PortOpener opener, void *context);
    /// Closes the line and waits until no handler runs any more. Not from inside a handler.
    ~Line();

    /// @name Life
    /// @{

    /// Loads a driver of the line's own, opens the port and begins. A line may be opened and closed any
    /// number of times. Variables and the screen stay; what the driver knew of values does not.
    /// Waits until the port is open or refused, close() or wake() is called. Where the port is refused the
    /// line stays closed, and nobody looks for the port: LineSettings::reopen is for one that was open.
    Error open();

    /// Ends communication: when it returns, nothing is sent any more, every order has ended, and the port
    /// and the driver are free. Values, results and statistics stay readable. From outside of a handler it
    /// returns when all events have been delivered and no handler runs; from inside, these come afterwards.
    /// Does nothing to a line that is not open. Waits for the thread of the line, about 150 ms at most.
    /// Where memory runs out, orders end and are told with the next call of close() or open().
    void close();

    bool isOpen() const;

    /// @}
    /// @name Events
    /// @{

    /// Sets the one handler of the line. From outside of a handler it returns when the one before does not
    /// run any more.
    /// @param handler  null for none: then nothing is kept to be told.
    /// @param wanted   sum of EventKind. Frames and log lines cost time and are made only when asked for.
    void setEventHandler(EventHandler handler, void *context, int wanted = EventsOfPanel);

    /// Carries on and delivers what has happened, on the calling thread. Waits for something to happen, at
    /// most @p timeoutMs; 0 = not at all, -1 = as long as it takes. Changes of values alone are noticed
    /// within 50 ms. Inside a handler it delivers nothing: events stay behind the one that is being
    /// delivered. With Delivery::OwnThread it delivers nothing either, and only waits for something to
    /// happen.
    /// Of a line that is closed it waits all the same, so that a loop of polls goes on at its pace.
    /// @return events delivered by this call.
    int poll(int timeoutMs);

    /// Ends every call of the line that waits: open(), poll(), wait(). Where none waits, the next one returns
    /// at once. Any thread, at any time; not in a signal handler.
    void wake();

    /// @}
    /// @name Variables and screens
    /// @{

    /// Adds a variable, also while the line is open. It is read only while it is on the screen, or on order.
    /// @param error  set where it is refused; null where nobody wants to know.
    /// @return its id; 0 where it is refused: its place is none, or it asks for a priority while the
    ///         line is open.
    VariableId addVariable(const VariableSettings &settings, Error *error = nullptr);

    /// Takes the variable from the screen and forgets it. Its open orders go on, and are told as ever.
    Error removeVariable(VariableId id);

    /// First variable of that name; 0 for none.
    VariableId findVariable(const QString &name) const;
    QList<VariableId> variables() const;
    /// @return as they were given, with a place in `place` alone; empty for an unknown variable.
    VariableSettings variableSettings(VariableId id) const;

    /// From now on exactly these variables are read, over and over, in as few requests as their places and
    /// LineSettings::maxBlock allow. Costs one call of the driver, however many they are. Variables that
    /// leave the screen keep their values, which grow stale. Before open() it is what is read from then on.
    /// @return an error, with nothing changed, for an unknown variable, or for station 0, that nobody can
    ///         read.
    Error showScreen(const QList<VariableId> &variables);
    QList<VariableId> screen() const;

    /// What is known of the variable now. Never waits for the line. With Delivery::Poll that is what poll()
    /// or wait() has taken last, and with Delivery::OwnThread what the handler has not kept it from taking.
    /// @return with an id of 0 for an unknown variable.
    VariableState value(VariableId id) const;

    /// @}
    /// @name Orders
    /// Each ends exactly once, also by close(), and is then told by an EventOrder. At most 4096 are open at a
    /// time. Orders whose places overlap keep their order where one of them is a write.
    /// @{

    /// Orders a write.
    /// @param values      exactly as many as the variable counts, each within what its format can hold. A
    /// text
    ///                    that is shorter than its registers is filled with zero bytes.
    /// @param deadlineMs  from now; negative for none. Of an order whose first frame is not out by then,
    /// nothing
    ///                    is sent (OrderEnd::Expired); of any other nothing more, and it ends as
    ///                    OrderEnd::Unconfirmed.
    /// @return 0 with @p error set where it is refused, and nothing of it is sent.
    OrderId write(VariableId id, const QList<Value> &values, int deadlineMs = -1, Error *error = nullptr);
    /// The same for a variable of one value.
    OrderId write(VariableId id, const Value &value, int deadlineMs = -1, Error *error = nullptr)
    {
        QList<Value> values;
        values.append(value);
        return write(id, values, deadlineMs, error);
    }

    /// Orders one reading, whether the variable is on the screen or not.
    /// @param deadlineMs  as of write(); it ends as OrderEnd::Expired.
    OrderId readOnce(VariableId id, int deadlineMs = -1, Error *error = nullptr);

    /// What write() would refuse whatever the state of the line, also of a line that is closed: so a program
    /// can check several writes before it orders the first. Sends nothing. With the driver's option
    /// bit-from-mirror a bit is refused whose register has not been read since open(): of a closed line,
    /// each.
    Error checkWrite(VariableId id, const QList<Value> &values) const;
    /// The same of readOnce().
    Error checkRead(VariableId id) const;

    /// How the order ended; its `end` is Open while it is on its way. Known until 4096 younger orders have
    /// ended, whatever happens to the line; of orders beyond that `order` is 0.
    OrderResult result(OrderId order) const;

    /// Waits until the order has ended, the line is closed, or wake() is called, at most @p timeoutMs (-1 for
    /// no limit), and carries on meanwhile. Delivers events as poll() does.
    /// @return as result().
    OrderResult wait(OrderId order, int timeoutMs = -1);

    /// @}
    /// @name Stations, port, counters
    /// @{

    /// Switches a station off or on. Orders for a station that is switched off end at once. A station that is
    /// switched on counts as not asked yet. Holds until it is switched again, also over close() and open().
    /// @param station  1 to 247, all others are refused.
    Error setStationEnabled(int station, bool enabled);
    StationState stationState(int station) const;

    PortState portState() const;
    /// Why the port is lost; empty while it is not. Of a closed line: why it was, when it was closed.
    QString portReason() const;

    /// Counted since the last open().
    Statistics statistics() const;

    /// Now, on the clock of all moments in events.
    qint64 nowUs() const;

    /// @}

private:
    friend struct LineAccess;
    class Private;
    explicit Line(Private *made);
    Line(const Line &);            // not copyable
    Line &operator=(const Line &); // not copyable

    Private *const d;
};

/// Lambdas and futures over the one handler of a line; header-only. It takes the line's handler for itself.
///
///     Listener listener(line);
///     listener.onVariable = [](const VariableState &state) { ... };
///     std::future<OrderResult> written = listener.write(speed, 12.5);
///
/// Functions are set before Line::open(), and called on the threads that Line names. A future is got by
/// another thread than the one that delivers: with Delivery::Poll the thread that polls must not wait for
/// one. A future never breaks: where the line or the listener goes first, its order ends as Closed.
class Listener
{
public:
    /// @param line    outlives the listener.
    /// @param wanted  as of Line::setEventHandler(); EventOrder is always among them.
    explicit Listener(Line &line, int wanted = EventsOfPanel) : line_(line)
    {
        line_.setEventHandler(&Listener::take, this, wanted | EventOrder);
    }
    ~Listener()
    {
        line_.setEventHandler(nullptr, nullptr);
        for (std::map<OrderId, std::promise<OrderResult>>::iterator open = promises_.begin();
             open != promises_.end(); ++open) {
            OrderResult result = line_.result(open->first);
            if (result.end == OrderEnd::Open)
                result.end = OrderEnd::Closed;
            open->second.set_value(result);
        }
    }

    std::function<void(const VariableState &)> onVariable; ///< EventValue and EventQuality
    std::function<void(const OrderResult &)> onOrder;
    std::function<void(const StationChange &)> onStation;
    std::function<void(const PortChange &)> onPort;
    std::function<void(const Frame &)> onFrame;
    std::function<void(const LogLine &)> onLog;

    /// As Line::write(). An order that is refused ends at once as OrderEnd::NotTaken, with the reason.
    std::future<OrderResult> write(VariableId id, const QList<Value> &values, int deadlineMs = -1)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        Error error;
        const OrderId order = line_.write(id, values, deadlineMs, &error);
        return promise(order, error);
    }
    std::future<OrderResult> write(VariableId id, const Value &value, int deadlineMs = -1)
    {
        QList<Value> values;
        values.append(value);
        return write(id, values, deadlineMs);
    }
    /// As Line::readOnce().
    std::future<OrderResult> readOnce(VariableId id, int deadlineMs = -1)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        Error error;
        const OrderId order = line_.readOnce(id, deadlineMs, &error);
        return promise(order, error);
    }

private:
    Listener(const Listener &);
    Listener &operator=(const Listener &);

    // The lock is held from before the order until its promise is there, so that its end finds the promise.
    std::future<OrderResult> promise(OrderId order, const Error &error)
    {
        if (order != 0)
            return promises_[order].get_future();
        OrderResult refused;
        refused.end = OrderEnd::NotTaken;
        refused.reason = error.text;
        std::promise<OrderResult> ended;
        ended.set_value(refused);
        return ended.get_future();
    }

    void keepPromise(const OrderResult &result)
    {
        std::promise<OrderResult> kept;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            const std::map<OrderId, std::promise<OrderResult>>::iterator open = promises_.find(result.order);
            if (open == promises_.end())
                return;
            kept = std::move(open->second);
            promises_.erase(open);
        }
        kept.set_value(result);
    }

    static void take(void *context, const Event &event)
    {
        Listener &self = *static_cast<Listener *>(context);
        if (event.order)
            self.keepPromise(*event.order);
        if (event.variable && self.onVariable)
            self.onVariable(*event.variable);
        if (event.order && self.onOrder)
            self.onOrder(*event.order);
        if (event.station && self.onStation)
            self.onStation(*event.station);
        if (event.port && self.onPort)
            self.onPort(*event.port);
        if (event.frame && self.onFrame)
            self.onFrame(*event.frame);
        if (event.log && self.onLog)
            self.onLog(*event.log);
    }

    Line &line_;
    std::mutex mutex_;
    std::map<OrderId, std::promise<OrderResult>> promises_;
};

} // namespace plcruntime

#endif
