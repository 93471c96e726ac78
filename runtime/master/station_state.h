/// @file
/// The states of a station.
#ifndef PLC_MASTER_STATION_STATE_H
#define PLC_MASTER_STATION_STATE_H

namespace plc::runtime {

enum class StationState
{
    On,          ///< asked, whether it answers or has begun to fail
    OnProbation, ///< has answered a probe, and nothing else yet
    Offline,     ///< does not answer: only probes go to it
    SwitchedOff  ///< by the user: nothing goes to it
};

/// True for a station whose reads and writes are not sent.
constexpr bool isLeftAlone(StationState state)
{
    return state == StationState::Offline || state == StationState::SwitchedOff;
}

} // namespace plc::runtime

#endif
