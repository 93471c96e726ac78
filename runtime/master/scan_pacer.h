/// @file
/// The pause between two scans of the cyclic reads.
#ifndef PLC_MASTER_SCAN_PACER_H
#define PLC_MASTER_SCAN_PACER_H

#include "runtime/line/link_time.h"

namespace plc::runtime {

/// Counts the cyclic reads of a scan. Not locked. To be asked between transactions only: the repeats of a
/// request belong to it.
class ScanPacer
{
public:
    /// @param interval  from the start of one scan to the start of the next; 0 for no pause.
    /// @param reads     cyclic reads in a scan; 0 for none.
    explicit ScanPacer(Time interval, int reads = 0) : interval_(interval), reads_(reads) {}

    /// Stations that are left alone change the number of reads.
    void setReads(int reads) { reads_ = reads; }

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
    bool isPausing(Time now) const { return reads_ > 0 && done_ == 0 && now < nextScanAt_; }

private:
    Time interval_;
    int reads_;
    int done_ = 0;
    Time startedAt_{};
    Time nextScanAt_{};
};

} // namespace plc::runtime

#endif
