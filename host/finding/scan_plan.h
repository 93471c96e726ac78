/// @file
/// What a scan is to ask for: stations, settings of the line, one register or bit.
#ifndef PLC_FINDING_SCAN_PLAN_H
#define PLC_FINDING_SCAN_PLAN_H

#include <QByteArray>

#include <string>
#include <vector>

#include "host/runtime_names.h"
#include "runtime/line/line_settings.h"
#include "runtime/line/link_time.h"
#include "runtime/line/rtu_layout.h"

namespace plc::host {

/// How characters travel. Eight data bits always.
struct ScanSetting
{
    int baud = 9600;
    Parity parity = Parity::Even;
    int stopBits = 1;

    bool operator==(const ScanSetting &other) const
    {
        return baud == other.baud && parity == other.parity && stopBits == other.stopBits;
    }
    /// Start and stop bits included.
    int bitsPerCharacter() const { return 1 + 8 + (parity == Parity::None ? 0 : 1) + stopBits; }
    /// Time of @p bytes in a row, rounded up.
    Time wire(int bytes) const;
    /// "9600 8E1".
    std::string text() const;
};

struct ScanPlan
{
    std::vector<int> stations;                 ///< in the order in which they are asked
    std::vector<ScanSetting> settings;         ///< the same; at least one
    int function = kReadHoldingRegisters;      ///< one of the four that read
    int address = 0;                           ///< of the register or bit, as on the line
    Time wait = std::chrono::milliseconds(50); ///< from the end of a request to the reply; the least
    Time listen = std::chrono::seconds(1);     ///< before anything is sent; 0 = not at all
    bool anyway = false;                       ///< stations are asked on a line in use, too

    /// The request to a station.
    QByteArray request(int station) const;
    /// Data bytes of its reply.
    int replyDataBytes() const;
};

/// The four usual parities and stop bits of @p bauds, the likely first.
/// @param stopBits  empty: 1 with a parity, 2 without. A receiver looks at the first alone, so that stations
///                  without parity and with one stop bit answer as well.
std::vector<ScanSetting> likelyFirst(const std::vector<int> &bauds, const std::vector<Parity> &parities,
                                     const std::vector<int> &stopBits);

} // namespace plc::host

#endif
