/// @file
/// The table of stations: what became of their requests, and how long they take to answer.
#ifndef PLC_SCREEN_STATION_TABLE_H
#define PLC_SCREEN_STATION_TABLE_H

#include "host/screen/cursor_list.h"
#include "host/screen/picture.h"
#include "host/screen/screen_source.h"

namespace plc::host {

/// A row a station. At 40 columns a row still has its replies, errors, and the reply times p50 and p99. As
/// the width shrinks, these go in this order: repeats, requests, longest, busy, ignored, exceptions, bad,
/// time-outs, state.
class StationTable
{
public:
    bool press(const Key &key) { return list_.press(key); }
    void draw(Picture *picture, int titleRow, int firstRow, int rows, const LineFigures &figures);
    std::string position() const;

private:
    CursorList list_;
};

} // namespace plc::host

#endif
