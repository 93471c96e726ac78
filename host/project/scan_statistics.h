/// @file
/// Scans of the cyclic reads, counted and timed.
#ifndef PLC_PROJECT_SCAN_STATISTICS_H
#define PLC_PROJECT_SCAN_STATISTICS_H

#include <array>
#include <cstdint>
#include <set>
#include <vector>

#include "host/runtime_names.h"
#include "runtime/line/histogram.h"
#include "runtime/panel/request_map.h"

namespace plc::host {

/// One cyclic read that has ended, and what the line has carried so far, writes and repeats included.
struct ServedRead
{
    int request = 0; ///< its number in the map
    bool good = false;
    Time startedAt{};
    Time endedAt{};
    std::uint64_t requestsSoFar = 0;
    std::uint64_t bytesSoFar = 0;
};

constexpr int kScanLevels = 5; ///< 0 = ordinary reads, 1 to 4 = priority levels

/// A scan asks once for every variable of the stations that are switched on, whether the station answers or
/// not. It is over when every request of the read list and of the priority levels has been served at least
/// once.
class ScanStatistics
{
public:
    /// @param map  gets every request before it is served here; outlives this object.
    explicit ScanStatistics(const RequestMap &map) : map_(map) {}

    void served(const ServedRead &read);
    void setStationEnabled(int station, bool enabled);
    /// Nobody could be asked for a while: the scan under way is given up.
    void interrupt();

    std::uint64_t scans() const { return durations_.count(); }
    /// How long the scans took.
    const Histogram &durations() const { return durations_; }
    /// The same of the last one; 0 before the first.
    Time last() const { return last_; }
    double requestsPerScan() const;
    double bytesPerScan() const;
    /// From one good reply to the next of the same request, over all requests of a level.
    const Histogram &refresh(int level) const { return refresh_[static_cast<std::size_t>(level)]; }
    /// Requests of a level that have been seen.
    int requestsOf(int level) const;

private:
    bool isEnabled(int station) const { return disabled_.count(station) == 0; }
    bool isScanOver() const;
    void noteRefresh(const ServedRead &read);

    const RequestMap &map_;
    std::set<int> disabled_;
    std::vector<bool> isServed_; ///< in this scan, by request
    std::vector<Time> lastGood_; ///< by request; 0 for never
    bool started_ = false;
    Time scanStart_{};
    std::uint64_t requestsAtEnd_ = 0; ///< of the last scan that is over
    std::uint64_t bytesAtEnd_ = 0;
    Histogram durations_;
    Time last_{};
    std::array<Histogram, kScanLevels> refresh_;
};

} // namespace plc::host

#endif
