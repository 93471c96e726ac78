#include "host/project/scan_statistics.h"

#include <algorithm>

namespace plc::host {

namespace {

double perScan(std::uint64_t sum, std::uint64_t scans)
{
    return scans == 0 ? 0.0 : static_cast<double>(sum) / static_cast<double>(scans);
}

} // namespace

void ScanStatistics::served(const ServedRead &read)
{
    const auto number = static_cast<std::size_t>(map_.requestCount());
    isServed_.resize(number, false);
    lastGood_.resize(number, Time::zero());
    if (!started_) {
        started_ = true;
        scanStart_ = read.startedAt;
    }
    noteRefresh(read);
    isServed_[static_cast<std::size_t>(read.request)] = true;
    if (!isScanOver())
        return;
    last_ = read.endedAt - scanStart_;
    durations_.add(last_);
    scanStart_ = read.endedAt;
    requestsAtEnd_ = read.requestsSoFar;
    bytesAtEnd_ = read.bytesSoFar;
    std::fill(isServed_.begin(), isServed_.end(), false);
}

void ScanStatistics::noteRefresh(const ServedRead &read)
{
    if (!read.good)
        return;
    Time &last = lastGood_[static_cast<std::size_t>(read.request)];
    if (last != Time::zero())
        refresh_[static_cast<std::size_t>(map_.level(read.request))].add(read.endedAt - last);
    last = read.endedAt;
}

bool ScanStatistics::isScanOver() const
{
    bool anyServed = false;
    for (int request = 0; request < map_.requestCount(); ++request) {
        if (!isEnabled(map_.place(request).station))
            continue;
        if (!isServed_[static_cast<std::size_t>(request)])
            return false;
        anyServed = true;
    }
    // A request that has not been seen yet shows as a variable that is not covered.
    for (int variable = 0; variable < map_.variableCount(); ++variable) {
        if (isEnabled(map_.stationOf(variable)) && !map_.isCovered(variable))
            return false;
    }
    return anyServed;
}

void ScanStatistics::setStationEnabled(int station, bool enabled)
{
    if (enabled)
        disabled_.erase(station);
    else
        disabled_.insert(station);
    // The time in between says nothing about how often the driver asks.
    for (std::size_t request = 0; request < lastGood_.size(); ++request) {
        if (map_.place(static_cast<int>(request)).station == station)
            lastGood_[request] = Time::zero();
    }
}

void ScanStatistics::interrupt()
{
    started_ = false;
    std::fill(isServed_.begin(), isServed_.end(), false);
    std::fill(lastGood_.begin(), lastGood_.end(), Time::zero());
}

double ScanStatistics::requestsPerScan() const
{
    return perScan(requestsAtEnd_, scans());
}

double ScanStatistics::bytesPerScan() const
{
    return perScan(bytesAtEnd_, scans());
}

int ScanStatistics::requestsOf(int level) const
{
    int number = 0;
    for (int request = 0; request < map_.requestCount(); ++request)
        number += map_.level(request) == level ? 1 : 0;
    return number;
}

} // namespace plc::host
