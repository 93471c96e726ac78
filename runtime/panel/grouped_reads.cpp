#include "runtime/panel/grouped_reads.h"

#include "runtime/master/driver_link.h"

namespace plc::runtime {

std::optional<int> requestOf(const News &news, RequestMap *map)
{
    const bool wasAsked = news.transaction && !tellsNothing(news.transaction->cause);
    if (!wasAsked || !isGroupedRead(news.transaction->request))
        return std::nullopt;
    const Request &request = news.transaction->request;
    return map->note({request.station, request.regType, request.address, request.count}, news.ordinaryRead);
}

std::optional<int> GroupedReads::note(const News &news, StationState station)
{
    const std::optional<int> number = requestOf(news, &map_);
    if (!number)
        return std::nullopt;
    readings_.resize(static_cast<std::size_t>(map_.requestCount()));
    readings_[static_cast<std::size_t>(*number)].note(*news.transaction, station);
    return number;
}

void GroupedReads::interrupt(int station)
{
    for (std::size_t request = 0; request < readings_.size(); ++request) {
        if (station < 0 || map_.place(static_cast<int>(request)).station == station)
            readings_[request].interrupt();
    }
}

std::vector<GroupedReads::GoodRead> GroupedReads::goodReads(int variable) const
{
    std::vector<GoodRead> reads;
    for (const int request : map_.requestsOf(variable)) {
        const ReadState &reading = readings_[static_cast<std::size_t>(request)];
        if (reading.hasValue())
            reads.push_back({map_.place(request), reading.lastGood()});
    }
    return reads;
}

WatchStatus GroupedReads::status(int variable, Time now, Time timeout) const
{
    std::vector<const ReadState *> parts;
    for (const int request : map_.requestsOf(variable))
        parts.push_back(&readings_[static_cast<std::size_t>(request)]);
    WatchStatus status = statusOf(parts, now, timeout);
    status.isInPieces = map_.isInPieces(variable);
    if (!map_.isCovered(variable)) {
        status.hasValue = false;
        status.scans = 0;
    }
    const bool seemsRead = status.state == VariableState::Good || status.state == VariableState::Stale;
    if (seemsRead && !status.hasValue)
        status.state = VariableState::NeverRead;
    return status;
}

} // namespace plc::runtime
