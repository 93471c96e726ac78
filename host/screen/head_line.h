/// @file
/// The first line of the screen: what is done, on which line, and how that goes.
#ifndef PLC_SCREEN_HEAD_LINE_H
#define PLC_SCREEN_HEAD_LINE_H

#include <deque>
#include <string>
#include <utility>

#include "host/screen/picture.h"
#include "host/screen/screen_source.h"

namespace plc::host {

/// What does not change while the screen is to be seen.
struct ScreenTitle
{
    std::string command; ///< "plchost watch"
    std::string port;    ///< "/dev/ttyUSB0"
    std::string rate;    ///< "19200 8E1"
};

/// Rate, scan, requests per second, errors and time, which 38 columns have room for; then the port, and the
/// command.
class HeadLine
{
public:
    explicit HeadLine(ScreenTitle title) : title_(std::move(title)) {}

    void draw(Picture *picture, int row, const LineFigures &figures);

private:
    double requestRate(const LineFigures &figures);

    ScreenTitle title_;
    /// Time and requests, not older than the rate is asked over.
    std::deque<std::pair<Time, std::uint64_t>> counted_;
};

} // namespace plc::host

#endif
