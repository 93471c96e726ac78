/// @file
/// Which requests the driver has made of the variables, learned from the requests themselves.
#ifndef PLC_PANEL_REQUEST_MAP_H
#define PLC_PANEL_REQUEST_MAP_H

#include <array>
#include <map>
#include <utility>
#include <vector>

#include "runtime/master/request_ids.h"
#include "runtime/panel/registration.h"
#include "runtime/panel/variable.h"

namespace plc::runtime {

/// Grouped requests carry no identifier of the variables that they cover, so their place tells them apart.
/// Requests and variables are numbered from 0, variables as they are given. Not locked: one thread.
class RequestMap
{
public:
    /// @param variables  with their stations.
    /// @param rows       the name rows that the driver was given.
    RequestMap(std::vector<Variable> variables, std::vector<PriorityRow> rows);
    /// The same of variables that are read each by itself; see readsOfEach().
    RequestMap(std::vector<Variable> variables, std::vector<PriorityRow> rows, const LinkSettings &settings);

    /// Number of the request at @p place, which is a new one if it has not been seen before.
    /// @param ordinary  it came from the read list, not from the list of a priority level.
    int note(const RequestPlace &place, bool ordinary);

    int requestCount() const { return static_cast<int>(requests_.size()); }
    const RequestPlace &place(int request) const { return at(request).place; }
    /// 0 for a request of the read list, otherwise its priority level, 1 to 4.
    int level(int request) const { return at(request).level; }
    /// Variables of which the request reads at least a part, in their order.
    const std::vector<int> &variablesOf(int request) const { return at(request).variables; }
    /// Bits or registers that the request reads and no variable wants.
    int unusedUnits(int request) const { return at(request).unused; }

    int variableCount() const { return static_cast<int>(variables_.size()); }
    const Variable &variable(int number) const { return variables_[static_cast<std::size_t>(number)]; }
    /// Station that the variable is served at; they all name theirs.
    int stationOf(int variable) const { return this->variable(variable).station.value_or(0); }
    /// Requests that read a part of the variable.
    const std::vector<int> &requestsOf(int variable) const
    {
        return readers_[static_cast<std::size_t>(variable)];
    }
    /// True where a request begins or ends inside a value of several registers.
    bool isInPieces(int variable) const { return inPieces_[static_cast<std::size_t>(variable)]; }
    /// True once requests for all parts of the variable have been seen.
    bool isCovered(int variable) const { return covered_[static_cast<std::size_t>(variable)]; }

private:
    struct Request
    {
        RequestPlace place;
        int level = 0;
        int unused = 0;
        std::vector<int> variables;
    };
    /// The variables of an area, by their first bit or register.
    struct Places
    {
        std::vector<std::pair<int, int>> byFirst; ///< first, number of the variable
        int longest = 0;                          ///< bits or registers
    };
    std::vector<int> variablesIn(const RequestPlace &place) const;
    const Request &at(int request) const { return requests_[static_cast<std::size_t>(request)]; }
    int levelOf(const RequestPlace &place) const;
    int unusedIn(const Request &request) const;
    bool isFullyRead(int variable) const;

    std::vector<Variable> variables_;
    std::vector<PriorityRow> rows_;
    bool isSeparate_ = false;
    /// Variables by station, area and first register or bit of their requests, where each has its own.
    std::map<std::array<int, 3>, std::vector<int>> own_;
    std::map<std::pair<int, int>, Places> places_; ///< by station and area
    std::vector<Request> requests_;
    std::map<RequestPlace, int> numbers_;
    std::vector<std::vector<int>> readers_;
    std::vector<bool> covered_;
    std::vector<bool> inPieces_;
};

} // namespace plc::runtime

#endif
