/// @file
/// Which requests the driver has made of the variables, learned from the requests themselves.
#ifndef PLC_PROJECT_REQUEST_MAP_H
#define PLC_PROJECT_REQUEST_MAP_H

#include <map>
#include <vector>

#include "host/project/project_file.h"
#include "host/runtime_names.h"
#include "runtime/master/request_ids.h"
#include "runtime/panel/variable.h"

namespace plc::host {

/// Grouped requests carry no identifier of the variables that they cover, so their place tells them apart.
/// Requests and variables are numbered from 0, variables as in the project. Not locked: one thread.
class RequestMap
{
public:
    /// @param variables  with their stations.
    /// @param rows       the name rows that the driver was given.
    RequestMap(std::vector<Variable> variables, std::vector<PriorityRow> rows);

    /// Number of the request at @p place, which is a new one if it has not been seen before.
    /// @param ordinary  it came from the read list, not from the list of a priority level.
    int note(const RequestPlace &place, bool ordinary);

    int requestCount() const { return static_cast<int>(requests_.size()); }
    const RequestPlace &place(int request) const { return at(request).place; }
    /// 0 for a request of the read list, otherwise its priority level, 1 to 4.
    int level(int request) const { return at(request).level; }
    /// Variables of which the request reads at least a part, in the project's order.
    const std::vector<int> &variablesOf(int request) const { return at(request).variables; }
    /// Bits or registers that the request reads and no variable wants.
    int unusedUnits(int request) const { return at(request).unused; }

    int variableCount() const { return static_cast<int>(variables_.size()); }
    const Variable &variable(int number) const { return variables_[static_cast<std::size_t>(number)]; }
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
    const Request &at(int request) const { return requests_[static_cast<std::size_t>(request)]; }
    int levelOf(const RequestPlace &place) const;
    int unusedIn(const Request &request) const;
    bool isFullyRead(int variable) const;

    std::vector<Variable> variables_;
    std::vector<PriorityRow> rows_;
    std::vector<Request> requests_;
    std::map<RequestPlace, int> numbers_;
    std::vector<std::vector<int>> readers_;
    std::vector<bool> covered_;
    std::vector<bool> inPieces_;
};

} // namespace plc::host

#endif
