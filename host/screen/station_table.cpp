#include "host/screen/station_table.h"

#include <algorithm>
#include <string>
#include <vector>

#include "host/screen/durations.h"
#include "host/screen/table.h"

namespace plc::host {

namespace {

enum ColumnId
{
    Station,
    State,
    Requests,
    Repeats,
    Replies,
    Errors,
    TimeOuts,
    BadReplies,
    Exceptions,
    Ignored,
    Busy,
    Median,
    Percentile99,
    Longest
};

Column number(int id, const char *title, int rank, int width)
{
    return {id, title, rank, width, width, width, true};
}

std::vector<Column> columns()
{
    return {number(Station, "station", 0, 7), number(Requests, "requests", 8, 9),
            number(Repeats, "repeats", 9, 8), number(Replies, "replies", 0, 8),
            number(Errors, "errors", 0, 6),   number(TimeOuts, "time-outs", 2, 9),
            number(BadReplies, "bad", 3, 6),  number(Exceptions, "exceptions", 4, 10),
            number(Ignored, "ignored", 5, 7), number(Busy, "line busy", 6, 9),
            number(Median, "p50", 0, 7),      number(Percentile99, "p99", 0, 7),
            number(Longest, "longest", 7, 7), {State, "state", 1, 12, 12, 12, false}};
}

TableCell timeCell(const StationFigures &station, Time time)
{
    return {station.longest > Time::zero() ? shortDuration(time) : "-"};
}

TableCell cellOf(int column, const StationFigures &station)
{
    const Counters &counted = station.counted;
    Style style;
    style.health = station.health;
    switch (column) {
    case Station:
        return {std::to_string(counted.station)};
    case State:
        return {station.state, style};
    case Requests:
        return {std::to_string(counted.requests)};
    case Repeats:
        return {std::to_string(counted.retries)};
    case Replies:
        return {std::to_string(counted.good)};
    case Errors:
        return {std::to_string(errorsOf(counted))};
    case TimeOuts:
        return {std::to_string(counted.timeouts)};
    case BadReplies:
        return {std::to_string(counted.bad)};
    case Exceptions:
        return {std::to_string(counted.exceptions)};
    case Ignored:
        return {std::to_string(counted.ignoredReplies)};
    case Busy:
        return {std::to_string(counted.lineBusy)};
    case Median:
        return timeCell(station, station.median);
    case Percentile99:
        return timeCell(station, station.percentile99);
    default:
        break;
    }
    return timeCell(station, station.longest);
}

} // namespace

std::uint64_t errorsOf(const Counters &counted)
{
    return counted.timeouts + counted.bad + counted.exceptions + counted.lineBusy;
}

void StationTable::draw(Picture *picture, int titleRow, int firstRow, int rows, const LineFigures &figures)
{
    const std::vector<PlacedColumn> placed = layOutColumns(columns(), picture->width());
    if (titleRow >= 0)
        putTitles(picture, titleRow, placed);
    list_.fit(static_cast<int>(figures.stations.size()), rows);
    for (int listed = list_.top(); listed < list_.end(); ++listed) {
        const StationFigures &station = figures.stations[static_cast<std::size_t>(listed)];
        const int row = firstRow + listed - list_.top();
        putRow(picture, row, placed, [&](int column) { return cellOf(column, station); });
        if (listed == list_.chosen())
            picture->reverse(row);
    }
}

std::string StationTable::position() const
{
    if (list_.count() == 0)
        return "no station was asked yet";
    return std::to_string(list_.top() + 1) + "-" + std::to_string(list_.end()) + " of " +
           std::to_string(list_.count()) + " stations";
}

} // namespace plc::host
