/// @file
/// What is known of variables that the driver reads in requests of its own grouping, besides their values.
#ifndef PLC_PANEL_GROUPED_READS_H
#define PLC_PANEL_GROUPED_READS_H

#include <optional>
#include <vector>

#include "runtime/master/link.h"
#include "runtime/panel/read_state.h"
#include "runtime/panel/request_map.h"

namespace plc::runtime {

/// Number of the request that has ended; nothing where the news are about no grouped read, or its station was
/// not asked.
/// @param map  gets to know it.
std::optional<int> requestOf(const News &news, RequestMap *map);

/// Turns the reads that have ended into states and ages of the variables that they cover. Not locked.
class GroupedReads
{
public:
    /// As RequestMap.
    GroupedReads(std::vector<Variable> variables, std::vector<PriorityRow> rows)
        : map_(std::move(variables), std::move(rows))
    {}
    GroupedReads(std::vector<Variable> variables, std::vector<PriorityRow> rows, const LinkSettings &settings)
        : map_(std::move(variables), std::move(rows), settings)
    {}

    /// Takes news.
    /// @param station  state of the station that they are about.
    /// @return as requestOf().
    std::optional<int> note(const News &news, StationState station);

    /// What lies between the reads of @p station before and behind this call is no scan; -1 for all stations.
    void interrupt(int station);

    /// @param now      of the clock that the reads were timed with.
    /// @param timeout  of the variable's station.
    WatchStatus status(int variable, Time now, Time timeout) const;

    /// A request that has brought values.
    struct GoodRead
    {
        RequestPlace place;
        Time at; ///< its last good end
    };
    /// Of the requests that read a part of the variable, those that have brought values.
    std::vector<GoodRead> goodReads(int variable) const;

    const RequestMap &requests() const { return map_; }

private:
    RequestMap map_;
    std::vector<ReadState> readings_; ///< by request
};

} // namespace plc::runtime

#endif
