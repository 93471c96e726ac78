/// @file
/// What can go wrong with a reply, and how often.
#ifndef PLC_STATION_FAULTS_H
#define PLC_STATION_FAULTS_H

#include "crc.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <random>
#include <vector>

namespace plc::station {

/// What can go wrong with a reply.
enum class Fault
{
    Drop,        ///< nothing is sent
    Cut,         ///< the reply stops somewhere and is completed after a pause
    CutForever,  ///< the reply stops somewhere
    BadCrc,      ///< one CRC byte is wrong
    SwapCrc,     ///< the two CRC bytes are exchanged
    NoiseBefore, ///< up to eight random bytes in front
    NoiseAfter,  ///< up to eight random bytes behind
    Foreign,     ///< the reply carries another station's number, CRC good
    Exception,   ///< the request is not done and gets an exception reply
    Twice,       ///< the reply is sent twice, back to back
    Late         ///< the reply comes after a long delay
};
constexpr std::size_t kFaultCount = 11;

/// One row per fault: the option that asks for it, and a line for the help.
struct FaultName
{
    Fault fault;
    const char *option; ///< without dashes
    const char *help;
};
extern const std::array<FaultName, kFaultCount> kFaultNames;

struct FaultSettings
{
    std::array<double, kFaultCount> percent{}; ///< 0 to 100, indexed by Fault
    std::uint64_t seed = 1;
    std::chrono::milliseconds cutPause{50};
    std::chrono::milliseconds lateBy{1500};
    std::uint8_t exceptionCode = 6;

    double &share(Fault fault) { return percent[static_cast<std::size_t>(fault)]; }
};

/// Bytes to send, and for how long the line is quiet before them: counted from the moment at which the reply
/// is due (first piece) or from the end of the piece before.
struct Piece
{
    std::chrono::nanoseconds quiet{0};
    Bytes bytes;
};

/// Decides which replies go wrong, and how. Every decision comes from one generator, so a run with the same
/// seed and the same requests is the same run. Each fault is drawn for every reply on its own; several may
/// meet in one reply, but a dropped reply has no other fault. No clock inside.
class FaultPlan
{
public:
    explicit FaultPlan(const FaultSettings &settings, CrcOrder replyOrder = CrcOrder::LowFirst);

    /// Asked before a request is executed that will be answered.
    /// @return the exception code to answer instead of executing it; mostly nothing
    std::optional<std::uint8_t> refusal();
    /// What is sent for @p reply, a complete frame with a good CRC, at least 4 bytes. Empty when it is
    /// dropped.
    std::vector<Piece> spoil(const Bytes &reply);

    /// How often @p fault was done so far.
    std::uint64_t count(Fault fault) const { return counts_[static_cast<std::size_t>(fault)]; }

private:
    bool draw(Fault fault);
    std::size_t below(std::size_t limit);
    void note(Fault fault) { ++counts_[static_cast<std::size_t>(fault)]; }
    Bytes noise();
    void damage(Bytes *reply, bool foreign, bool badCrc, bool swapCrc, bool cutForever);

    FaultSettings settings_;
    CrcOrder order_;
    std::mt19937_64 generator_;
    std::array<std::uint64_t, kFaultCount> counts_{};
};

} // namespace plc::station

#endif
