#include "host/capture/setting_search.h"

#include <algorithm>

namespace plc::host {

std::vector<LineSetup> likelySetups()
{
    // Even parity at 19200 is the standard's default, then 9600 (MODBUS over Serial Line V1.02, 3.2); makers
    // who leave the parity out mostly stay at 9600.
    std::vector<LineSetup> setups{
        {19200, Parity::Even},  {9600, Parity::Even},   {9600, Parity::None},  {19200, Parity::None},
        {115200, Parity::None}, {115200, Parity::Even}, {38400, Parity::Even}, {38400, Parity::None},
        {57600, Parity::None},  {57600, Parity::Even},  {4800, Parity::Even},  {4800, Parity::None},
        {2400, Parity::Even},   {2400, Parity::None},   {1200, Parity::Even},  {1200, Parity::None}};
    for (const int baud : {9600, 19200, 38400, 57600, 115200, 4800, 2400, 1200})
        setups.push_back({baud, Parity::Odd});
    return setups;
}

Time SettingSearch::window() const
{
    return std::max(window_, LineTiming(current().baud).wire(2 * kLongestFrame));
}

void SettingSearch::begin(Time now)
{
    endsAt_ = now + window();
    listener_ = Listener(current().baud, true);
    goodFrames_ = 0;
    inARow_ = 0;
    bytes_ = 0;
}

SettingSearch::Step SettingSearch::take(const QByteArray &bytes, Time now)
{
    bytes_ += bytes.size();
    for (const HeardFrame &frame : listener_.take(bytes, now)) {
        // A good CRC without a layout is not enough: short noise has some by chance.
        if (frame.kind != PieceKind::Frame && frame.kind != PieceKind::Exception) {
            inARow_ = 0;
            continue;
        }
        if (goodFrames_ == 0)
            endsAt_ = std::max(endsAt_, now + window());
        ++goodFrames_;
        bytes_ = 0;
        if (++inARow_ == kEnoughFrames)
            return Step::Found;
    }
    if (bytes_ < kEnoughBytes && now < endsAt_)
        return Step::Listen;
    skip();
    return Step::Next;
}

void SettingSearch::skip()
{
    if (++at_ < setups_.size())
        return;
    at_ = 0;
    ++rounds_;
    window_ = std::min(2 * window_, kLongestWindow);
}

} // namespace plc::host
