/// @file
/// Reads and writes handed to the driver, each of which ends exactly once.
#ifndef PLC_HOST_OPERATION_LEDGER_H
#define PLC_HOST_OPERATION_LEDGER_H

#include <map>
#include <set>
#include <vector>

#include "operation.h"

namespace plc::host {

/// Number of an operation; the driver hands it back in its callback. Counts from 1.
using Ticket = int;

/// What an operation occupies while it is on its way.
struct Footprint
{
    bool isWrite = false;
    int station = 0;
    int baseType = 0;
    int first = 0; ///< first register or bit
    int count = 0;
    int pieces = 0; ///< entries in the driver's list
};

/// Keeps the books of operations. Not locked: one thread.
///
/// The driver puts a new write in place of a waiting one to the same place, identifiers and all, so that the
/// older write would end without a report; and it drops entries beyond its list size without one. So
/// mayStart() tells which operation has to wait in the host.
class OperationLedger
{
public:
    /// @param last  the ticket before the first.
    explicit OperationLedger(Ticket last = 0) : last_(last) {}

    /// Opens an operation. It waits in the host until it is started.
    Ticket open(const Footprint &footprint);

    /// True when the waiting operation can be handed to the driver without any operation losing its report.
    bool mayStart(Ticket ticket) const;

    /// Notes that the operation has been handed to the driver.
    void start(Ticket ticket);

    bool isOpen(Ticket ticket) const { return open_.count(ticket) > 0; }

    /// Ends an operation.
    /// @return false when it had ended before, or was never opened; then nothing changes.
    bool close(Ticket ticket, const OperationResult &result);

    /// Ends all open operations of @p station; -1 for all stations. @p unconfirmed ones end as that. Those that the driver has been handed go on
    /// filling its lists until they are released.
    /// @return those of them that the driver has been handed.
    std::vector<Ticket> closeAll(int station, OperationEnd end, const std::set<Ticket> &unconfirmed = {});

    /// The driver's lists hold none of these operations any more.
    void release(const std::vector<Ticket> &tickets);

    /// Result of an operation; `end` is Open while it is on its way, and after it has been forgotten.
    OperationResult result(Ticket ticket) const;

    /// Drops the result of an operation that has ended and has been reported.
    void forget(Ticket ticket) { closed_.erase(ticket); }

    /// Operations in the driver's hands, ended ones included.
    int startedCount() const;

    /// Pieces that one list of the driver takes, of writes or of reads.
    static int listSize(bool isWrite);

private:
    struct Entry
    {
        Footprint footprint;
        bool started;
    };
    using Entries = std::map<Ticket, Entry>;

    static bool isFree(const Entries &entries, const Footprint &wanted);
    static int piecesIn(const Entries &entries, bool isWrite);

    Entries open_;
    Entries withdrawn_; ///< ended, but still in the driver's lists
    std::map<Ticket, OperationResult> closed_;
    Ticket last_;
};

} // namespace plc::host

#endif
