/// @file
/// Stations on a line that answer at once, made without any code of the driver's.
#ifndef PLC_TESTS_THREADS_STATIONS_H
#define PLC_TESTS_THREADS_STATIONS_H

#include <QByteArray>

#include <map>
#include <utility>
#include <vector>

namespace plc::test {

/// A register as a station took it from a write request.
struct Taken
{
    int station;
    int address;
    quint16 value;
};

/// Any number of stations. Each keeps the coils and holding registers that are written to it. Its input
/// registers tell how many requests the line has seen: n at even addresses, the complement of n at odd ones.
class Stations
{
public:
    /// Loses every n-th request on its way; 0 loses none, 1 loses all.
    void loseEvery(int n) { loss_ = n; }

    /// The reply to @p request, with its CRC; empty when the request was lost.
    QByteArray answer(const QByteArray &request);

    quint16 holdingRegister(int station, int address) const;

    /// Registers written, in the order in which the stations took them.
    const std::vector<Taken> &taken() const { return taken_; }

private:
    typedef std::map<std::pair<int, int>, quint16> Area; // station and address

    QByteArray readBits(const QByteArray &request, const Area &area) const;
    QByteArray readRegisters(const QByteArray &request) const;
    void take(const QByteArray &request);
    void takeRegister(int station, int address, quint16 value);

    Area coils_;
    Area registers_;
    std::vector<Taken> taken_;
    int requests_ = 0;
    int loss_ = 0;
};

} // namespace plc::test

#endif
