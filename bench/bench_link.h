/// @file
/// A serial link for measurements: settings as a runtime hands them over, and a station whose replies are
/// ready.
///
/// Uses entry points that the library exports and nothing else, so it works with the shared library too.
#ifndef PLC_BENCH_BENCH_LINK_H
#define PLC_BENCH_BENCH_LINK_H

#include <QByteArray>

#include <vector>

#include "plcdriver.h"

namespace plc::bench {

/// Station that every variable of the measurements belongs to.
constexpr int kStation = 1;

/// Most registers, and most bits, that one read may ask for here (`maxBlock` is 100).
constexpr int kMostRegisters = 100;
constexpr int kMostBits = 800;

/// Sets the driver up as a runtime does: blocks of 100 registers, each variable with a station of its own,
/// writes queued, one retry, no options, a word area without a station override, no callbacks.
/// @param linkMode  0 for Modbus RTU frames, 1 for relay frames.
/// @return the settings, which stay the driver's until the process ends.
COM_INFO &setUpLink(int linkMode = 0);

/// A variable request of station #kStation that is ready to be registered.
RW_VAR variable(int regType, int address, int count);

/// Modbus frame: @p bytes and their CRC.
QByteArray withCrc(QByteArray bytes);

/// A station's good reply to a read of @p count elements of @p regType (0, 1, 4 or 5). Registers hold @p
/// firstValue and up; bits alternate, beginning with the lowest bit of @p firstValue.
QByteArray readReply(int regType, int count, int firstValue);

/// A station's reply to the write request @p frame.
QByteArray writeReply(const QByteArray &frame);

/// The next request. Five writes or one-shot reads in a row make the driver look for cyclic reads; where
/// there are none it has nothing to do once, so this asks twice before it returns null.
Protocol *nextRequest();

/// Reads that come round for ever: registered once, answered by the station with changing values.
class CyclicRead
{
public:
    /// Registers @p variables variables of @p count elements each, side by side from address 0, and serves
    /// each of them twice, so that the mirror has all entries and the lists have their size.
    CyclicRead(int regType, int count, int variables = 8);

    /// One operation, as a runtime carries it out: ComCommunication(), then DataCom() when the reply has come
    /// in (accepted) and once more (stored).
    /// @return false when a call did not give what a good reply must give.
    bool serveNext();

private:
    std::vector<QByteArray>
        replies_; ///< the same reply with different values; both are the runtime's own buffers
    std::size_t turn_;
};

} // namespace plc::bench

#endif
