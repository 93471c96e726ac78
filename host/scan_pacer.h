/// @file
/// The pause between two scans of the cyclic reads.
#ifndef PLC_HOST_SCAN_PACER_H
#define PLC_HOST_SCAN_PACER_H

#include "link_time.h"

namespace plc::host {

/// Counts the cyclic reads of a scan. Not locked: the communication thread's own.
class ScanPacer
{
public:
    /// @param reads     cyclic reads in a scan; 0 for none.
    /// @param interval  from the start of one scan to the start of the next; 0 for no pause.
    ScanPacer(int reads, Time interval) : reads_(reads), interval_(interval) {}

    /// A transaction was begun: until it has ended there is no pause, for the repetitions of a request belong
    /// to it.
    void stepBegun() { stepOpen_ = true; }
    /// The transaction has ended, whatever it was.
    void stepEnded() { stepOpen_ = false; }

    /// One cyclic read has ended, well or not, after it had started at @p startedAt.
    void readEnded(Time startedAt)
    {
        if (done_ == 0)
            startedAt_ = startedAt;
        if (++done_ >= reads_) {
            done_ = 0;
            nextScanAt_ = startedAt_ + interval_;
        }
    }

    /// True while the next scan has to wait.
    bool isPausing(Time now) const { return !stepOpen_ && reads_ > 0 && done_ == 0 && now < nextScanAt_; }

private:
    int reads_;
    Time interval_;
    int done_ = 0;
    bool stepOpen_ = false;
    Time startedAt_{};
    Time nextScanAt_{};
};

} // namespace plc::host

#endif
