/// @file
/// A listener on a port. Nothing here ever sends.
#ifndef PLC_CAPTURE_LISTENING_H
#define PLC_CAPTURE_LISTENING_H

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "host/capture/listener.h"
#include "host/capture/setting_search.h"
#include "host/runtime_names.h"
#include "runtime/line/port.h"

namespace plc::host {

/// What listening needs besides its port.
struct ListeningManner
{
    std::function<Time()> now = steadyNow;
    std::function<bool()> isOver = [] { return false; }; ///< asked at least every kLongestWait
    static constexpr Time kLongestWait = std::chrono::milliseconds(50);
};

/// Hands over what is heard until manner.isOver().
/// @throw Failure  (port) when the port is lost; what was heard before has been handed over.
void listenOn(Port &port, Listener &listener, const ListeningManner &manner,
              const std::function<void(const std::vector<HeardFrame> &)> &take);

/// Opens the port with one setting after the other until one is that of the line.
/// @return nothing where manner.isOver() before.
/// @throw Failure  (port) where the port cannot be opened with the first setting, or is lost. A later setting
/// that
///                 the port cannot have is passed over.
std::optional<LineSetup> findSetup(SettingSearch &search, const ListeningManner &manner,
                                   const std::function<std::unique_ptr<Port>(const LineSetup &)> &open);

} // namespace plc::host

#endif
